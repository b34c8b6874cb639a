// What a line of the log means and what to do, from the manual's own table: docs/operations.md is part of
// the page.

const row = /^\| (?:Warn|Error|Fatal) \| `([^`]+)` \| ([^|]+) \| ([^|]+) \|$/;

let advices = [];

export async function loadAdvice() {
    const manual = await (await fetch('/operations.md')).text();
    let before = {};
    for (const line of manual.split('\n')) {
        const [, format, means, todo] = row.exec(line) ?? [];
        if (!format) continue;
        before = {form: formOf(format), means: sameAs(means, before.means), todo: sameAs(todo, before.todo)};
        advices.push(before);
    }
}

// A row may say "the same" as the one above it.
const sameAs = (text, before) => text === 'the same' ? before : text.replace(/`|\[([^\]]*)\]\([^)]*\)/g, '$1');

// The format's places stand for anything.
function formOf(format) {
    const literal = format.split(/%(?:s|d|lld)/).map(part => part.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'));
    return new RegExp(`^${literal.join('[^]*')}`);
}

// {means, todo}; the most telling row counts: that with the longest format.
export function adviceOf(text) {
    const fitting = advices.filter(({form}) => form.test(text));
    return fitting.sort((a, b) => b.form.source.length - a.form.source.length)[0] ?? {means: '', todo: 'look into the log around this line'};
}
