// One order's whole life, in a panel from the side.

import {$, ageOf, count, exactTimeOf, make, number, platformTime} from './text.js';
import {accountOf, isRejected, priceOf, reasonOf, sideOf, stateOf, typeOf, validityOf} from './words.js';

export class Life {
    // `ask(ReportID)` gives {reports, fills}; `cancel(row)` is asked to cancel it.
    constructor(ask, cancel) {
        Object.assign(this, {ask, cancel, panel: $('life'), row: null});
    }

    isOpen() {
        return !this.panel.hidden;
    }

    async open(row) {
        if (!row) return;
        if (!this.isOpen()) this.before = document.activeElement;
        this.panel.hidden = false;
        await this.show(row);
        this.panel.focus();
    }

    close() {
        this.panel.hidden = true;
        this.row = null;
        this.before?.focus();
    }

    // Draws it anew when it has changed.
    update(store) {
        if (!this.row) return;
        const row = store.orders.get(this.row.ReportID);
        if (row && row !== this.row) this.show(row);
    }

    async show(row) {
        this.row = row;
        let life = {reports: [], fills: []};
        try {
            life = {...life, ...await this.ask(row.ReportID)};
        } catch (error) {
            life.fault = error.message;
        }
        if (this.row === row) this.panel.replaceChildren(...this.parts(row, life));
    }

    parts(row, life) {
        const close = make('button', 'plain close', 'Close');
        close.type = 'button';
        close.addEventListener('click', () => this.close());
        const state = stateOf(row);
        const title = make('h2', '', `${sideOf(row)} ${count(row.OrderQty)} ${row.Symbol}`);
        title.id = 'life-title';
        const verdict = make('p', `verdict ${state.kind}`, isRejected(row) ? `Rejected: ${reasonOf(row)}` : make('span', `state ${state.kind}`, this.sentence(row, state)));
        const parts = [close, title, verdict];
        if (row.Working) parts.push(this.actions(row));
        parts.push(this.facts(row), make('h3', '', 'Reports'), this.steps(life));
        if (life.fills.length) parts.push(make('h3', '', `Fills (${count(life.fills.length)})`), this.fills(life.fills));
        return parts;
    }

    sentence(row, state) {
        const filled = Number(row.CumQty) > 0 ? `, ${count(row.CumQty)} filled at ${number(row.AvgPrice)} on average` : '';
        return state.name + filled + (row.Working ? `, ${count(row.LeavesQty)} left` : '');
    }

    actions(row) {
        const button = make('button', '', 'Cancel this order…');
        button.type = 'button';
        button.title = '(c)';
        button.addEventListener('click', () => this.cancel(row));
        return make('div', 'actions', button);
    }

    facts(row) {
        const pairs = [['Price', priceOf(row)], ['Type', `${typeOf(row)}, ${validityOf(row)}`], ['Account', accountOf(row)], ['User key', row.UserKey1 || 'none'],
            ['Report', row.ReportID], ['Order', row.OrderID || 'none'], ['Came from', row.OrgSource || 'not told']];
        if (row.OriginalQty && row.OriginalQty !== row.OrderQty) pairs.splice(1, 0, ['First quantity', count(row.OriginalQty)]);
        return make('dl', '', ...pairs.flatMap(([name, text]) => [make('dt', '', name), make('dd', '', text)]));
    }

    steps({reports, fault}) {
        const list = make('ol', 'steps');
        if (fault) list.append(make('li', 'bad', `The reports cannot be shown: ${fault}`));
        for (const [i, report] of reports.entries()) {
            const before = reports[i - 1];
            const when = `${exactTimeOf(report.At)}${before ? `, ${this.after(report.At - before.At)} later` : ''} · platform's clock ${platformTime(report.TransactTime)}`;
            const rejected = isRejected({...report, Working: Number(report.LeavesQty) > 0});
            list.append(make('li', rejected ? 'bad' : '', make('div', 'what', report.ExecTypeText || `type ${report.ExecType}`), make('div', 'how', this.change(report, before)), make('div', 'when', when)));
            if (report.Restored) list.lastChild.append(make('div', 'when', i === 0 ? 'Read when this page\'s program came to know of it: what was before is not recorded here.' : 'Read again after a gap.'));
        }
        return list;
    }

    after(ms) {
        return ms < 1000 ? `${ms} ms` : ageOf(ms);
    }

    // What differs from the report before.
    change(report, before) {
        const texts = [`${count(report.CumQty)} of ${count(report.OrderQty)} filled`];
        if (!before && report.Price && report.Price !== '0') texts.push(`price ${number(report.Price)}`);
        if (before && before.Price !== report.Price) texts.push(`price ${number(before.Price)} → ${number(report.Price)}`);
        if (before && before.OrderQty !== report.OrderQty) texts.push(`quantity ${count(before.OrderQty)} → ${count(report.OrderQty)}`);
        if (before && before.StopPrice !== report.StopPrice) texts.push(`stop ${number(before.StopPrice)} → ${number(report.StopPrice)}`);
        if (report.ErrorCode && report.ErrorCode !== '0') texts.push(`code ${report.ErrorCode}`);
        return texts.join(', ');
    }

    fills(fills) {
        const rows = fills.map(fill => make('tr', '', make('td', '', platformTime(fill.TransactTime)), make('td', 'n', number(fill.MatchedQty)), make('td', 'n', number(fill.MatchedPrice)), make('td', 'quiet', fill.Symbol)));
        const heads = [['Time', ''], ['Quantity', 'n'], ['Price', 'n'], ['Symbol', '']];
        return make('table', '', make('thead', '', make('tr', '', ...heads.map(([text, look]) => make('th', look, text)))), make('tbody', '', ...rows));
    }
}
