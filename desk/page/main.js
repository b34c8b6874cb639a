// The page as a whole: what comes in, what is drawn when, and the keys.

import {loadAdvice} from './advice.js';
import {Cancelling} from './cancel.js';
import {Chart} from './chart.js';
import {call, follow} from './feed.js';
import {Life} from './life.js';
import {Lists} from './orders.js';
import {drawAccounts, drawHealth, drawProblems, holdsAnything, profitOf} from './panels.js';
import {Store} from './store.js';
import {$, ageOf, count, durationOf, make, momentOf, rate, setText, signClass, signedShort, sinceOf, timeOf} from './text.js';
import {accountOf} from './words.js';

// The token comes in the part of the address that is never sent, and does not stay there.
const token = (() => {
    const given = location.hash.slice(1);
    if (given) sessionStorage.setItem('token', given);
    history.replaceState(null, '', location.pathname);
    return sessionStorage.getItem('token') ?? '';
})();

let stores = [];
let shown = 0;
let away = {since: Date.now(), why: 'connecting'}; // of the program; null while it is there
let lastHeard = 0;
let isDue = false;

const store = () => stores[shown];
const ask = (path, members) => call(token, path, {gateway: shown, ...members});
const cancelling = new Cancelling(ask, tell);
const lists = new Lists(row => life.open(row));
const life = new Life(ReportID => ask('/life', {ReportID}), row => cancelling.cancelOrder(row));
const chart = new Chart();

function cancelAccount(mask) {
    cancelling.cancelAccount(mask, store().orders.count(row => row.Working && accountOf(row) === mask));
}

// --- what comes in ---

function hear(line) {
    lastHeard = Date.now();
    away = null;
    if (line.gateways) {
        stores = line.gateways.map((gateway, index) => new Store({...gateway, index}));
        showGateway(Math.min(shown, stores.length - 1));
    } else if (line.table) {
        stores[line.gateway].take(line);
    }
    draw();
}

function lost(why) {
    away = {since: lastHeard || Date.now(), why};
    draw();
}

function showGateway(index) {
    shown = index;
    cancelling.setGateway(index);
    life.isOpen() && life.close();
    $('gateways').hidden = stores.length < 2;
    $('gateways').replaceChildren(...stores.map((each, i) => {
        const button = make('button', '', each.gateway.system);
        button.type = 'button';
        button.title = '(g)';
        button.setAttribute('aria-pressed', i === index);
        button.addEventListener('click', () => showGateway(i));
        return button;
    }));
    tick();
}

// --- what is drawn ---

// Once for all that has come until the next picture. A page in the background gets no pictures.
function draw() {
    if (isDue) return;
    isDue = true;
    requestAnimationFrame(() => {
        isDue = false;
        drawLink();
        if (!store()) return;
        lists.update(store());
        life.update(store());
        chart.update(store());
        drawTiles();
        drawAccounts(store(), cancelAccount);
        drawHealth(store());
        drawProblems(store());
    });
}

function drawLink() {
    const link = store()?.part('link');
    const state = away ? 'gone' : link?.state ?? 'starting';
    document.body.dataset.link = state;
    document.body.classList.toggle('stale', state !== 'connected' && state !== 'starting');
    const platform = store()?.part('status')?.Platform;
    const isPaper = platform?.Paper === '1';
    document.body.classList.toggle('is-paper', Boolean(platform) && isPaper);
    document.body.classList.toggle('is-real', Boolean(platform) && !isPaper);
    setText($('kind'), platform ? isPaper ? 'PAPER' : platform.Address : store() ? 'PLATFORM UNKNOWN' : '');
    if (store()) {
        setText($('system'), store().gateway.system);
        setText($('address'), store().gateway.address);
        document.title = `${isPaper ? 'PAPER ' : ''}${store().gateway.system} – Halvane desk`;
    }
    const words = {gone: 'The desk program is away', starting: 'Starting', connecting: 'Looking for the gateway', refused: 'The gateway refuses the log-in', connected: 'Connected', lost: 'The gateway is lost'};
    setText($('link').lastElementChild, words[state] + (link && !away ? ` since ${momentOf(link.since)}` : ''));
    drawAlarm(state, link);
}

function drawAlarm(state, link) {
    const since = away ? away.since : link?.since;
    const ago = since ? `since ${momentOf(since)}, ${ageOf(Date.now() - since)}` : '';
    const texts = {
        gone: away?.why === 'refused'
            ? ['This page\'s address is out of date.', 'The desk program prints a new one at each start: open that.']
            : [`No word from the desk program ${ago}.`, 'What is below is as it was then. The page goes on by itself when the program is back.'],
        lost: [`The gateway is lost ${ago}.`, `What is below is as it was then. Reason: ${link?.reason}.`],
        connecting: [`No gateway answers ${ago}.`, `${link?.reason}.`],
        refused: [`The gateway refuses the log-in ${ago}.`, `Compare system name and key with its command line: ${link?.reason}.`],
    };
    const text = texts[state];
    $('alarm').hidden = !text || (state === 'gone' && away.why !== 'refused' && Date.now() - away.since < 1500);
    $('alarm').classList.toggle('mild', state === 'connecting');
    if (text && $('alarm').textContent !== text.join('')) $('alarm').replaceChildren(text[0], make('span', '', text[1]));
}

