// What is known of one gateway: tables of rows, kept by the changes that come.

import {stateOf} from './words.js';

export class Store {
    constructor(gateway) {
        this.gateway = gateway; // system, address
        this.clear();
    }

    clear() {
        this.parts = new Map();
        this.orders = new Table('ReportID');
        this.fills = new Table('ReportID');
        this.points = [];
    }

    take(line) {
        if (line.table === 'orders' || line.table === 'fills') return this[line.table].take(line);
        if (line.reset) line.table === 'points' ? this.points = [] : this.parts.clear();
        for (const row of line.rows) {
            if (line.table === 'points') this.points.push(row);
            else this.parts.set(row.account ? `${row.part} ${row.account}` : row.part, row);
        }
        if (this.points.length > 360) this.points.splice(0, this.points.length - 360);
    }

    part(name) {
        return this.parts.get(name);
    }
}

// Rows by their identity, newest first. `Place` is the order in which they came to be.
export class Table {
    constructor(key) {
        this.key = key;
        this.byKey = new Map();
        this.rows = [];
        this.isSorted = true;
        this.version = 0;
    }

    take({reset, rows}) {
        if (reset) {
            this.byKey.clear();
            this.rows = [];
        }
        for (const row of rows) {
            const known = this.byKey.get(row[this.key]);
            row.came = reset ? 0 : Date.now();
            if ('Working' in row) row.state = stateOf(row);
            if (known) {
                this.rows[known.at] = row;
                row.at = known.at;
            } else {
                row.at = this.rows.push(row) - 1;
                this.isSorted &&= row.at === 0 || this.rows[row.at - 1].Place < row.Place;
            }
            this.byKey.set(row[this.key], row);
        }
        this.version += 1;
    }

    get(key) {
        return this.byKey.get(key);
    }

    count(test) {
        let found = 0;
        for (const row of this.rows) if (test(row)) found += 1;
        return found;
    }

    // A new array, of those that the test lets through.
    newestFirst(test = () => true) {
        if (!this.isSorted) {
            this.rows.sort((a, b) => a.Place - b.Place).forEach((row, at) => row.at = at);
            this.isSorted = true;
        }
        const found = [];
        for (let at = this.rows.length - 1; at >= 0; at -= 1) if (test(this.rows[at])) found.push(this.rows[at]);
        return found;
    }
}
