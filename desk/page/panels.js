// What stands beside the lists: how the gateway is, what is held, what went wrong.

import {adviceOf} from './advice.js';
import {$, ageOf, bytesOf, count, durationOf, make, momentOf, money, number, setText, short, signClass, signed} from './text.js';
import {accountOf} from './words.js';

const slowAfter = 2000; // ms that a request may take before its worker is marked

const sum = (rows, key) => rows.reduce((total, row) => total + Number(row[key] || 0), 0);

function table(element, heads, rows) {
    const cells = (tag, texts) => texts.map((text, i) => {
        const cell = make(tag, heads[i].startsWith('>') ? 'n' : '', text ?? '');
        return cell;
    });
    const head = make('thead', '', make('tr', '', ...cells('th', heads.map(text => text.replace('>', '')))));
    element.replaceChildren(head, make('tbody', '', ...rows.map(row => make('tr', '', ...cells('td', row)))));
}

export function profitOf(store) {
    return [...store.parts.values()].filter(part => part.part === 'positions').reduce((total, part) => total + sum(part.rows, 'TodayProfit'), 0);
}

export const holdsAnything = store => [...store.parts.values()].some(part => part.part === 'positions' && part.rows.length > 0);

// `cancel(account)` is asked to cancel all orders of it.
export function drawAccounts(store, cancel) {
    const accounts = store.part('accounts')?.rows ?? [];
    const masks = new Set(accounts.map(account => account.AccountMask));
    for (const part of store.parts.values()) if (part.part === 'positions') masks.add(part.account);
    const state = JSON.stringify([...masks].map(mask => [mask, store.part(`positions ${mask}`), store.part(`funds ${mask}`), workingOf(store, mask)]));
    if ($('accounts').dataset.state === state) return;
    $('accounts').dataset.state = state;
    setText($('accounts-note'), masks.size ? `${count(masks.size)} accounts` : '');
    $('accounts').replaceChildren(...[...masks].map(mask => drawAccount(store, mask, accounts.find(account => account.AccountMask === mask), cancel)));
    if (!masks.size) $('accounts').append(make('p', 'empty', 'The platform has told of no accounts yet.'));
}

const workingOf = (store, mask) => store.orders.count(row => row.Working && mask === accountOf(row));

function drawAccount(store, mask, account, cancel) {
    const rows = store.part(`positions ${mask}`)?.rows ?? [];
    const profit = sum(rows, 'TodayProfit');
    const total = make('span', `sum ${signClass(profit)}`, signed(profit));
    total.title = 'profit of today, over all positions';
    const name = account && account.AccountName !== mask ? account.AccountName : '';
    const header = make('header', '', make('h3', '', mask), make('span', 'quiet', name), total);
    const section = make('section', 'account', header, drawFunds(store, mask, cancel));
    section.dataset.account = mask;
    if (rows.length === 0) section.append(make('p', 'empty', 'No positions.'));
    else section.append(drawPositions(rows));
    return section;
}

function drawFunds(store, mask, cancel) {
    const funds = make('div', 'funds');
    for (const row of store.part(`funds ${mask}`)?.rows ?? []) {
        const pairs = [['value', row.AccountValueAtMarket], ['free', row.ExcessEquity], ['commission', row.Commissions]];
        for (const [name, value] of pairs) if (value) funds.append(make('span', '', `${name} `, make('b', '', money(Number(value)))));
        funds.append(make('span', '', row.CurrencyToSystem));
    }
    const working = workingOf(store, mask);
    if (working > 0) {
        const button = make('button', 'small', `Cancel ${count(working)} working…`);
        button.type = 'button';
        button.addEventListener('click', () => cancel(mask));
        funds.append(button);
    }
    return funds;
}

function drawPositions(rows) {
    const element = make('table');
    const sorted = [...rows].sort((a, b) => a.Symbol < b.Symbol ? -1 : 1);
    table(element, ['Symbol', '>Quantity', '>Average', '>Price', '>Today'], sorted.map(row => {
        const quantity = Number(row.SumLongQty || 0) - Number(row.SumShortQty || 0);
        const profit = make('span', signClass(Number(row.TodayProfit)), signed(Number(row.TodayProfit)));
        profit.title = number(row.TodayProfit);
        const average = make('span', '', short(row.AvgPrice));
        average.title = number(row.AvgPrice);
        return [row.Symbol, make('span', quantity < 0 ? 'sell' : quantity > 0 ? 'buy' : 'quiet', (quantity > 0 ? '+' : '') + count(quantity)), average, number(row.MarketPrice), profit];
    }));
    return element;
}

