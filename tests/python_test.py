"""The Python package where things go wrong, on a gateway that is told how to behave, and as its users find
it, on paper: recipes, command line, a live view that outlives the gateway. Takes the path of the program as
its last argument."""

import asyncio
import collections
import csv
import json
import os
import signal
import subprocess
import sys
import time
import unittest

import zmq
import zmq.asyncio

from running_gateway import PACKAGE, PATIENCE, SERVICE_KEY, Gateway, take_paths, until

from halvane import (
    AsyncClient,
    FillEvent,
    GapEvent,
    HalvaneError,
    NotConnected,
    OutcomeUnknown,
    SessionExpired,
    TimedOut,
    replace_price,
)

(PROGRAM,) = take_paths(1)
ILLEGAL = {"Success": "Fail", "SessionKey": "", "ErrMsg": "the Session is illegal"}
OK = {"Success": "OK"}


class ToldGateway:
    """Answers as `answers` says: by name of a request what its next replies are, None for no reply."""

    def __init__(self):
        self.answers = collections.defaultdict(list)
        self.asked = []
        self.context = zmq.asyncio.Context()
        self.requests, self.publisher = (self.context.socket(kind) for kind in (zmq.ROUTER, zmq.PUB))
        self.port, self.publish_port = (each.bind_to_random_port("tcp://127.0.0.1")
                                        for each in (self.requests, self.publisher))  # fmt: skip
        self.task = asyncio.ensure_future(self.serve())
        self.unanswered = []

    async def serve(self):
        while True:
            *envelope, body = await self.requests.recv_multipart()
            name = json.loads(body)["Request"]
            self.asked.append(name)
            answers = self.answers[name]
            reply = answers.pop(0) if answers else OK
            if reply is None:
                self.unanswered.append((envelope, name))
            else:
                await self.reply(envelope, name, reply)

    async def reply(self, envelope, name, reply):
        if reply is OK and name == "LOGIN":
            reply = OK | {"SessionKey": str(len(self.asked)), "SubPort": str(self.publish_port)}
        elif reply is OK and name.startswith("RESTORE"):
            reply = OK | {"Orders": []}
        text = json.dumps({"Reply": name} | reply).encode() + b"\0"
        await self.requests.send_multipart([*envelope, text])

    async def publish(self, kind, **members):
        await self.publisher.send(json.dumps({"DataType": kind} | members).encode() + b"\0")

    def close(self):
        self.task.cancel()
        self.context.destroy(linger=0)


async def eventually(condition):
    """Waits as until() does, while others of the loop work."""
    async with asyncio.timeout(PATIENCE):
        while not condition():
            await asyncio.sleep(0.01)


