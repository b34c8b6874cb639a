// What the wire's codes mean, in words.

import {number} from './text.js';

export const sideOf = row => ({1: 'Buy', 2: 'Sell'}[row.Side] ?? row.Side);
export const sideClass = row => ({1: 'buy', 2: 'sell'}[row.Side] ?? '');
export const isBuy = row => row.Side === '1';

const types = {1: 'market', 2: 'limit', 3: 'stop', 4: 'stop limit'};
const validities = {0: 'day', 1: 'day', 2: 'immediate or cancel', 3: 'fill or kill'};
export const typeOf = row => types[row.OrderType] ?? `type ${row.OrderType}`;
export const validityOf = row => validities[row.TimeInForce] ?? `code ${row.TimeInForce}`;

export function priceOf(row) {
    if (row.OrderType === '1') return 'market';
    const stop = row.StopPrice && row.StopPrice !== '0' ? `stop ${number(row.StopPrice)}` : '';
    if (row.OrderType === '3') return stop || 'stop';
    return stop && row.OrderType === '4' ? `${number(row.Price)} (${stop})` : number(row.Price);
}

// {name, kind}: the word, and one of the kinds that the page draws. The platform's own text decides
// where its codes are not known.
export function stateOf(row) {
    const says = /^[A-Za-z]+/.exec(row.ExecTypeText)?.[0].toLowerCase() ?? '';
    if (row.Working) {
        if (Number(row.CumQty) > 0) return {name: 'Part filled', kind: 'part'};
        if ((row.OrderType === '3' || row.OrderType === '4') && row.ExecType !== '9') return {name: 'Waiting', kind: 'waiting'};
        return {name: 'Working', kind: 'working'};
    }
    if (row.ExecType === '8' || says.startsWith('reject')) return {name: 'Rejected', kind: 'rejected'};
    if (Number(row.OrderQty) > 0 && row.CumQty === row.OrderQty) return {name: 'Filled', kind: 'filled'};
    if (row.ExecType === '4' || says.startsWith('cancel')) return {name: 'Cancelled', kind: 'over'};
    if (row.ExecType === '12' || says.startsWith('expire')) return {name: 'Expired', kind: 'over'};
    return {name: row.ExecTypeText || 'Over', kind: 'over'};
}

export const isRejected = row => (row.state ?? stateOf(row)).kind === 'rejected';

// Why an order was rejected: what the platform says, with its code.
export function reasonOf(row) {
    const text = row.ExecTypeText.replace(/^rejected:?\s*/i, '');
    const code = row.ErrorCode && row.ErrorCode !== '0' ? `code ${row.ErrorCode}` : '';
    if (!text) return code || 'the platform gives no reason';
    return code ? `${text} (${code})` : text;
}

export const accountOf = row => `${row.BrokerID}-${row.Account}`;
