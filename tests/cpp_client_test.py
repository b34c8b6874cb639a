"""The C++ client against a real gateway: which is killed, stopped, started again, forgets its session and
trades. Takes the paths of the client's driver and of the program as its last arguments;
HALVANE_CPP_ORDERS says how many orders are placed."""

import asyncio
import json
import os
import random
import signal
import subprocess
import time
import unittest

from book_test import LISTS, PROGRAM, Trader, differences  # which takes the last path
from running_gateway import SERVICE_KEY, Gateway, take_paths, until

from halvane import AsyncClient
from halvane.position import Position
from halvane.records import ExecutionReport, FillReport
from halvane.wire import replace_price

(DRIVER,) = take_paths(1)
ORDERS = int(os.environ.get("HALVANE_CPP_ORDERS", "600"))
MARKET = {
    "speed": 10,
    "start": "2026-11-18 10:00:00",
    "accounts": [{"brokerId": "PAPER", "account": name, "balance": 10000000} for name in ("1", "2")],
    "exchanges": [{"exchange": "PAPX"}, {"exchange": "PAPF"}],
    "stocks": [{"security": name, "exchange": "PAPX", "price": 120, "tick": 0.05} for name in ("ALFA", "BETU")],
    "futures": [{"security": "IDX", "exchange": "PAPF", "price": 20000, "tick": 1, "multiplier": 50}],
    "options": [{"future": "IDX", "strikes": [19000, 20000, 21000], "tick": 1}],
    "incidents": [{"kind": "resetReports", "after": 30}, {"kind": "disconnect", "after": 50, "for": 5},
                  {"kind": "refuseRows", "after": 60, "for": 5, "every": 7}],
}  # fmt: skip
ORDER = {"BrokerID": "PAPER", "Account": "1000001", "Symbol": "OV.S.PAPX.ALFA", "Side": "1", "OrderType": "2",
         "Price": "1", "OrderQty": "1"}  # fmt: skip


