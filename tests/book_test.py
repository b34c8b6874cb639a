"""A client's book against the platform's. While one client trades stocks, futures and options, the link of
another is cut, that client is restarted, and the gateway is killed and started again, in random order. Each
time the book has to become exactly what the platform restores, with every fill told once, and no order is
there twice. Takes the path of the program as its last argument; HALVANE_BOOK_ORDERS says how many orders."""

import asyncio
import collections
import contextlib
import os
import random
import sys
import unittest

from running_gateway import PATIENCE, SERVICE_KEY, Gateway, take_paths

from halvane import AsyncClient, FillEvent, HalvaneError, NewOrder, OutcomeUnknown, symbols_of
from halvane.book import Book, succeed
from halvane.records import ExecutionReport, FillReport

(PROGRAM,) = take_paths(1)
ORDERS = int(os.environ.get("HALVANE_BOOK_ORDERS", "10000"))
ROUNDS = 12
BUY, SELL = 1, 2
LISTS = ["PaperStk", "PaperFut", "PaperOpt"]
FAR_HOST = "127.0.0.3"  # where the link that is cut leads through


class Link:
    """Forwards the ports of a gateway until it is cut."""

    def __init__(self, ports):
        self.ports, self.servers, self.writers = ports, [], set()

    async def open(self):
        for port in self.ports:
            def accept(reader, writer, port=port):
                return self.forward(reader, writer, port)

            self.servers.append(await asyncio.start_server(accept, FAR_HOST, port))

    async def forward(self, reader, writer, port):
        async def pump(source, target):
            while data := await source.read(65536):
                target.write(data)
                await target.drain()

        with contextlib.suppress(OSError, asyncio.CancelledError):
            far_reader, far_writer = await asyncio.open_connection("127.0.0.1", port)
            ends = {writer, far_writer}
            self.writers |= ends
            pumps = [asyncio.ensure_future(pump(*way)) for way in ((reader, far_writer), (far_reader, writer))]
            await asyncio.wait(pumps, return_when=asyncio.FIRST_COMPLETED)
            for end in ends:
                end.transport.abort()
            self.writers -= ends
            await asyncio.gather(*pumps, return_exceptions=True)

    def cut(self):
        for writer in self.writers:
            writer.transport.abort()

    def close(self):
        for server in self.servers:
            server.close()
        self.cut()


