"""A client's book against the platform's: while another client trades stocks, futures and options, the
client that keeps a book is cut off and restarted again and again, and each time its book has to become
exactly what the platform restores. Takes the path of the program as its last argument;
HALVANE_BOOK_ORDERS says how many orders are placed."""

import json
import os
import random
import sys
import threading
import unittest

import zmq

from running_gateway import PATIENCE, SERVICE_KEY, Gateway, connect, take_paths, until

from book import Book, BookClient
from halvane import replace_price

(PROGRAM,) = take_paths(1)
ORDERS = int(os.environ.get("HALVANE_BOOK_ORDERS", "10000"))
RESTARTS = 8
BUY, SELL = "1", "2"
MARKET, LIMIT, STOP = "1", "2", "3"
LISTS = ["PaperStk", "PaperFut", "PaperOpt"]
NO_VALUE = {"-2147483648", "-922337203.685478"}  # restored what is published as ""


class Instrument:
    """One contract with the prices that keep an order for it from being filled."""

    def __init__(self, info):
        self.symbol = info["Symbol"]
        self.tick = round(float(info["TickSize"]) * 10000)
        low, middle, high = (
            round(float(info[key]) * 10000) // self.tick
            for key in ("LowerLimit", "ReferencePrice", "UpperLimit")
        )
        self.low = range(low, low + max(1, (middle - low) // 4))
        self.high = range(high - max(1, (high - middle) // 4), high)
        self.beyond = high + 1

    def price(self, ticks):
        whole, decimals = divmod(ticks * self.tick, 10000)
        return f"{whole}.{decimals:04}"

    def resting(self, dice, side):
        return self.price(dice.choice(self.low if side == BUY else self.high))

    def marketable(self, dice, side):
        return self.price(dice.choice(self.high if side == BUY else self.low))


class Trader:
    """Places, replaces and cancels orders at random, several requests at a time."""

    def __init__(self, gateway, dice):
        self.dice = dice
        self.client = gateway.logged_in_client()
        self.client.subscribe(b'{"DataType":"EXECUTIONREPORT"')
        self.dealer = connect(zmq.DEALER, gateway.port())
        self.accounts = until(lambda: self.client.request("ACCOUNTS")["Accounts"], "accounts")
        self.instruments = self.read_instruments()
        self.working = {}  # report id to instrument, side and quantity
        self.by_symbol = {instrument.symbol: instrument for instrument in self.instruments}
        self.waiting = 0
        self.marks = 0
        self.accepted = {"NEWORDER": 0, "REPLACEORDER": 0, "CANCELORDER": 0}

    def close(self):
        self.dealer.close()
        self.client.close()

    def read_instruments(self):
        def symbols(node):
            yield from node.get("Contracts", [])
            for child in node.get("Node", []):
                yield from symbols(child)

        lists = [self.client.request("QUERYALLINSTRUMENT", Type=name) for name in LISTS]
        return [
            Instrument(self.client.request("QUERYINSTRUMENTINFO", Symbol=symbol)["Info"])
            for reply in lists
            for symbol in symbols(reply["Instruments"])
        ]

    def send(self, name, param):
        self.dealer.send_multipart([b"", self.client.compose(name, Param=param)])
        self.waiting += 1
        if self.waiting >= 16:
            self.receive()

    def receive(self):
        reply = json.loads(self.dealer.recv_multipart()[1][:-1])
        self.waiting -= 1
        self.accepted[reply["Reply"]] += reply["Success"] == "OK"

    def trade(self, orders):
        """So many new orders, and about half as many replacements and cancellations."""
        for number in range(orders):
            self.place()
            if number % 20 == 0:
                self.read_reports()
            if len(self.working) > self.dice.randrange(40, 400):
                self.change()
        while self.waiting:
            self.receive()

    def read_reports(self):
        for publication in self.client.publications(0):
            report = publication["Report"]
            if int(report["LeavesQty"]) > 0 and report["UserKey1"] == "rest":
                self.working[report["ReportID"]] = report
            else:
                self.working.pop(report["ReportID"], None)

    def order(self, instrument, **members):
        account = self.dice.choice(self.accounts)
        whose = {key: account[key] for key in ("BrokerID", "Account")}
        return whose | {"Symbol": instrument.symbol} | members

    def place(self):
        dice = self.dice
        instrument = dice.choice(self.instruments)
        side = dice.choice([BUY, SELL])
        kind = dice.random()
        if kind < 0.5:
            price = instrument.resting(dice, side)
            members = {"OrderType": LIMIT, "Price": price, "OrderQty": str(dice.randint(1, 3)),
                       "UserKey1": "rest", "UserKey2": "a", "UserKey9": "b;c"}  # fmt: skip
        elif kind < 0.75:
            members = {"OrderType": MARKET, "OrderQty": "1", "TimeInForce": dice.choice("012")}
        elif kind < 0.9:
            quantity = dice.choice([1, 2, 50])  # more than the market has at once
            price = instrument.marketable(dice, side)
            members = {"OrderType": LIMIT, "Price": price, "OrderQty": str(quantity),
                       "TimeInForce": dice.choice("0123")}  # fmt: skip
        elif kind < 0.95:
            price = instrument.marketable(dice, side)
            members = {"OrderType": STOP, "StopPrice": price, "OrderQty": "1", "UserKey2": "stop"}
        else:
            members = {"OrderType": LIMIT, "Price": instrument.price(instrument.beyond), "OrderQty": "1"}
        self.send("NEWORDER", self.order(instrument, Side=side, **members))

    def change(self):
        report_id, report = self.dice.choice(list(self.working.items()))
        if self.dice.random() < 0.5:
            del self.working[report_id]
            self.send("CANCELORDER", {"ReportID": report_id})
            return
        price = self.by_symbol[report["Symbol"]].resting(self.dice, report["Side"])
        quantity = str(int(report["CumQty"]) + self.dice.randint(1, 3))
        param = {"ReportID": report_id, "OrderQty": quantity, "Price": replace_price(price)}
        self.send("REPLACEORDER", param)

    def mark(self):
        """Places an order that is rejected, with a key that nothing else has."""
        self.marks += 1
        key = f"mark {self.marks}"
        instrument = self.instruments[0]
        members = {"OrderType": LIMIT, "Price": instrument.price(instrument.beyond), "OrderQty": "1"}
        self.send("NEWORDER", self.order(instrument, Side=BUY, UserKey1=key, **members))
        self.receive()
        return key


class Keeper:
    """A client with a book, on a thread of its own until it is cut off."""

    def __init__(self, gateway):
        self.client = BookClient(gateway.port(), timeout=PATIENCE)
        self.book = self.client.book
        self.failure = None
        self.stop = threading.Event()
        self.thread = threading.Thread(target=self.run, args=(gateway.system_name,))
        self.thread.start()

    def run(self, system_name):
        try:
            self.client.start(system_name, SERVICE_KEY)
            while not self.stop.is_set():
                self.client.follow(0.02)
        except Exception as error:  # shown by the test's thread
            self.failure = error
        finally:
            self.client.close()

    def cut_off(self):
        self.stop.set()
        self.thread.join()
        if self.failure:
            raise self.failure

    def is_complete(self):
        if self.failure:
            raise self.failure
        return self.client.complete

    def was_told(self, key):
        """Whether the order with that key was published to it; restored ones lack a member."""
        orders = list(self.book.orders.values())
        told = any(order["UserKey1"] == key and "ExecHis" in order for order in orders)
        return self.is_complete() and told


def read_platform(client):
    """All orders and all fills as the platform restores them, by their identities."""

    def pages(name):
        index, records = "0", [None] * 50
        while len(records) == 50:
            records = client.request(name, QryIndex=index)["Orders"]
            yield from records
            index = records[-1]["QryIndex"] if records else index

    orders, fills = list(pages("RESTOREREPORT")), list(pages("RESTOREFILLREPORT"))
    for records in (orders, fills):
        assert [int(record.pop("QryIndex")) for record in records] == list(range(1, len(records) + 1))
    return tuple({record["ReportID"]: record for record in records} for records in (orders, fills))


def same_value(published, restored):
    if published == restored or (published == "" and restored in NO_VALUE):
        return True
    try:
        return abs(float(published) - float(restored)) < 1e-6
    except ValueError:
        return False


def differences(kept, restored):
    """Where a book and the platform's differ, in the members that both forms have."""
    found = [f"only in the book: {kept[key]}" for key in kept.keys() - restored.keys()]
    found += [f"not in the book: {restored[key]}" for key in restored.keys() - kept.keys()]
    for key in kept.keys() & restored.keys():
        for member, value in restored[key].items():
            if not same_value(kept[key].get(member, "missing"), value):
                found.append(f"{member} is {value}, in the book {kept[key].get(member)}: {restored[key]}")
    return found


class Merging(unittest.TestCase):
    def publish(self, book, report_id, quantity):
        report = {"ReportID": report_id, "CumQty": quantity}
        book.publish({"DataType": "EXECUTIONREPORT", "Report": report})

    def quantities(self, book):
        return {key: order["CumQty"] for key, order in book.orders.items()}

    def test_what_is_published_during_a_restore_stays(self):
        book = Book()
        self.publish(book, "before", "1")
        book.begin_restore()
        self.publish(book, "during", "3")
        restored = [{"ReportID": key, "CumQty": "2"} for key in ("before", "during", "never")]
        book.restore_orders(restored)
        self.assertEqual(self.quantities(book), {"before": "2", "during": "3", "never": "2"})
        self.publish(book, "never", "4")
        book.restore_orders(restored)
        self.assertEqual(self.quantities(book), {"before": "2", "during": "3", "never": "4"})

    def test_a_fill_counts_once(self):
        book = Book()
        fill = {"ReportID": "F1", "MatchedQty": "5"}
        for _ in range(2):
            book.restore_fills([fill | {"QryIndex": "1"}])
            book.publish({"DataType": "FILLEDREPORT", "Report": fill})
        self.assertEqual(book.fills, {"F1": fill})

    def test_a_reset_empties_it(self):
        book = Book()
        self.publish(book, "yesterday", "1")
        book.publish({"DataType": "FILLEDREPORT", "Report": {"ReportID": "F1"}})
        book.publish({"DataType": "REPORTRESET"})
        self.assertEqual((book.orders, book.fills, book.resets), ({}, {}, 1))

    def test_restored_numbers_take_the_published_form(self):
        book = Book()
        rows = {"110.500000": "110.5", "100.000000": "100", "-922337203.685478": ""}
        for restored, published in rows.items():
            book.restore_orders([{"ReportID": "R1", "Price": restored, "ExCode": "-2147483648"}])
            self.assertEqual(book.orders["R1"], {"ReportID": "R1", "Price": published, "ExCode": ""})


class CutOff(unittest.TestCase):
    def setUp(self):
        seed = random.randrange(1 << 32)
        print(f"the dice: {seed}", file=sys.stderr)
        self.dice = random.Random(seed)
        self.gateway = Gateway(PROGRAM)
        self.addCleanup(self.gateway.remove)
        self.gateway.start_on_paper(",".join(LISTS), "Corvinta")
        self.gateway.logged("[PublishWorker]working...")
        self.trader = Trader(self.gateway, self.dice)
        self.addCleanup(self.trader.close)
        self.keeper = None
        self.addCleanup(self.cut_off)

    def cut_off(self):
        if self.keeper is not None:
            keeper, self.keeper = self.keeper, None
            keeper.cut_off()

    def look_at_rest(self):
        """The book and what the platform restores, at a moment around which nothing changes. The
        order placed in between says that all that was published before it is in the book."""
        client = self.trader.client
        self.trader.mark()  # something is published
        until(self.keeper.is_complete, "a complete book")
        before = read_platform(client)
        while True:
            key = self.trader.mark()
            until(lambda: self.keeper.was_told(key), f"the order {key} in the book")
            book = dict(self.keeper.book.orders), dict(self.keeper.book.fills)
            orders, fills = read_platform(client)
            others = {name: order for name, order in orders.items() if order["UserKey1"] != key}
            if (others, fills) == before:
                return book, (orders, fills)
            before = orders, fills

    def check_book(self):
        book, platform = self.look_at_rest()
        for kept, restored in zip(book, platform):
            self.assertEqual(differences(kept, restored)[:5], [])
        return platform

    def test_the_book_is_the_platforms_after_every_restart(self):
        for restart in range(1, RESTARTS + 1):
            placed = self.trader.accepted["NEWORDER"]
            # More often while there is less to compare.
            self.trade_around_a_restart(ORDERS * restart**2 // RESTARTS**2 - placed)
            orders, fills = self.check_book()
        self.cut_off()
        self.assertEqual(len(orders), self.trader.accepted["NEWORDER"])
        self.assertGreater(len(fills), ORDERS // 5)
        for name in ("REPLACEORDER", "CANCELORDER"):
            self.assertGreater(self.trader.accepted[name], ORDERS // 20, name)
        self.assertEqual(self.gateway.end(), 0)

    def trade_around_a_restart(self, orders):
        first = self.dice.randrange(orders // 2)
        second = self.dice.choice([0, orders // 4])
        self.trader.trade(first)
        self.cut_off()
        self.trader.trade(second)
        self.keeper = Keeper(self.gateway)
        self.trader.trade(orders - first - second)


if __name__ == "__main__":
    unittest.main()
