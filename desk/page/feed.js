// What the desk program tells, line by line, for as long as the page is open. A page that reads
// slowly is sent less often, not more at once.

const silence = 7000; // ms; the program says something every two seconds

// `hear` is given every line as an object; `lost` why there is none, 'refused' when trying again is
// of no use without another token.
export async function follow(token, hear, lost) {
    for (;;) {
        const stop = new AbortController();
        try {
            const response = await fetch('/live', {headers: {Authorization: `Bearer ${token}`}, cache: 'no-store', signal: stop.signal});
            if (response.status === 401 || response.status === 403) return lost('refused');
            if (!response.ok) throw new Error(await response.text());
            await readLines(response.body.getReader(), hear, stop);
            lost('ended');
        } catch (error) {
            lost(String(error.message ?? error));
        }
        await new Promise(done => setTimeout(done, 400));
    }
}

async function readLines(reader, hear, stop) {
    const decoder = new TextDecoder();
    let rest = '';
    for (;;) {
        const watchdog = setTimeout(() => stop.abort(), silence);
        const {done, value} = await reader.read().finally(() => clearTimeout(watchdog));
        if (done) return;
        const lines = (rest + decoder.decode(value, {stream: true})).split('\n');
        rest = lines.pop();
        for (const line of lines) hear(JSON.parse(line));
    }
}

// Asks the program for something, or to do something.
export async function call(token, path, members) {
    const response = await fetch(path, {
        method: 'POST', cache: 'no-store', body: JSON.stringify(members),
        headers: {Authorization: `Bearer ${token}`, 'Content-Type': 'application/json'},
    });
    if (!response.ok) throw new Error(`the desk program refused it (${response.status})`);
    return response.json();
}