class Faults(unittest.IsolatedAsyncioTestCase):
    async def asyncSetUp(self):
        self.gateway = ToldGateway()
        self.addCleanup(self.gateway.close)
        self.client = await AsyncClient.connect("A", "b", port=self.gateway.port, timeout=PATIENCE)
        self.addAsyncCleanup(self.client.close)
        account = {"BrokerID": "P", "Account": "1", "AccountMask": "P-1"}
        self.gateway.answers["ACCOUNTS"] = [OK | {"Accounts": [account]}]
        await self.client.accounts()
        self.gateway.asked.clear()

    async def tell(self, key, **report):
        """Publishes a report until the client has it: a subscription takes a moment."""
        async with asyncio.timeout(PATIENCE):
            while not any(known.user_key1 == key for known in self.client.orders()):
                await self.gateway.publish("EXECUTIONREPORT", Report={"ReportID": "R1", "UserKey1": key, **report})
                await asyncio.sleep(0.01)

    async def test_an_expired_session_is_healed_once(self):
        self.gateway.answers["PONG"] = [ILLEGAL]
        await asyncio.gather(self.client.ping(), self.client.ping())
        self.assertEqual(self.gateway.asked.count("LOGIN"), 1)
        self.gateway.answers["NEWORDER"] = [ILLEGAL]
        await self.client.buy("OV.S.X.A", 1)
        self.gateway.answers["NEWORDER"] = [ILLEGAL, ILLEGAL]
        with self.assertRaises(SessionExpired):
            await self.client.buy("OV.S.X.A", 1)

    async def test_an_order_in_doubt_is_settled_and_never_sent_twice(self):
        self.client._session._settings = self.client._session._settings._replace(timeout=0.2)
        for settle in ("report", "reply", "refusal"):
            with self.subTest(settle):
                self.gateway.asked.clear()
                self.gateway.answers["NEWORDER"] = [None]
                with self.assertRaises(OutcomeUnknown) as caught:
                    await self.client.buy("OV.S.X.A", 1, id=settle)
                order = self.client.order(settle)
                self.assertEqual((order.status, caught.exception.order.id), ("unknown", settle))
                if settle == "report":
                    await self.tell(settle, OrderQty="1", LeavesQty="1", CumQty="0", ExecType="0")
                else:
                    refusal = {"Success": "Fail", "ErrCode": "7"}
                    envelope, name = self.gateway.unanswered.pop()
                    await self.gateway.reply(envelope, name, OK if settle == "reply" else refusal)
                    await eventually(lambda: order.status != "unknown")
                expected = {"report": "working", "reply": "sent", "refusal": "rejected"}
                self.assertEqual(order.status, expected[settle])
                self.assertEqual(self.gateway.asked.count("NEWORDER"), 1)
                self.gateway.unanswered.clear()

    async def test_a_lost_link_leaves_orders_in_doubt_and_repeats_questions(self):
        self.gateway.answers.update({"NEWORDER": [None], "QUERYINSTRUMENTINFO": [None]})
        order = asyncio.ensure_future(self.client.buy("OV.S.X.A", 1))
        question = asyncio.ensure_future(self.client.request("QUERYINSTRUMENTINFO", {}))
        await eventually(lambda: len(self.gateway.unanswered) == 2)
        self.client._session._link.lose("cut")
        with self.assertRaises(OutcomeUnknown):
            await order
        with self.assertRaises(NotConnected):
            await self.client.buy("OV.S.X.A", 1)
        self.assertEqual((await question)["Success"], "OK")
        await eventually(lambda: not self.client.stale_reason)  # an answer comes before all is restored
        self.assertEqual(self.gateway.asked.count("NEWORDER"), 1)

    async def test_heavy_questions_wait_for_each_other_and_for_nobody_else(self):
        self.gateway.answers["MARGINS"] = [None, OK | {"Margins": []}]
        for _ in range(2):  # the first is still out when its time is over, so the second is not sent
            with self.assertRaises(TimedOut):
                await self.client.request("MARGINS", {}, 0.2)
            await self.client.ping()
        self.assertEqual(self.gateway.asked.count("MARGINS"), 1)
        third = asyncio.ensure_future(self.client.request("MARGINS", {}))
        await self.gateway.reply(*self.gateway.unanswered.pop(), OK)
        self.assertEqual((await third)["Margins"], [])

    def test_prices_of_replacements_arrive_as_they_are(self):
        for price in ("0.41", "101.255", "2100", "0.0000000001", "300000.1", "12345678.25", "99999999.95"):
            self.assertEqual(int(float(replace_price(price)) * 1e10), round(float(price) * 1e10), price)


