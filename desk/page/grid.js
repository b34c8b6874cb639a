// A list of any length, of which only the rows that are seen are in the document. One row is chosen;
// it stays so when others come before it.

import {make, setText} from './text.js';

const height = 30; // as --row in desk.css
const ahead = 8; // rows drawn beyond the edges

const base = column => `${column.right ? 'n' : ''} ${column.wide ? 'wide' : ''}`;

export class Grid {
    // Columns: {name, width, least, wide, full, right, title, text(row), look(row)}. `text` is shown, `look` is
    // the class; `wide` ones are left out of a narrow window, `full` ones show all of it under the pointer.
    constructor(root, {columns, key, label, nothing, open}) {
        Object.assign(this, {root, columns, key, nothing, open, rows: [], pool: [], chosen: null, top: null});
        for (const [name, some] of [['', columns], ['-narrow', columns.filter(column => !column.wide)]]) {
            root.style.setProperty(`--columns${name}`, some.map(column => column.width).join(' '));
            root.style.setProperty(`--least${name}`, `${some.reduce((sum, column) => sum + column.least + 12, 16)}px`);
        }
        root.tabIndex = 0;
        root.setAttribute('role', 'grid');
        root.setAttribute('aria-label', label);
        const head = make('div', 'head', ...columns.map(column => make('span', base(column), column.name)));
        head.setAttribute('role', 'row');
        for (const [i, cell] of [...head.children].entries()) {
            cell.setAttribute('role', 'columnheader');
            if (columns[i].title) cell.title = columns[i].title;
        }
        this.space = make('div', 'space');
        this.empty = make('div', 'nothing', nothing);
        this.body = make('div', 'body', this.space, this.empty);
        root.append(head, this.body);
        this.body.addEventListener('scroll', () => this.draw(), {passive: true});
        new ResizeObserver(() => this.draw()).observe(this.body);
        root.addEventListener('keydown', event => this.onKey(event));
    }

    // Whoever has scrolled down keeps seeing the same rows.
    setRows(rows) {
        const {scrollTop} = this.body;
        if (scrollTop > 0 && this.top !== null) {
            const at = rows.findIndex(row => row[this.key] === this.top);
            const was = Math.floor(scrollTop / height);
            if (at > was) this.scrollTo = scrollTop + (at - was) * height;
        }
        this.rows = rows;
        this.empty.hidden = rows.length > 0;
        this.space.style.height = `${rows.length * height}px`;
        this.root.setAttribute('aria-rowcount', rows.length + 1);
        if (this.scrollTo !== undefined) this.body.scrollTop = this.scrollTo;
        this.scrollTo = undefined;
        this.draw();
    }

    draw() {
        const first = Math.max(0, Math.floor(this.body.scrollTop / height) - ahead);
        const last = Math.min(this.rows.length, Math.ceil((this.body.scrollTop + this.body.clientHeight) / height) + ahead);
        this.top = this.rows[Math.floor(this.body.scrollTop / height)]?.[this.key] ?? null;
        while (this.pool.length < last - first) this.pool.push(this.makeRow());
        for (const [i, element] of this.pool.entries()) {
            const row = this.rows[first + i];
            element.hidden = !row || first + i >= last;
            if (!element.hidden) this.drawRow(element, row, first + i);
        }
    }

    makeRow() {
        const element = make('div', 'row', ...this.columns.map(() => make('span')));
        element.setAttribute('role', 'row');
        for (const cell of element.children) cell.setAttribute('role', 'gridcell');
        element.addEventListener('click', () => {
            this.choose(element.row);
            this.open?.(element.row);
        });
        this.body.append(element);
        return element;
    }

    drawRow(element, row, at) {
        const isChosen = row[this.key] === this.chosen;
        const isFresh = element.row !== row && Date.now() - row.came < 600;
        element.row = row;
        row.came = 0;
        element.classList.toggle('chosen', isChosen);
        element.setAttribute('aria-selected', isChosen);
        element.setAttribute('aria-rowindex', at + 2);
        element.style.transform = `translateY(${at * height}px)`;
        element.id = `${this.root.id}-${at}`;
        if (isChosen) this.root.setAttribute('aria-activedescendant', element.id);
        for (const [i, column] of this.columns.entries()) {
            const cell = element.children[i];
            setText(cell, column.text(row));
            if (column.full) cell.title = cell.textContent;
            const look = `${base(column)} ${column.look?.(row) ?? ''}`;
            if (cell.className !== look) cell.className = look;
        }
        if (isFresh) {
            element.classList.remove('fresh');
            void element.offsetWidth; // else the animation does not begin anew
            element.classList.add('fresh');
        }
    }

    chosenRow() {
        return this.rows.find(row => row[this.key] === this.chosen);
    }

    choose(row) {
        this.chosen = row?.[this.key] ?? null;
        this.draw();
    }

    onKey(event) {
        if (event.ctrlKey || event.altKey || event.metaKey || event.target !== this.root) return;
        const page = Math.max(1, Math.floor(this.body.clientHeight / height) - 1);
        const steps = {ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity, j: 1, k: -1};
        if (event.key === 'Enter') this.open?.(this.chosenRow());
        else if (event.key in steps) this.move(steps[event.key]);
        else return;
        event.preventDefault();
        event.stopPropagation();
    }

    move(steps) {
        if (this.rows.length === 0) return;
        const now = this.rows.findIndex(row => row[this.key] === this.chosen);
        const next = now < 0 && Number.isFinite(steps) ? Math.floor(this.body.scrollTop / height) : now + steps;
        const at = Math.min(this.rows.length - 1, Math.max(0, next));
        const {scrollTop, clientHeight} = this.body;
        if (at * height < scrollTop) this.body.scrollTop = at * height;
        else if ((at + 1) * height > scrollTop + clientHeight) this.body.scrollTop = (at + 1) * height - clientHeight;
        this.choose(this.rows[at]);
    }
}