function drawTiles() {
    const status = store().part('status');
    const rates = store().part('rates');
    const known = status && !status.Off;
    const rejected = lists.count('Rejected');
    const profit = profitOf(store());
    const slowest = known ? [...status.Operations].filter(row => Number(row.Count) > 0).sort((a, b) => b.P99Us - a.P99Us)[0] : null;
    const busy = known ? status.Workers.filter(worker => worker.Request && worker.Request !== 'STATUS').length : 0;
    const longest = known ? Number(status.LongestMs) : 0;
    const platform = known ? status.Platform : null;
    const tiles = [
        ['Working orders', count(lists.count('Working')), `${count(store().orders.rows.length)} of the day`, '', () => lists.show('Working')],
        ['Rejected', count(rejected), rejected ? 'why stands in the list' : 'none', rejected ? 'bad' : '', () => lists.show('Rejected')],
        ['Fills', count(store().fills.rows.length), 'of the day', '', () => $('fills-grid').focus()],
        ['Profit today', holdsAnything(store()) ? signedShort(profit) : '–', 'all positions', signClass(profit), () => go('.accounts')],
        ['Requests / s', rates ? rate(rates.Requests) : '–', 'this page asks too', '', () => go('.activity')],
        ['Publications / s', rates ? rate(rates.Publications) : '–', 'to all clients', '', () => go('.activity')],
        ['Latency, p99', slowest ? durationOf(Number(slowest.P99Us)) : '–', slowest ? `of ${slowest.Request}` : '', '', () => go('.latency')],
        ['Workers', known ? `${busy} of ${status.Workers.length}` : '–', longest > 2000 ? `one for ${ageOf(longest)}` : 'at work', longest > 2000 ? 'warn' : '', () => go('.workers')],
        ['Platform', platform ? platform.Connected === '1' ? 'Connected' : 'Refused' : 'Not known', platform ? `since ${sinceOf(Date.parse(status.Started))}` : '', platform && platform.Connected !== '1' ? 'bad' : '', () => go('.gateway')],
    ];
    if ($('tiles').children.length !== tiles.length) {
        $('tiles').replaceChildren(...tiles.map(([name]) => {
            const tile = make('button', 'tile', make('h3', '', name), make('p'), make('span'));
            tile.type = 'button';
            return tile;
        }));
    }
    for (const [i, [name, value, note, look, press]] of tiles.entries()) {
        const tile = $('tiles').children[i];
        setText(tile.children[1], value);
        setText(tile.children[2], note);
        tile.children[1].className = `${/^\D{5,}/.test(value) ? 'word ' : ''}${look.endsWith('s') || look === 'gain' ? look : ''}`;
        tile.className = `tile ${look}`;
        tile.dataset.name = name;
        tile.onclick = press;
    }
}

function go(selector) {
    const panel = document.querySelector(selector);
    panel.scrollIntoView({block: 'nearest'});
    panel.tabIndex = -1;
    panel.focus({preventScroll: true});
}

let toastEnd;
function tell(text) {
    setText($('toast'), text);
    $('toast').classList.add('shown');
    clearTimeout(toastEnd);
    toastEnd = setTimeout(() => $('toast').classList.remove('shown'), 7000);
}

function tick() {
    setText($('clock'), timeOf(Date.now()));
    const isOpen = Boolean(store()) && cancelling.isUnlocked();
    setText($('lock'), isOpen ? `Unlocked, ${ageOf(cancelling.left())} left` : 'Locked');
    $('lock').classList.toggle('open', isOpen);
    lists.tick();
    draw();
}

// --- keys ---

const help = [
    ['o  f  p', 'to the orders, the fills, the positions'], ['h  e', 'to the gateway\'s health, the errors'],
    ['w  r  a', 'orders that work, were rejected, all'], ['↑ ↓  Page  Home  End', 'move in a list'], ['Enter', 'open an order\'s life'], ['Esc', 'close it; clear the filter'],
    ['/', 'filter'], ['c', 'cancel the order that is chosen'], ['u', 'unlock or lock cancelling'], ['g', 'the next gateway'], ['?', 'these keys'],
];

function showHelp() {
    const close = make('button', '', 'Close');
    close.type = 'button';
    close.addEventListener('click', () => $('help').close());
    const rows = help.map(([keys, what]) => make('tr', '', make('td', '', ...keys.split('  ').flatMap(key => [make('kbd', '', key), ' '])), make('td', '', what)));
    $('help').replaceChildren(make('h2', '', 'Keys'), make('table', '', ...rows), make('div', 'actions', close));
    $('help').showModal();
}

async function toggleLock() {
    if (cancelling.isUnlocked()) cancelling.lock();
    else await cancelling.unlock();
    tick();
}

const keys = {
    ...lists.keys(),
    o: () => $('orders-grid').focus(), f: () => $('fills-grid').focus(), p: () => go('.accounts'), h: () => go('.workers'), e: () => go('.problems'),
    '/': () => $('filter').focus(), u: toggleLock, '?': showHelp,
    g: () => showGateway((shown + 1) % stores.length),
    c: () => {
        const row = life.row ?? lists.orders.chosenRow();
        if (row?.Working) cancelling.cancelOrder(row);
        else tell('Choose an order that works first.');
    },
    Escape: () => life.isOpen() && life.close(),
};

document.addEventListener('keydown', event => {
    const isTyping = event.target.matches('input') || document.querySelector('dialog[open]');
    if (isTyping || event.ctrlKey || event.altKey || event.metaKey || !(event.key in keys) || !store()) return;
    event.preventDefault();
    keys[event.key]();
});
$('lock').addEventListener('click', toggleLock);
$('help-open').addEventListener('click', showHelp);
setInterval(tick, 1000);
tick();
await loadAdvice().catch(() => {}); // the page is of use without it
if (token) follow(token, hear, lost);
else lost('refused');