class Users(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.gateway = Gateway(PROGRAM)
        cls.addClassCleanup(cls.gateway.remove)
        cls.gateway.start_on_paper("PaperStk,PaperFut,PaperOpt", "none")
        cls.gateway.logged("[PublishWorker]working...")
        cls.port = cls.gateway.port()

    def environment(self):
        return os.environ | {"PYTHONPATH": str(PACKAGE), "HALVANE_SYSTEM": self.gateway.system_name,
                             "HALVANE_KEY": SERVICE_KEY, "HALVANE_PORT": str(self.port),
                             "HALVANE_CONFIG": "/dev/null"}  # fmt: skip

    def run_python(self, *words):
        return subprocess.run([sys.executable, "-B", *words], env=self.environment(), capture_output=True,
                              text=True, timeout=PATIENCE)  # fmt: skip

    def test_the_recipes_work(self):
        rows = {"first_order": "is filled at", "bracket": "left at", "flatten": "flat",
                "several_accounts": "1000002: 15", "survivor": "ladder/2/0: 5", "notebook": "excess_equity"}  # fmt: skip
        for name, expected in rows.items():
            with self.subTest(name):
                text = (PACKAGE / "examples" / f"{name}.py").read_text()
                there = f'"{self.gateway.system_name}", "{SERVICE_KEY}", port={self.port}'
                recipe = self.gateway.home / f"{name}.py"
                recipe.write_text(text.replace('"DEMO", "demo-key"', there))
                runs = [self.run_python(recipe, "1") for _ in range(2 if name == "survivor" else 1)]
                self.assertEqual(runs[0].returncode, 0, runs[0].stderr)
                self.assertIn(expected, runs[0].stdout)
                self.assertNotIn("ladder", runs[-1].stdout if len(runs) > 1 else "", "placed twice")

    def test_the_readme_shows_the_first_recipe(self):
        recipe = (PACKAGE / "examples" / "first_order.py").read_text().split("\n\n", 1)[1]
        shown = "".join(f"    {line}\n" if line else "\n" for line in recipe.splitlines())
        self.assertIn(shown, (PACKAGE.parent.parent / "README.md").read_text())

    def test_the_command_line(self):
        one = ["--account", "PAPER-1000001"]
        rows = [
            (["accounts"], 0, "PAPER-1000002"),
            ([*one, "buy", "OV.S.PAPX.BETU", "1", "--until", "filled"], 0, "filled  1 at"),
            ([*one, "buy", "OV.S.PAPX.DOLI", "1", "--price", "17", "--id", "rests", "--json"], 0, '"status": "working"'),
            ([*one, "buy", "OV.S.PAPX.DOLI", "1", "--price", "17", "--id", "rests"], 1, "there is an order rests"),
            (["replace", "rests", "--price", "17.05"], 0, "accepted"),
            (["orders", "--working", "--json"], 0, '"rests"'),
            (["cancel", "rests"], 0, "accepted"),
            (["cancel", "nothing"], 1, "knows no order"),
            ([*one, "sell", "OV.S.PAPX.DOLI", "1", "--price", "999"], 5, "rejected"),
            ([*one, "buy", "OV.S.PAPX.NONE", "1"], 5, "111"),
            ([*one, "buy", "OV.S.PAPX.DOLI", "1", "--price", "17", "--until", "filled", "--seconds", "2"], 7, "working"),
            (["buy", "OV.S.PAPX.ALFA", "1"], 1, "name one of the accounts"),
            (["fills"], 0, "OV.S.PAPX.BETU"),
            (["positions"], 0, "OV.S.PAPX.BETU"),
            (["margins", "--json"], 0, '"total_equity"'),
            (["instruments", "PaperFut"], 0, "OV.F.PAPF.IDX"),
            (["ping", "--count", "1"], 0, "ms"),
            (["tail", "--seconds", "0.1"], 0, ""),
            (["lint", "--seconds", "0.1"], 0, "differences 0"),
            (["--key", "no", "accounts"], 4, "refuses"),
            (["--port", "1", "--timeout", "0.3", "accounts"], 3, "no gateway"),
            (["no-command"], 2, "No such command"),
            (["completion", "powershell"], 0, "Register-ArgumentCompleter"),
        ]  # fmt: skip
        for words, code, expected in rows:
            with self.subTest(words):
                ran = self.run_python("-m", "halvane", *words)
                self.assertEqual(ran.returncode, code, ran.stderr + ran.stdout)
                self.assertIn(expected, ran.stdout + ran.stderr)

    def test_top_outlives_the_gateway_and_ctrl_c_ends_it(self):
        words = [sys.executable, "-B", "-m", "halvane", "top", "--json"]
        top = subprocess.Popen(words, env=self.environment(), stdout=subprocess.PIPE, text=True)
        self.addCleanup(top.kill)
        self.addCleanup(top.stdout.close)

        def next_that(condition):
            end = time.monotonic() + PATIENCE
            while time.monotonic() < end:
                line = json.loads(top.stdout.readline())
                if condition(line):
                    return line
            raise AssertionError(f"not in time, but {line}")

        for orders in (0, 1):
            with self.gateway.connect(account="PAPER-1000001") as client:
                client.buy("OV.S.PAPX.CERU", 1).wait("filled", PATIENCE)
                expected = len(client.orders())
            self.assertEqual(next_that(lambda line: line["orders"] == expected)["stale"], "")
            self.gateway.process.kill()
            self.gateway.wait()
            self.assertIn("lost", next_that(lambda line: line["stale"])["stale"])
            self.gateway.start_again()
            self.assertEqual(next_that(lambda line: not line["stale"])["orders"], 0)
        top.send_signal(signal.SIGINT)
        self.assertEqual(top.wait(PATIENCE), 130)


class NumberedFeed(unittest.TestCase):
    def setUp(self):
        self.gateway = Gateway(PROGRAM)
        self.addCleanup(self.gateway.remove)
        configs = self.gateway.folder / "Configs"
        configs.mkdir()
        (configs / "Feed.ini").write_text("[Feed]\nOn=1\n")
        (configs / "ZMQ.ini").write_text("[Gateway]\nStatus=1\n")
        os.environ["HALVANE_STATE"] = str(self.gateway.home / "state")
        self.addCleanup(os.environ.pop, "HALVANE_STATE")
        self.gateway.start_on_paper()

    def test_a_consumer_gets_each_event_once_through_restarts_of_both(self):
        seen, orders = [], 0
        for part in range(4):
            with self.gateway.connect(account="PAPER-1000001") as client:
                for _ in range(10):
                    client.buy("OV.S.PAPX.ALFA", 1).wait("filled", PATIENCE)
                orders += 10
                for event in client.events(since=1, consumer="risk"):
                    if not seen or event.number != seen[-1].number:  # the last one was at hand when it ended
                        seen.append(event)
                    fills = sum(isinstance(each, FillEvent) for each in seen)
                    if fills == orders - 5 * (part == 1):  # some are left for the next one
                        break
                with self.assertRaisesRegex(HalvaneError, "another program"):
                    with client._run(self.reading(client)):
                        next(client.events(consumer="risk"))
            if part % 2:
                with self.gateway.logged_in_client() as observer:  # what waits is lost with the gateway
                    until(lambda: observer.request("FEEDSTATUS")["Waiting"] == "0", "the journal")
                self.gateway.process.kill()
                self.gateway.wait()
                self.gateway.start_on_paper()
        self.assertEqual([event.number for event in seen], list(range(1, len(seen) + 1)))
        self.assertFalse([event for event in seen if isinstance(event, GapEvent)])
        self.look_at_the_commands(len(seen))

    async def reading(self, client):
        return client._client._numbered((), None, "risk")

    def look_at_the_commands(self, least):
        where = ["--system", self.gateway.system_name, "--key", SERVICE_KEY, "--port", str(self.gateway.port())]
        environment = os.environ | {"PYTHONPATH": str(PACKAGE)}

        def run(*words):
            ran = subprocess.run([sys.executable, "-B", "-m", "halvane", *where, *words], env=environment,
                                 capture_output=True, text=True, timeout=PATIENCE)  # fmt: skip
            self.assertEqual(ran.returncode, 0, ran.stderr)
            return ran.stdout.splitlines()

        rows = list(csv.DictReader(run("journal", "export", "--csv")))
        self.assertEqual([int(row["number"]) for row in rows], list(range(1, len(rows) + 1)))
        self.assertGreaterEqual(len(rows), least)
        fills = list(csv.DictReader(run("journal", "export", "--csv", "--kind", "fill", "--since", "2")))
        self.assertEqual({row["symbol"] for row in fills}, {"OV.S.PAPX.ALFA"})
        self.assertEqual(len(run("tail", "--since", str(len(rows) - 1), "--seconds", "3")), 2)
        metrics = run("metrics")
        self.assertIn(f"halvane_feed_last_number {len(rows)}", metrics)
        self.assertIn('halvane_requests_total{request="FEEDSTATUS"} 3', metrics)


if __name__ == "__main__":
    unittest.main()
