// Requests and publications a second over the last hour.

import {$, make, rate, setText} from './text.js';

const hour = 3600;

const colour = name => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

export class Chart {
    constructor() {
        this.requests = make('b');
        this.publications = make('b');
        const mark = name => {
            const sample = make('i');
            sample.style.background = `var(${name})`;
            return sample;
        };
        $('activity-note').append(mark('--accent'), 'requests/s ', this.requests, mark('--sell'), 'publications/s ', this.publications);
        matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => this.build());
        new ResizeObserver(() => this.plot?.setSize({width: this.width(), height: 150})).observe($('chart'));
        this.points = [];
        this.build();
    }

    width() {
        return Math.max(200, $('chart').clientWidth - 16);
    }

    build() {
        this.plot?.destroy();
        const axis = {stroke: colour('--quiet'), grid: {stroke: colour('--faint'), width: 1}, ticks: {show: false}, font: '11px Inter, "Segoe UI", sans-serif'};
        const line = name => ({stroke: colour(name), width: 1.6, points: {show: false}, spanGaps: false});
        const time = new Intl.DateTimeFormat(undefined, {hour: '2-digit', minute: '2-digit'});
        this.plot = new uPlot({
            width: this.width(), height: 150, padding: [8, 22, 0, 0], legend: {show: false}, cursor: {show: false},
            scales: {x: {range: () => [Date.now() / 1000 - hour, Date.now() / 1000]}, y: {range: (_, low, high) => [0, Math.max(5, high * 1.15)]}},
            axes: [{...axis, size: 24, space: 70, values: (_, marks) => marks.map(mark => time.format(mark * 1000))}, {...axis, size: 44, space: 28, values: (_, marks) => marks.map(rate)}],
            series: [{}, line('--accent'), line('--sell')],
        }, this.data(), $('chart'));
    }

    // A line is broken where nothing is known.
    data() {
        const columns = [[], [], []];
        let before = 0;
        for (const point of this.points) {
            const at = point.At / 1000;
            if (before && at - before > 25) columns.forEach((column, i) => column.push(i ? null : before + 5));
            columns[0].push(at);
            columns[1].push(point.Requests);
            columns[2].push(point.Publications);
            before = at;
        }
        return columns;
    }

    update(store) {
        const rates = store.part('rates');
        setText(this.requests, rates ? rate(rates.Requests) : '–');
        setText(this.publications, rates ? rate(rates.Publications) : '–');
        const newest = store.points.at(-1)?.At;
        if (newest === this.newest && store === this.store) return;
        Object.assign(this, {store, newest, points: store.points});
        this.plot.setData(this.data());
    }
}
