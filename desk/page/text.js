// Elements, and how values are written. Everything from outside becomes text here, never markup.

export const $ = id => document.getElementById(id);

// make('td', 'n', child, ...): an element of that class; children are elements or text.
export function make(tag, className, ...children) {
    const element = document.createElement(tag);
    if (className) element.className = className;
    element.append(...children);
    return element;
}

export function setText(element, text) {
    if (element.textContent !== text) element.textContent = text;
}

// Texts of the wire are written as they are, to the last digit; what is no number stays as it is.
const exact = new Intl.NumberFormat(undefined, {maximumFractionDigits: 10});
const cents = new Intl.NumberFormat(undefined, {minimumFractionDigits: 2, maximumFractionDigits: 2});
const whole = new Intl.NumberFormat(undefined, {maximumFractionDigits: 0});
const compact = new Intl.NumberFormat(undefined, {notation: 'compact', maximumFractionDigits: 2});
const tenth = new Intl.NumberFormat(undefined, {maximumFractionDigits: 1});
const digits7 = new Intl.NumberFormat(undefined, {maximumSignificantDigits: 7});
const isNumber = text => /^-?\d+(\.\d+)?$/.test(text);

export const number = text => isNumber(text) ? exact.format(text) : text;
// To seven digits, for averages; the whole of it goes into a title.
export const short = text => isNumber(text) ? digits7.format(text) : text;
export const money = value => cents.format(Math.abs(value) < 0.005 ? 0 : value);
export const count = value => whole.format(value);
export const rate = value => value < 9.95 ? tenth.format(value) : whole.format(value);
export const signed = value => (value > 0.005 ? '+' : '') + money(value);
// Short enough for a tile.
export const signedShort = value => Math.abs(value) < 1e5 ? signed(value) : (value > 0 ? '+' : '') + (Math.abs(value) < 1e8 ? whole : compact).format(value);
export const signClass = value => value > 0.005 ? 'gain' : value < -0.005 ? 'loss' : '';

const clock = new Intl.DateTimeFormat(undefined, {hour: '2-digit', minute: '2-digit', second: '2-digit', timeZoneName: 'short'});
const exactClock = new Intl.DateTimeFormat(undefined, {hour: '2-digit', minute: '2-digit', second: '2-digit', fractionalSecondDigits: 3, timeZoneName: 'short'});
const day = new Intl.DateTimeFormat(undefined, {day: 'numeric', month: 'short', hour: '2-digit', minute: '2-digit', timeZoneName: 'short'});

export const timeOf = ms => clock.format(ms);
export const exactTimeOf = ms => exactClock.format(ms);
const minutes = new Intl.DateTimeFormat(undefined, {hour: '2-digit', minute: '2-digit', timeZoneName: 'short'});
// To the minute; with its day when that is not today.
export const sinceOf = ms => (new Date(ms).toDateString() === new Date().toDateString() ? minutes : day).format(ms);
// With its day when that is not today.
export const momentOf = ms => new Date(ms).toDateString() === new Date().toDateString() ? timeOf(ms) : day.format(ms);

// 93105123 is 09:31:05.123 of the platform's clock, whose zone nobody tells.
export function platformTime(text) {
    if (!/^\d{1,9}$/.test(text)) return text;
    const digits = text.padStart(9, '0');
    return `${digits.slice(0, 2)}:${digits.slice(2, 4)}:${digits.slice(4, 6)}.${digits.slice(6)}`;
}

export function ageOf(ms) {
    const seconds = Math.max(0, Math.floor(ms / 1000));
    if (seconds < 60) return `${seconds} s`;
    if (seconds < 3600) return `${Math.floor(seconds / 60)} min ${String(seconds % 60).padStart(2, '0')} s`;
    if (seconds < 86400) return `${Math.floor(seconds / 3600)} h ${String(Math.floor(seconds / 60) % 60).padStart(2, '0')} min`;
    return `${Math.floor(seconds / 86400)} d ${Math.floor(seconds / 3600) % 24} h`;
}

// In one unit, for lists.
export function shortAgeOf(ms) {
    const seconds = Math.max(0, Math.floor(ms / 1000));
    if (seconds < 60) return `${seconds} s`;
    if (seconds < 3600) return `${Math.floor(seconds / 60)} min`;
    return seconds < 86400 ? `${Math.floor(seconds / 3600)} h` : `${Math.floor(seconds / 86400)} d`;
}

export function durationOf(us) {
    if (us < 1000) return `${whole.format(us)} µs`;
    if (us < 1e6) return `${(us < 1e4 ? tenth : whole).format(us / 1000)} ms`;
    return `${tenth.format(us / 1e6)} s`;
}

export function bytesOf(bytes) {
    return `${tenth.format(bytes / 1048576)} MiB`;
}
