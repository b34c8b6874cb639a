// Cancelling: locked until the service key is given, and never without a question.

import {$, count, make} from './text.js';
import {priceOf, sideOf} from './words.js';

export class Cancelling {
    // `call(path, members)` asks the program about the gateway that is shown; `tell` shows a line.
    constructor(call, tell) {
        Object.assign(this, {call, tell, dialog: $('ask'), words: new Map()});
    }

    // Each gateway is unlocked by itself.
    setGateway(index) {
        this.gateway = index;
    }

    isUnlocked() {
        return (this.words.get(this.gateway)?.until ?? 0) > Date.now();
    }

    left() {
        return this.words.get(this.gateway).until - Date.now();
    }

    lock() {
        this.words.delete(this.gateway);
    }

    async unlock() {
        const field = make('input');
        field.type = 'password';
        field.autocomplete = 'off';
        field.setAttribute('aria-label', 'Service key');
        const fault = make('p', 'fault');
        const accept = async () => {
            const gateway = this.gateway;
            const {word, forMs} = await this.call('/unlock', {key: field.value});
            if (word) {
                this.words.set(gateway, {word, until: Date.now() + forMs});
                return true;
            }
            fault.textContent = 'This is not the service key, or it was wrong too often: then wait half a minute.';
            field.select();
            return false;
        };
        return this.question('Unlock cancelling', ['Orders can be cancelled for five minutes after the gateway\'s service key was given.', field, fault], 'Unlock', 'Stay locked', accept, field);
    }

    async cancelOrder(row) {
        await this.confirm(`Cancel this order?`, `${sideOf(row)} ${count(row.LeavesQty)} of ${count(row.OrderQty)} ${row.Symbol} at ${priceOf(row)}, account ${row.BrokerID}-${row.Account}, report ${row.ReportID}.`, 'Cancel the order', {orders: [row.ReportID]});
    }

    async cancelAccount(mask, working) {
        await this.confirm(`Cancel all orders of ${mask}?`, `${count(working)} work now. Those that come to work until you answer are cancelled too.`, 'Cancel them all', {account: mask});
    }

    async confirm(title, text, yes, members) {
        if (!this.isUnlocked() && !await this.unlock()) return;
        const gateway = this.gateway;
        if (!await this.question(title, [text], yes, 'Keep', async () => true)) return;
        if (gateway !== this.gateway) return this.tell('Another gateway is shown now: nothing was cancelled.');
        try {
            this.report(await this.call('/cancel', {...members, word: this.words.get(gateway).word}));
        } catch (error) {
            this.tell(`It is not known whether it was cancelled: ${error.message}`);
        }
    }

    report({locked, taken, failed, left}) {
        if (locked) {
            this.lock();
            return this.tell('Locked again meanwhile: nothing was cancelled.');
        }
        const parts = [`${count(taken)} ${taken === 1 ? 'cancellation was' : 'cancellations were'} taken`];
        for (const {ReportID, why} of failed.slice(0, 3)) parts.push(`${ReportID}: ${why}`);
        if (failed.length > 3) parts.push(`${count(failed.length - 3)} more were refused`);
        if (left > 0) parts.push(`${count(left)} were not sent`);
        this.tell(parts.join('; '));
    }

    // True once `accept` has said so; false when the person goes back.
    question(title, body, yes, no, accept, focus) {
        return new Promise(answer => {
            const agree = make('button', 'danger', yes);
            const refuse = make('button', '', no);
            for (const button of [agree, refuse]) button.type = 'button';
            const paragraphs = body.map(part => typeof part === 'string' ? make('p', '', part) : part);
            const heading = make('h2', '', title);
            this.dialog.replaceChildren(heading, ...paragraphs, make('div', 'actions', refuse, agree));
            this.dialog.setAttribute('aria-label', title);
            const end = result => {
                this.dialog.oncancel = null;
                this.dialog.close();
                answer(result);
            };
            const tryIt = async () => {
                try {
                    if (await accept()) end(true);
                } catch (error) {
                    this.tell(error.message);
                    end(false);
                }
            };
            agree.addEventListener('click', tryIt);
            refuse.addEventListener('click', () => end(false));
            focus?.addEventListener('keydown', event => event.key === 'Enter' && tryIt());
            this.dialog.oncancel = () => answer(false); // Escape. The end of a question before this one may still be told
            this.dialog.showModal();
            (focus ?? refuse).focus();
        });
    }
}