export function drawHealth(store) {
    const status = store.part('status');
    const known = status && !status.Off;
    drawWorkers(known ? status : null);
    const operations = known ? status.Operations : [];
    table($('latency'), ['Request', '>Count', '>Fail', '>p50', '>p90', '>p99', '>Longest'], [...operations].sort((a, b) => b.Count - a.Count).map(row =>
        [row.Request === 'Req' ? 'not a request' : row.Request, count(row.Count), row.Failures === '0' ? '' : make('span', 'loss', count(row.Failures)), ...['P50Us', 'P90Us', 'P99Us', 'MaxUs'].map(key => durationOf(Number(row[key])))]));
    drawSessions(known ? status.Sessions : []);
    drawGateway(store, known ? status : null);
}

function drawWorkers(status) {
    setText($('workers-note'), status ? '' : 'not known');
    $('workers').replaceChildren(...(status?.Workers ?? []).map((worker, i) => {
        const runs = Number(worker.RunsMs);
        const look = !worker.Request || (worker.Request === 'STATUS' && runs < 1000) ? '' : runs > slowAfter ? 'slow' : 'busy';
        return make('li', look, `Worker ${i + 1}`, make('span', '', worker.Request ? `${worker.Request}, ${runs < 1000 ? `${runs} ms` : ageOf(runs)}` : 'waits'));
    }));
}

function drawSessions(sessions) {
    setText($('sessions-note'), sessions.length ? `${count(sessions.length)}, this page's among them` : '');
    table($('sessions'), ['Logged in', '>Last heard of'], [...sessions].sort((a, b) => b.AgeMs - a.AgeMs).map(session => {
        const silent = Number(session.SilentMs);
        return [`${ageOf(Number(session.AgeMs))} ago`, make('span', silent > 40000 ? 'loss' : '', silent < 1500 ? 'now' : `${ageOf(silent)} ago`)];
    }));
}

function drawGateway(store, status) {
    const rows = [['Serves at', store.gateway.address]];
    const platform = status?.Platform;
    if (platform) {
        rows.push(['Platform', platform.Address === 'paper:' ? 'the built-in market on paper' : platform.Address]);
        rows.push(['Connected', platform.Connected === '1' ? 'yes, since its start' : 'no: it refused the connection at the start']);
        rows.push(['Trade data', platform.TradeDataReady === '1' ? 'loaded' : 'not loaded yet']);
        if (platform.LastEvent) rows.push(['Last event', `${ageOf(Date.now() - Date.parse(platform.LastEvent))} ago, ${momentOf(Date.parse(platform.LastEvent))}`]);
        rows.push(['Started', momentOf(Date.parse(status.Started))], ['Version', status.Version], ['Memory', bytesOf(Number(status.MemoryBytes))]);
    }
    if (store.part('status')?.Off) rows.push(['Status', 'is off. Put Status=1 under [Gateway] into Configs/ZMQ.ini beside the gateway and start it again: then workers, latency and sessions are shown here.']);
    rows.push(['Numbered feed', feedOf(store.part('feed'))]);
    $('gateway').replaceChildren(...rows.flatMap(([name, text]) => [make('dt', '', name), make('dd', '', text)]));
}

function feedOf(feed) {
    if (!feed?.Last) return 'none';
    const parts = [`at ${number(feed.Last)}, kept from ${number(feed.First)}`];
    if (feed.Waiting !== '0') parts.push(`${number(feed.Waiting)} wait to be written`);
    if (feed.Lost !== '0') parts.push(`${number(feed.Lost)} lost in this run`);
    return feed.Failure ? make('span', 'loss', `${parts.join(', ')}; it cannot be written: ${feed.Failure}`) : parts.join(', ');
}

export function drawProblems(store) {
    const log = store.part('log');
    const rows = [...(log?.rows ?? [])].reverse();
    document.querySelector('.problems').classList.toggle('calm', rows.length === 0);
    setText($('problems-note'), rows.length ? `${count(rows.length)} newest first, times of this machine` : '');
    const state = JSON.stringify(log);
    if ($('problems').dataset.state === state) return;
    $('problems').dataset.state = state;
    $('problems').replaceChildren(...rows.map(drawProblem));
    if (rows.length) return;
    const why = !log?.folder ? 'The log is on another machine; the option --logs names its folder.' : log.file ? 'None.' : `No log was found in ${log.folder}`;
    $('problems').append(make('li', 'empty', why));
}

function drawProblem(row) {
    const {means, todo} = adviceOf(row.Text);
    const when = make('span', 'when', `${row.Date.replace(/(....)(..)(..)/, '$1-$2-$3')} ${row.Time}`);
    return make('li', '', make('div', '', make('span', 'level', row.Level), make('b', '', row.Text)), make('div', 'advice', todo), make('div', 'means', means), when);
}