class Driver:
    """A client of the library in a process of its own."""

    def __init__(self, gateway, **options):
        self.process = subprocess.Popen([DRIVER], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        names = {"SystemName": gateway.system_name, "ServiceKey": SERVICE_KEY, "port": str(gateway.port())}
        self.write(names | options)

    def write(self, line):
        print(json.dumps(line), file=self.process.stdin, flush=True)

    def do(self, what, **more):
        self.write({"do": what} | more)
        return json.loads(self.process.stdout.readline())

    def ask(self, name, timeout=0, **members):
        return self.do("ask", name=name, members=members, timeout=str(timeout))

    def begin(self, count, name, timeout=0, **members):
        self.do("begin", name=name, count=str(count), timeout=str(timeout), members=members)

    def answers(self, count):
        found = []
        until(lambda: found.extend(self.do("collect")["answers"]) or len(found) >= count, f"{count} answers")
        return [answer["outcome"] for answer in found]

    def connected(self):
        return self.do("connected", timeout="60000")["ok"] == "1"

    def end(self):
        """How many seconds it takes."""
        started = time.monotonic()
        self.process.stdin.close()
        self.process.wait(30)
        self.process.stdout.close()
        return time.monotonic() - started

    def remove(self):
        self.process.kill()
        self.process.__exit__(None, None, None)


class Case(unittest.TestCase):
    market = None

    def setUp(self):
        self.gateway = Gateway(PROGRAM)
        self.addCleanup(self.gateway.remove)
        self.start()

    def start(self):
        address = "paper:"
        if self.market:
            (self.gateway.home / "market.json").write_text(json.dumps(self.market))
            address += str(self.gateway.home / "market.json")
        self.gateway.start(address, self.gateway.system_name, SERVICE_KEY, ",".join(LISTS), "")
        self.gateway.port()

    def driver(self, **options):
        driver = Driver(self.gateway, **options)
        self.addCleanup(driver.remove)
        return driver

    def assert_ends_well(self, driver, seconds=5):
        self.assertLess(driver.end(), seconds)
        self.assertEqual(driver.process.returncode, 0)


class Requests(Case):
    def test_answers_say_what_became_of_a_request(self):
        driver = self.driver()
        self.assertTrue(driver.connected())
        rows = [
            ("ACCOUNTS", {}, "Ok", "", ""),
            ("NOSUCH", {}, "Refused", "Undefined", ""),
            ("NEWORDER", {}, "Refused", "cannot find the Param field", ""),
            ("NEWORDER", {"Param": ORDER | {"Account": "none"}}, "Refused", "the platform", "112"),
            ("NEWORDER", {"Param": ORDER}, "Ok", "", ""),
            ("not UTF-8", {}, "Unfit", "not JSON", ""),
        ]
        for name, members, outcome, error, code in rows:
            with self.subTest(name, error=error):
                answer = driver.ask(name, **members)
                self.assertEqual(answer["outcome"], outcome, answer)
                self.assertIn(error, answer["error"])
                self.assertEqual(bool(error), bool(answer["error"]))
                self.assertEqual(answer["code"], code)
                self.assertEqual(answer["mayHaveArrived"], str(int(outcome != "Unfit")))
        for price in ("0.41", "101.25", "2100", "0.0000000001", "99999999.5", "224999.9999999999", "-1", "x", ""):
            try:
                expected = replace_price(price)
            except ValueError:
                expected = ""
            self.assertEqual(driver.do("price", price=price)["text"], expected, price)
        self.assert_ends_well(driver)

    def test_a_session_that_has_ended_is_renewed_and_no_order_doubled(self):
        driver = self.driver(book="1")
        self.assertTrue(driver.do("live", timeout="60000")["ok"] == "1")
        for round_ in range(5):
            self.assertEqual(driver.ask("LOGOUT")["outcome"], "Ok")
            driver.begin(20, "PONG")
            driver.begin(10, "NEWORDER", Param=ORDER | {"UserKey1": f"round {round_}"})
            self.assertEqual(driver.answers(30), ["Ok"] * 30)
        until(lambda: len(driver.do("dump")["orders"]) >= 50, "50 orders")
        self.assertEqual(len(driver.do("dump")["orders"]), 50)
        self.assertEqual(driver.do("state")["kind"], "Connected")

    def test_a_silent_gateway_a_dead_one_and_a_new_one_are_told_apart(self):
        driver = self.driver(book="1")
        self.assertTrue(driver.connected())
        connected = driver.do("state")

        os.kill(self.gateway.process.pid, signal.SIGSTOP)
        started = time.monotonic()
        answer = driver.ask("NEWORDER", timeout=300, Param=ORDER)
        self.assertTrue(0.3 <= time.monotonic() - started < 5)
        self.assertEqual((answer["outcome"], answer["mayHaveArrived"]), ("TimedOut", "1"))
        driver.begin(1, "NEWORDER", Param=ORDER)
        driver.begin(3, "PONG", timeout=60000)
        self.gateway.process.kill()
        self.gateway.wait()
        self.assertEqual(driver.answers(1), ["Gone"])  # in doubt, so not sent again

        until(lambda: driver.do("state")["kind"] == "Lost", "a lost connection")
        lost = driver.do("state")
        self.assertGreaterEqual(int(lost["since"]), int(connected["since"]))
        self.assertIn("nobody serves" if "nobody" in lost["reason"] else "lost", lost["reason"])
        answer = driver.ask("NEWORDER", Param=ORDER)
        self.assertEqual((answer["outcome"], answer["mayHaveArrived"]), ("Gone", "0"))
        answer = driver.ask("ACCOUNTS", timeout=300)
        self.assertEqual((answer["outcome"], answer["mayHaveArrived"]), ("TimedOut", "0"))

        self.gateway.start_again()
        self.assertEqual(driver.answers(3), ["Ok"] * 3)  # they have waited for it
        self.assertEqual(driver.do("live", timeout="60000")["ok"], "1")
        self.assertEqual(driver.do("dump")["orders"], [])
        self.assertEqual(driver.do("state")["kind"], "Connected")

    def test_a_key_that_is_refused_and_a_port_that_nobody_serves(self):
        rows = [({"ServiceKey": "wrong"}, "Refused", "refuses"), ({"port": "1"}, "Connecting", "nobody serves")]
        for options, kind, reason in rows:
            driver = self.driver(**options)
            state = until(lambda: (lambda now: now["reason"] and now)(driver.do("state")), "a reason")
            self.assertEqual(state["kind"], kind)
            self.assertIn(reason, state["reason"])
            driver.begin(2, "PONG", timeout=60000)
            self.assert_ends_well(driver)

    def test_it_ends_in_time_whatever_the_gateway_does(self):
        driver = self.driver(book="1")
        self.assertTrue(driver.connected())
        os.kill(self.gateway.process.pid, signal.SIGSTOP)
        driver.begin(10, "PONG", timeout=60000)
        self.assert_ends_well(driver)


class TheFeed(Case):
    def start(self):
        ini = self.gateway.folder / "Configs" / "Feed.ini"
        ini.parent.mkdir(exist_ok=True)
        ini.write_text("[Feed]\nOn=1\n")
        super().start()

    def test_every_row_comes_once_whatever_is_killed(self):
        first = self.driver(feed="1")
        self.assertTrue(first.connected())
        if first.ask("FEEDSTATUS")["error"] == "Undefined":
            until(lambda: "no feed" in first.do("feed")["reason"], "a reason")
            self.skipTest("this gateway has no numbered feed")
        for round_ in range(1, 5):
            first.begin(150, "NEWORDER", Param=ORDER)
            # What is not yet written when the gateway is killed never has a number.
            until(lambda: int(first.do("feed")["next"]) > 50 * round_, "rows")
            self.gateway.process.kill()
            self.gateway.wait()
            self.gateway.start_again()
            self.assertTrue(until(first.connected, "a connection"))
            until(lambda: first.do("feed")["live"] == "1", "a live feed")
        late = self.driver(feed="1")  # which has all from the journal
        first.do("collect")
        first.begin(50, "NEWORDER", Param=ORDER)
        first.answers(50)

        def last():
            return int(first.ask("FEEDSTATUS")["message"]["Last"])

        until(lambda: last() >= 4 * 50, "rows")
        for driver in (first, late):
            until(lambda: int(driver.do("feed")["next"]) > last(), "all rows")
        told = [driver.do("feed") for driver in (first, late)]
        self.assertEqual([int(row["number"]) for row in told[0]["rows"]], list(range(1, last() + 1)))
        self.assertEqual(told[0]["rows"], told[1]["rows"])
        self.assertEqual([state["missing"] for state in told], ["0", "0"])
        self.assertIn("EXECUTIONREPORT.1000001.OV.S.PAPX.ALFA", {row["topic"] for row in told[0]["rows"]})


class TheBook(Case):
    market = MARKET

    def test_it_is_the_platforms_after_a_random_day(self):
        seed = random.randrange(1 << 32)
        print(f"HALVANE_SEED={seed}")
        asyncio.run(self.trade(random.Random(os.environ.get("HALVANE_SEED", seed))))

    async def trade(self, dice):
        early, late = self.driver(book="1"), None
        client = await AsyncClient.connect(self.gateway.system_name, SERVICE_KEY, port=self.gateway.port())
        trader = Trader(client, dice)
        await trader.read_market()
        for part in range(6):
            await trader.trade(ORDERS // 6)
            if part == 3:
                late = self.driver(book="1")  # in the midst of it
            await asyncio.sleep(1)
        await asyncio.sleep(3)  # the last incident is over, and so is what it held back
        for driver in (early, late):
            await self.compare(driver, client)
            self.assert_ends_well(driver)
        await client.close()

    async def compare(self, driver, client):
        orders, fills = await client.restore_reports(), await client.restore_fills()
        self.assertGreater(len(orders), ORDERS // 4)
        self.assertGreater(len(fills), 20)

        def book():
            dump = driver.do("dump")
            kept = [[ExecutionReport(row) for row in dump["orders"]], [FillReport(row) for row in dump["fills"]]]
            found = [differences(*pair) for pair in zip(kept, (orders, fills))]
            return dump if found == [[], []] else self.note(found)

        try:
            dump = until(book, "the book is the platform's")
        except AssertionError:
            self.fail(f"{self.noted}"[:4000])
        listed = {(row.account, row.symbol): row.quantity for account in await client.accounts()
                  for row in await client.positions(account)}  # fmt: skip
        rows = [Position(row) for row in dump["positions"]]
        self.assertEqual({(row.account, row.symbol): row.quantity for row in rows}, listed)
        self.assertGreater(len(listed), 3)
        first = driver.do("life", id=orders[0].report_id)["reports"]
        self.assertEqual(first[-1]["LeavesQty"], str(orders[0].leaves_qty))

    def note(self, found):
        self.noted = found


if __name__ == "__main__":
    unittest.main()