class Instrument:
    """One contract with the prices that keep an order for it from being filled."""

    def __init__(self, info):
        self.symbol = info["Symbol"]
        self.tick = round(float(info["TickSize"]) * 10000)
        low, middle, high = (round(float(info[key]) * 10000) // self.tick
                             for key in ("LowerLimit", "ReferencePrice", "UpperLimit"))  # fmt: skip
        self.low = range(low, low + max(1, (middle - low) // 4))
        self.high = range(high - max(1, (high - middle) // 4), high)

    def price(self, ticks):
        whole, decimals = divmod(ticks * self.tick, 10000)
        return f"{whole}.{decimals:04}"

    def resting(self, dice, side):
        return self.price(dice.choice(self.low if side == BUY else self.high))

    def marketable(self, dice, side):
        return self.resting(dice, SELL if side == BUY else BUY)


class Trader:
    """Places, replaces and cancels orders at random, several at a time."""

    def __init__(self, client, dice):
        self.client, self.dice = client, dice
        self.slots = asyncio.Semaphore(16)
        self.accepted, self.doubted, self.changes = set(), set(), collections.Counter()

    async def read_market(self):
        while not (accounts := await self.client.accounts()):
            pass
        self.accounts = accounts
        self.instruments = [Instrument(await self.client.instrument(symbol)) for name in LISTS
                            for symbol in symbols_of(await self.client.instruments(name))]  # fmt: skip

    async def trade(self, orders):
        await asyncio.gather(*(self.step() for _ in range(orders)))

    async def step(self):
        async with self.slots:
            try:
                order = await self.client.place(self.draw())
                self.accepted.add(order.id)
                if self.dice.random() < 0.8:  # many an order is beyond the funds, so most others are changed
                    await order.wait("working", 1)
                    await self.change(order)
            except OutcomeUnknown as unknown:
                if unknown.name == "NEWORDER":
                    self.doubted.add(unknown.order.id)
            except HalvaneError:
                pass  # the order is filled or rejected, or the gateway is gone

    async def change(self, order):
        if self.dice.random() < 0.5:
            await order.cancel()
            self.changes["cancelled"] += 1
            return
        instrument = next(each for each in self.instruments if each.symbol == order.report.symbol)
        price = instrument.resting(self.dice, order.report.side)
        await order.replace(price=price, quantity=order.filled_quantity + self.dice.randint(1, 3))
        self.changes["replaced"] += 1

    def draw(self):
        dice = self.dice
        instrument, side, kind = dice.choice(self.instruments), dice.choice([BUY, SELL]), dice.random()
        wanted = {"account": dice.choice(self.accounts), "time_in_force": dice.choice([0, 1, 2, 3])}
        quantity = dice.choice([1, 2, 50])  # now and then more than the market has at once
        if kind < 0.5:
            wanted |= {"price": instrument.resting(dice, side), "time_in_force": 0, "keys": {2: "a", 9: "b;c"}}
        elif kind < 0.85:
            wanted |= {"price": instrument.marketable(dice, side)}
        elif kind < 0.9:
            wanted |= {"stop_price": instrument.marketable(dice, side), "time_in_force": 0}
        elif kind < 0.95:
            wanted |= {"price": instrument.price(instrument.high[-1] + 2)}  # is rejected
        return NewOrder(instrument.symbol, side, quantity, **wanted)


class Keeper:
    """A client with a book at the far end of the link; every fill that it is told of is counted."""

    def __init__(self, client):
        self.client = client
        self.known = {fill.report_id for fill in client.fills()}
        self.told = collections.Counter()
        client.on(FillEvent, lambda event: self.told.update([event.fill.report_id]))


def values(record):
    """What the published and the restored form of a record have both."""
    lacking = {"strategy", "rec_fill_qty", "delay_trans_position", "sliced_type", "slice_id", "exec_his", "qry_index"}
    row = {name: value for name, value in record.as_dict().items() if name not in lacking}
    return row | {"avg_price": f"{float(row['avg_price']):.6f}"} if row.get("avg_price") else row


def differences(kept, restored):
    kept, restored = ({row.report_id: values(row) for row in rows} for rows in (kept, restored))
    return [(key, kept.get(key), restored.get(key)) for key in kept.keys() | restored.keys()
            if kept.get(key) != restored.get(key)]  # fmt: skip


class Merging(unittest.TestCase):
    def report(self, report_id, quantity, **more):
        return ExecutionReport({"ReportID": report_id, "CumQty": quantity, **more})

    def test_what_is_published_during_a_restore_stays(self):
        book = Book()
        book.publish_order(self.report("during", "3"))
        for report_id in ("during", "never"):
            book.restore_order(self.report(report_id, "2"))
        self.assertEqual({key: order.cum_qty for key, order in book.orders.items()}, {"during": 3, "never": 2})

    def test_a_new_book_tells_what_the_old_one_missed(self):
        old, new = Book(), Book()
        for key in ("same", "changed", "gone"):
            old.publish_order(self.report(key, "1", Price="110.5", ExecHis="0"))
        for key, quantity in [("same", "1"), ("changed", "2"), ("new", "1")]:
            new.restore_order(self.report(key, quantity, Price="110.500000", QryIndex="1"))
        for book, fills in [(old, ["F1"]), (new, ["F1", "F2", "F2"])]:
            self.assertEqual([book.add_fill(FillReport({"ReportID": key})) for key in fills][:2], [True] * len(fills[:2]))
        changes, gone = succeed(old, new)
        self.assertEqual([change.report_id for change in changes], ["changed", "new", "F2"])
        self.assertEqual([report.report_id for report in gone], ["gone"])
        self.assertFalse(new.orders["same"].restored)


class Cuts(unittest.IsolatedAsyncioTestCase):

    async def asyncSetUp(self):
        asyncio.get_running_loop().set_debug(False)
        seed = random.randrange(1 << 32)
        print(f"the dice: {seed}", file=sys.stderr)
        self.dice = random.Random(seed)
        self.gateway = Gateway(PROGRAM)
        self.addCleanup(self.gateway.remove)
        self.link = self.trader = self.keeper = None

    async def start_gateway(self):
        """Another life of it: nothing of the one before is known any more."""
        if self.gateway.process:
            self.gateway.start_again()
        else:
            self.gateway.start_on_paper(",".join(LISTS), "Corvinta")
        ports = [self.gateway.logged(prefix) for prefix in ("RepPort:", "PublishPort:")]
        self.link = Link([int(port) for port in ports])
        await self.link.open()
        self.addCleanup(self.link.close)

    async def connect(self, **options):
        port = int(self.gateway.logged("RepPort:"))
        return await AsyncClient.connect(self.gateway.system_name, SERVICE_KEY, port=port, patience=PATIENCE, **options)

    async def new_trader(self):
        self.trader = Trader(await self.connect(), self.dice)
        await self.trader.read_market()

    async def new_keeper(self):
        self.keeper = Keeper(await self.connect(host=FAR_HOST))

    async def break_something(self, number):
        if number % 4 == 3:
            self.gateway.process.kill()
            self.gateway.process.wait()
            self.link.close()
            await self.start_gateway()
        elif number % 4 == 1:
            await self.keeper.client.close()
            await asyncio.sleep(self.dice.random() / 2)
            await self.new_keeper()
        else:
            for _ in range(self.dice.randint(1, 3)):
                self.link.cut()
                await asyncio.sleep(self.dice.random() / 2)

    async def check_book(self):
        """Once nothing is sent any more; orders may still be filled while the platform is read."""
        client, keeper = self.trader.client, self.keeper
        for _ in range(300):
            if not keeper.client.complete:
                await client.place(self.trader.draw())  # so that something is published
            rows, fills = await client.restore_reports(), await client.restore_fills()
            found = [*differences(keeper.client.orders(), rows), *differences(keeper.client.fills(), fills)]
            told = keeper.known | keeper.told.keys()
            if keeper.client.complete and not found and {fill.report_id for fill in fills} <= told:
                break
            await asyncio.sleep(0.1)
        self.assertEqual((found[:3], keeper.client.stale_reason, keeper.client.complete), ([], "", True))
        self.assertLessEqual({fill.report_id for fill in fills}, told)
        self.assertEqual(keeper.known & keeper.told.keys(), set())
        self.assertEqual([key for key, times in keeper.told.items() if times > 1], [])
        return rows, fills

    def check_orders(self, rows, trader):
        keys = [row.user_key1 for row in rows]
        self.assertEqual(len(keys), len(set(keys)), "an order is there twice")
        self.assertLessEqual(trader.accepted, set(keys))

    async def test_the_book_is_the_platforms_whatever_breaks(self):
        await self.start_gateway()
        await self.new_trader()
        await self.new_keeper()
        changes = collections.Counter()
        for number in range(ROUNDS):
            trading = asyncio.ensure_future(self.trader.trade(ORDERS // ROUNDS))
            await asyncio.sleep(self.dice.random())
            await self.break_something(number)
            await trading
            if number % 4 == 3:
                changes += self.trader.changes
                await self.trader.client.close()
                await self.new_trader()
                await self.trader.trade(20)
            rows, fills = await self.check_book()
            self.check_orders(rows, self.trader)
        for kind in ("replaced", "cancelled"):
            self.assertGreater(changes[kind], ORDERS // 40, kind)
        for client in (self.trader.client, self.keeper.client):
            await client.close()
        self.assertEqual(self.gateway.end(), 0)


if __name__ == "__main__":
    unittest.main()
