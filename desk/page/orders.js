// The lists of orders and of fills.

import {Grid} from './grid.js';
import {$, count, make, number, platformTime, setText, shortAgeOf} from './text.js';
import {accountOf, isRejected, priceOf, reasonOf, sideClass, sideOf} from './words.js';

const views = [
    {name: 'Working', key: 'w', test: row => row.Working, nothing: 'No order works now.'},
    {name: 'Rejected', key: 'r', test: isRejected, nothing: 'No order was rejected.', bad: true},
    {name: 'All', key: 'a', test: () => true, nothing: 'No orders yet.'},
];

const orderColumns = [
    {name: 'Time', width: '58px', least: 58, wide: true, title: 'of the last change, by the platform\'s clock', text: row => platformTime(row.TransactTime).slice(0, 8), look: () => 'quiet'},
    {name: 'State', width: '92px', least: 92, text: row => row.state.name, look: row => `state ${row.state.kind}`},
    {name: 'Age', width: '64px', least: 64, wide: true, right: true, title: 'of an order that works', text: age, look: () => 'quiet'},
    {name: 'Side', width: '32px', least: 32, text: sideOf, look: sideClass},
    {name: 'Symbol', width: 'minmax(154px, 1fr)', least: 154, text: row => row.Symbol},
    {name: 'Done', width: 'minmax(64px, .5fr)', least: 64, right: true, title: 'filled, of how many', text: row => `${count(row.CumQty)} / ${count(row.OrderQty)}`},
    {name: 'Price', width: 'minmax(70px, .6fr)', least: 70, right: true, text: priceOf},
    {name: 'Account', width: 'minmax(112px, .6fr)', least: 112, wide: true, text: accountOf, look: () => 'quiet'},
    {name: 'Key, or why not', width: 'minmax(120px, 4fr)', least: 120, full: true, title: 'the client\'s own key; of a rejected order the reason', text: row => isRejected(row) ? reasonOf(row) : row.UserKey1, look: row => isRejected(row) ? 'bad' : 'quiet'},
];

const fillColumns = [
    {name: 'Time', width: '88px', least: 88, title: 'by the platform\'s clock', text: row => platformTime(row.TransactTime), look: () => 'quiet'},
    {name: 'Side', width: '32px', least: 32, text: sideOf, look: sideClass},
    {name: 'Symbol', width: 'minmax(154px, 1fr)', least: 154, text: row => row.Symbol},
    {name: 'Quantity', width: 'minmax(70px, .6fr)', least: 70, right: true, text: row => number(row.MatchedQty)},
    {name: 'Price', width: 'minmax(80px, .7fr)', least: 80, right: true, text: row => number(row.MatchedPrice)},
    {name: 'Account', width: 'minmax(112px, .6fr)', least: 112, wide: true, text: accountOf, look: () => 'quiet'},
    {name: 'Key', wide: true, width: 'minmax(110px, 2fr)', least: 110, full: true, text: row => row.UserKey1, look: () => 'quiet'},
];

// An order that was there before this program knows of it only since then.
function age(row) {
    return row.Working ? `${row.Older ? '> ' : ''}${shortAgeOf(Date.now() - row.Born)}` : '';
}

export class Lists {
    constructor(open) {
        this.view = views[0];
        this.versions = '';
        const nothing = make('span', '', this.view.nothing);
        this.nothing = nothing;
        this.orders = new Grid($('orders-grid'), {columns: orderColumns, key: 'ReportID', label: 'Orders', nothing, open});
        this.fills = new Grid($('fills-grid'), {columns: fillColumns, key: 'ReportID', label: 'Fills', nothing: 'No fills yet.', open: fill => open(this.orderOf(fill))});
        this.buttons = views.map(view => {
            const button = make('button', '', view.name, make('b'));
            button.type = 'button';
            button.title = `(${view.key})`;
            button.addEventListener('click', () => this.show(view));
            $('views').append(button);
            return button;
        });
        $('filter').addEventListener('input', () => this.update(this.store, true));
        $('filter').addEventListener('keydown', event => {
            if (event.key === 'Escape') $('filter').value = '';
            if (event.key !== 'Escape' && event.key !== 'Enter' && event.key !== 'ArrowDown') return;
            event.stopPropagation();
            this.update(this.store, true);
            this.orders.root.focus();
        });
    }

    keys() {
        return Object.fromEntries(views.map(view => [view.key, () => this.show(view)]));
    }

    show(view) {
        this.view = typeof view === 'string' ? views.find(each => each.name === view) : view;
        this.orders.body.scrollTop = 0;
        this.update(this.store, true);
        this.orders.root.focus();
    }

    orderOf(fill) {
        return fill && this.store.orders.rows.find(row => row.OrderID === fill.OrderID);
    }

    // Draws what has changed since the last time, or all.
    update(store, all = false) {
        const versions = `${store?.gateway.index} ${store?.orders.version} ${store?.fills.version}`;
        if (!store || (versions === this.versions && !all)) return;
        this.store = store;
        this.versions = versions;
        const words = $('filter').value.toLowerCase().split(/\s+/).filter(Boolean);
        const fits = row => words.every(word => `${row.Symbol} ${accountOf(row)} ${row.UserKey1} ${row.ReportID} ${sideOf(row)}`.toLowerCase().includes(word));
        for (const [i, view] of views.entries()) {
            const found = store.orders.count(view.test);
            this.buttons[i].setAttribute('aria-pressed', view === this.view);
            this.buttons[i].classList.toggle('has-bad', Boolean(view.bad) && found > 0);
            setText(this.buttons[i].lastChild, count(found));
        }
        setText(this.nothing, words.length ? 'Nothing fits the filter. Escape clears it.' : this.view.nothing);
        this.orders.setRows(store.orders.newestFirst(words.length ? row => this.view.test(row) && fits(row) : this.view.test));
        this.fills.setRows(store.fills.newestFirst(words.length ? fits : undefined));
        setText($('fills-note'), `${count(this.fills.rows.length)} ${words.length ? 'fit the filter' : 'in all'}`);
    }

    // Ages grow without news.
    tick() {
        this.orders.draw();
    }

    count(name) {
        return this.store ? this.store.orders.count(views.find(view => view.name === name).test) : 0;
    }
}
