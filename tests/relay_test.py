"""The relay between three gateways and an engine: while relay, engine and gateways are killed at random in the
middle of orders, every row of every journal comes into the stream once and in order; who may do what; what
becomes of requests. Takes the paths of the programs as its last arguments. HALVANE_RELAY_ORDERS says how many
orders are placed in all, HALVANE_RELAY_KILLS how often each kind of program is killed, and
HALVANE_RELAY_MEASURE=1 measures besides."""

import base64
import collections
import contextlib
import json
import os
import pathlib
import random
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

from running_gateway import ROOT, SERVICE_KEY, Gateway, Trader, take_paths, until

ORDERS = int(os.environ.get("HALVANE_RELAY_ORDERS", "1500"))
KILLS = int(os.environ.get("HALVANE_RELAY_KILLS", "2"))
DESKS = ["alpha", "beta", "gamma"]
USERS = ["relay", "reader", "trader", "keeper"]
REQUEST_MS = 4000  # in which a busy machine asks for more than may be under way
ORDER = Trader.order | {"Account": "1000001", "OrderType": "1"}


class Connection:
    """The engine's own protocol, as far as it is needed."""

    def __init__(self, port, user):
        self.inbox, self.replies, self.errors = f"_INBOX.{user}.{time.monotonic_ns()}", {}, []
        self.socket = socket.create_connection(("127.0.0.1", port))
        self.file = self.socket.makefile("rb")
        self.file.readline()
        options = {"user": user, "pass": "secret", "verbose": False, "headers": True, "no_responders": True}
        self.send(f"CONNECT {json.dumps(options)}\r\nSUB {self.inbox}.* 1\r\n")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.file.close()
        self.socket.close()

    def send(self, text):
        self.socket.sendall(text.encode())

    def subscribe(self, subject):
        self.send(f"SUB {subject} 2\r\n")

    def publish(self, subject, payload="", reply=""):
        self.send(f"PUB {subject} {reply} {len(payload.encode())}\r\n{payload}\r\n")

    def next(self):
        """The next (subject, headers, payload), an error's text, or nothing when the engine has taken all."""
        words = self.file.readline().split()
        if words[0] in (b"MSG", b"HMSG"):
            headers = int(words[-2]) if words[0] == b"HMSG" else 0
            body = self.file.read(int(words[-1]) + 2)[:-2]
            return words[1].decode(), body[:headers].decode(), body[headers:].decode()
        if words[0] == b"-ERR":
            return b" ".join(words[1:]).decode()
        if words[0] == b"PING":
            self.send("PONG\r\n")
            return self.next()
        return None

    def errors_of(self):
        """What the engine has to say against what was sent."""
        self.send("PING\r\n")
        found = []
        while what := self.next():
            if isinstance(what, str):
                found.append(what)
        return found

    def post(self, subject, request):
        number = f"{len(self.replies)}"
        self.replies[number] = None
        self.publish(subject, json.dumps(request), f"{self.inbox}.{number}")
        return number

    def reply(self, number, patience=30):
        self.socket.settimeout(patience)
        while self.replies[number] is None:
            what = self.next()
            if isinstance(what, tuple):
                self.replies[what[0].rpartition(".")[2]] = what[1] or json.loads(what[2])
        return self.replies[number]

    def ask(self, subject, request):
        return self.reply(self.post(subject, request))


class Engine:
    """With the configuration that the relay's room has, and one user more who may do anything."""

    def __init__(self, folder, port):
        text = (ROOT / "relay/Configs/nats-server.conf").read_text()
        for old, new in [("127.0.0.1:4222", f"127.0.0.1:{port}"), ("/var/lib/halvane-relay", f"{folder}/stream"),
                         ("users: [", "users: [ { user: keeper, password: $KEEPER_PASSWORD }")]:  # fmt: skip
            assert text.count(old) == 1, old
            text = text.replace(old, new)
        self.file, self.port, self.log = folder / "engine.conf", port, folder / "engine.log"
        self.file.write_text(text)

    def start(self):
        passwords = {f"{user.upper()}_PASSWORD": "secret" for user in USERS}
        words = ["nats-server", "-c", self.file, "-l", self.log]
        self.process = subprocess.Popen(words, env=os.environ | passwords)
        until(self.is_up, "the engine")

    def is_up(self):
        try:
            with Connection(self.port, "keeper"):
                return True
        except OSError:
            assert self.process.poll() is None, self.log.read_text()
            return False

    def kill(self):
        self.process.kill()
        self.process.wait()


class Relay:
    def __init__(self, folder, port, gateways, dedupe=1):
        self.log = (folder / "relay.log").open("ab")
        lines = ["[Nats]", f"Url=nats://127.0.0.1:{port}", "User=relay", "Password=secret",
                 f"RequestMs={REQUEST_MS}", f"DedupeSeconds={dedupe}"]  # fmt: skip
        for number, (desk, gateway) in enumerate(zip(DESKS, gateways), 1):
            lines += [f"[Gateway{number}]", f"Desk={desk}", f"Address=127.0.0.1:{gateway.port()}",
                      f"System={gateway.system_name}", f"Key={SERVICE_KEY}"]  # fmt: skip
        self.file = folder / "Relay.ini"
        self.file.write_text("\n".join(lines) + "\n")
        self.reader = folder / "Reader.ini"
        self.reader.write_text("\n".join(lines[:4]).replace("User=relay", "User=reader"))

    def start(self):
        self.process = subprocess.Popen([RELAY, "--config", self.file], stdout=self.log, stderr=self.log)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def end(self):
        self.process.terminate()
        return self.process.wait(60)

    def run(self, *words, user="relay"):
        file = self.reader if user == "reader" else self.file
        return subprocess.run([RELAY, "--config", file, *words], stdout=subprocess.PIPE, check=True, timeout=600).stdout

    def read(self, *words):
        """(subject, header's words, JSON) of each row of the stream."""
        lines = self.run("--read", *words, user="reader").splitlines()
        return [(where.decode(), header.decode().split(), text)
                for where, header, text in (line.split(b"\t", 2) for line in lines)]  # fmt: skip

    def rows(self):
        """(number, run, time, origin, JSON) of each, by desk."""
        rows = collections.defaultdict(list)
        for where, (number, run, when, origin, _), text in self.read():
            rows[where.split(".")[2]].append((int(number), run, int(when), origin, text))
        return rows


class RelayCase(unittest.TestCase):
    gateways_wanted = 1

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="relay ", dir=GATEWAY.parent)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        self.engine = Engine(self.folder, port)
        self.engine.start()
        self.addCleanup(lambda: self.engine.kill())
        self.gateways = [self.make_gateway() for _ in range(self.gateways_wanted)]
        self.relay = Relay(self.folder, port, self.gateways)
        self.relay.start()
        self.addCleanup(self.relay.log.close)
        self.addCleanup(lambda: self.relay.kill())

    def make_gateway(self):
        gateway = Gateway(GATEWAY)
        self.addCleanup(gateway.remove)
        (gateway.folder / "Configs").mkdir()
        (gateway.folder / "Configs" / "Feed.ini").write_text("[Feed]\nOn=1\n")
        gateway.start_on_paper()
        return gateway

    def journal(self, gateway):
        rows = []
        for file in sorted(gateway.folder.glob("feed/feed-*.sqlite")):
            with sqlite3.connect(file) as journal:
                rows += journal.execute("SELECT number, run, time_ns, recovered, json FROM event ORDER BY number")
        return [(number, run, when, "recovered" if again else "live", text.encode())
                for number, run, when, again, text in rows]  # fmt: skip

    def wait_for_journals(self, quiet=1):
        """Until the platforms have told all: they are quiet for so many seconds. How many rows there are."""
        with contextlib.ExitStack() as stack:
            clients = [stack.enter_context(gateway.logged_in_client()) for gateway in self.gateways]
            last, since = None, time.monotonic()
            while time.monotonic() < since + quiet:
                all = [client.request("FEEDSTATUS") for client in clients]
                now = [(status["Last"], status["Waiting"]) for status in all]
                if now != last or any(waiting != "0" for _, waiting in now):
                    last, since = now, time.monotonic()
                time.sleep(0.1)
        return sum(int(number) for number, _ in last)

    def wait_for_stream(self, quiet=1):
        """Until the relay has published all that the gateways have."""
        self.wait_for_journals(quiet)
        with Connection(self.engine.port, "keeper") as keeper:
            for desk, gateway in zip(DESKS, self.gateways):
                until(lambda: self.last_row(keeper, desk) == self.last_of_journal(gateway), f"{desk}'s last row")

    def last_row(self, keeper, desk):
        found = keeper.ask("$JS.API.STREAM.MSG.GET.HALVANE", {"last_by_subj": f"halvane.feed.{desk}.>"})
        headers = base64.b64decode(found["message"]["hdrs"]).decode() if "message" in found else ""
        headers = dict(line.split(": ", 1) for line in headers.splitlines()[1:] if line)
        number, run = headers.get("Halvane-Behind", headers.get("Halvane-Row", "0 none")).split()[:2]
        return int(number), run

    def last_of_journal(self, gateway):
        file = max(gateway.folder.glob("feed/feed-*.sqlite"))
        with sqlite3.connect(file) as journal:
            return journal.execute("SELECT number, run FROM event ORDER BY number DESC LIMIT 1").fetchone()

    def status(self):
        """What the relay tells next."""
        with Connection(self.engine.port, "reader") as reader:
            reader.subscribe("halvane.relay.status")
            return json.loads(reader.next()[2])

    def check_stream(self):
        rows = self.relay.rows()
        for desk, gateway in zip(DESKS, self.gateways):
            journal = self.journal(gateway)
            self.assertEqual([row[:4] for row in rows[desk]], [row[:4] for row in journal], desk)
            self.assertEqual(rows[desk], journal)
        return sum(map(len, rows.values()))


class Kills(RelayCase):
    gateways_wanted = len(DESKS)

    def test_every_row_comes_once_and_in_order(self):
        order = ["relay", "engine", "gateway"] * KILLS
        random.shuffle(order)
        self.traders = [Trader(gateway, ORDERS // 3) for gateway in self.gateways]
        self.before = [0] * len(DESKS)
        for number, victim in enumerate(order, 1):
            part = (number - random.random()) / len(order) * ORDERS
            until(lambda: self.answered() >= part or self.is_done(), "orders")
            getattr(self, f"kill_{victim}")()
        for trader in self.traders:
            trader.thread.join()
        self.wait_for_stream(quiet=4)  # after a start the platform's lists are looked through
        rows = self.check_stream()
        self.assertGreater(rows, ORDERS)
        print(f"{self.answered()} orders answered, {rows} rows, each kind killed {KILLS} times", file=sys.stderr)

    def answered(self):
        return sum(self.before) + sum(trader.answered for trader in self.traders)

    def is_done(self):
        return not any(trader.thread.is_alive() for trader in self.traders)

    def kill_relay(self):
        self.relay.kill()
        time.sleep(random.uniform(0, 2))  # longer than doubles are known for, now and then
        self.relay.start()

    def kill_engine(self):
        self.engine.kill()
        time.sleep(random.uniform(0, 1))
        self.engine.start()

    def kill_gateway(self):
        which = random.randrange(len(DESKS))
        gateway, trader = self.gateways[which], self.traders[which]
        gateway.process.kill()
        gateway.process.wait()
        trader.stopped.set()
        trader.thread.join()
        self.before[which] += trader.answered
        gateway.start_again()
        self.traders[which] = Trader(gateway, trader.orders - trader.answered)


@unittest.skipUnless("HALVANE_RELAY_MEASURE" in os.environ, "measures nothing but when it is asked for")
class Measured(RelayCase):
    gateways_wanted = len(DESKS)

    def test_rate_and_lag(self):
        self.relay.kill()
        for trader in [Trader(gateway, ORDERS // 3) for gateway in self.gateways]:
            trader.thread.join()
        rows = self.wait_for_journals()
        self.relay.start()
        before = self.stored()
        until(lambda: self.stored()[0] == rows, "the stream")
        seconds = self.stored()[1] - before[1]
        print(f"caught up: {(rows - before[0]) / seconds:.0f} rows/s, {rows} rows", file=sys.stderr)
        self.relay.kill()  # what was late is not counted with the rest
        self.relay.start()
        self.wait_for_stream()
        self.place_evenly(667, 15)  # each is three rows
        self.wait_for_stream()
        for desk in self.status()["Desks"]:
            print({name: desk[name] for name in ("Desk", "Stored", "LagP50Ms", "LagP99Ms")}, file=sys.stderr)
        self.check_stream()

    def place_evenly(self, rate, seconds):
        with contextlib.ExitStack() as stack:
            clients = [stack.enter_context(gateway.logged_in_client()) for gateway in self.gateways]
            begun = time.monotonic()
            for number in range(rate * seconds):
                clients[number % len(clients)].request("NEWORDER", Param=ORDER)
                time.sleep(max(0, begun + number / rate - time.monotonic()))
            print(f"{number / (time.monotonic() - begun):.0f} orders/s", file=sys.stderr)

    def stored(self):
        """How many rows the stream has, and when that was."""
        with Connection(self.engine.port, "keeper") as keeper:
            info = keeper.ask("$JS.API.STREAM.INFO.HALVANE", {})
        return info.get("state", {"messages": 0})["messages"], time.monotonic()


class Resending(RelayCase):
    def test_what_the_engine_lost_is_sent_again(self):
        Trader(self.gateways[0], 30).thread.join()
        self.wait_for_stream()
        self.check_stream()
        self.assertEqual(self.relay.end(), 0)
        with Connection(self.engine.port, "keeper") as keeper:
            for sequence in (5, 6, 9):
                deleted = keeper.ask("$JS.API.STREAM.MSG.DELETE.HALVANE", {"seq": sequence})
                self.assertTrue(deleted["success"], deleted)
        time.sleep(3)  # until the engine forgets what it has seen for a second
        self.assertIn(b"alpha: 2 rows sent again", self.relay.run("--resend-from", "6", "--desk", "alpha"))
        self.assertIn(b"alpha: 1 rows sent again", self.relay.run("--resend-from", "2020-01-01T00:00:00Z"))
        self.relay.start()
        Trader(self.gateways[0], 10).thread.join()
        self.wait_for_stream()
        rows, journal = self.relay.rows()["alpha"], self.journal(self.gateways[0])
        self.assertEqual(sorted(rows), journal)
        self.assertEqual([row for row in rows if row[0] not in (5, 6, 9)],
                         [row for row in journal if row[0] not in (5, 6, 9)])  # fmt: skip


class NumbersGivenAgain(RelayCase):
    def test_no_row_is_lost(self):
        for relay_runs in (True, False):
            with self.subTest(relay_runs=relay_runs):
                gateway = self.gateways[0]
                Trader(gateway, 40).thread.join()
                self.wait_for_stream()
                before = self.relay.rows()["alpha"]
                if not relay_runs:
                    self.relay.kill()
                gateway.process.kill()
                gateway.process.wait()
                lost = self.cut_journal(gateway, 50)
                gateway.start_again()
                Trader(gateway, 40).thread.join()  # so that its numbers go beyond those that were lost
                if not relay_runs:
                    self.relay.start()
                self.wait_for_stream(quiet=4)
                self.assertEqual(self.relay.rows()["alpha"],
                                 before + [row for row in self.journal(gateway) if row[0] >= lost])  # fmt: skip

    def cut_journal(self, gateway, count):
        """Takes the last rows, as a power cut may; the number of the first."""
        last, _ = self.last_of_journal(gateway)
        for file in gateway.folder.glob("feed/feed-*.sqlite"):
            with sqlite3.connect(file) as journal:
                journal.execute("DELETE FROM event WHERE number > ?", [last - count])
        return last - count + 1


class OddRows(RelayCase):
    """Of kinds, accounts and symbols that nobody expects, and numbers that are not there."""

    def test_subjects_and_gaps(self):
        gateway = self.gateways[0]
        self.wait_for_stream()
        gateway.process.kill()
        gateway.process.wait()
        number, run = self.last_of_journal(gateway)
        report, gap = "EXECUTIONREPORT", {"DataType": "FEEDGAP", "From": f"{number + 5}", "To": f"{number + 7}"}
        missing = {"DataType": "RELAYGAP", "From": f"{number + 9}", "To": f"{number + 10}"}
        large = {"DataType": "RELAYGAP", "From": f"{number + 12}", "To": f"{number + 12}"}
        rows = [  # number, kind, account, symbol, what the subject ends with, what is published instead
            (1, report, "1.0 1", "OV.S.A*B>", "EXECUTIONREPORT.1%2E0%201.OV.S.A%2AB%3E", None),
            (2, report, "_", "", "EXECUTIONREPORT.%5F._", None),
            (3, "A.%2E", "\u00e9\t", "..X", "A%2E%252E.%C3%A9%09._._.X", None),
            (4, report, "a" * 300, "b" * 5000, f"EXECUTIONREPORT.{'a' * 200}.{'b' * 200}", None),
            (8, gap, None, None, "FEEDGAP._._", None),
            (10, None, None, None, "RELAYGAP._._", missing),
            (11, report, "", "OV", "EXECUTIONREPORT._.OV", None),
            (12, report, "1", "x" * 9_000_000, "RELAYGAP._._", large),
            (13, report, "1", "OV", "EXECUTIONREPORT.1.OV", None),
        ]
        expected = []
        for offset, kind, account, symbol, subject, instead in rows:
            text = json.dumps(kind if isinstance(kind, dict) else
                              {"DataType": kind, "Report": {"Account": account, "Symbol": symbol}})  # fmt: skip
            if kind:
                self.insert(gateway, number + offset, run, text)
            expected.append((f"halvane.feed.alpha.{subject}", number + offset, json.loads(text) if not instead else instead))
        gateway.start_again()
        self.wait_for_stream()
        found = [(subject, int(words[0]), json.loads(text)) for subject, words, text in self.relay.read()]
        begin = [each[1] for each in found].index(number + 1)
        self.assertEqual(found[begin : begin + len(expected)], expected)

    def insert(self, gateway, number, run, text):
        with sqlite3.connect(max(gateway.folder.glob("feed/feed-*.sqlite"))) as journal:
            ((when,),) = journal.execute("SELECT max(time_ns) FROM event").fetchall()
            journal.execute("INSERT INTO event VALUES (?, ?, ?, 'X', '', '', 0, ?)", [number, run, when, text])


class Settings(unittest.TestCase):
    def test_bad_lines_are_answered(self):
        desk = "[Gateway1]\nDesk=alpha\nSystem=A\nKey=k\n"
        rows = [
            ("", [], "no gateway is named in"),
            ("[Gateway1]\nDesk=a.b\nSystem=A\nKey=k", [], "Desk in [Gateway1] has letters, digits, - and _ only: a.b"),
            ("[Gateway1]\nSystem=A\nKey=k", [], "Desk in [Gateway1] has letters"),
            ("[Gateway1]\nDesk=alpha\nSystem=A", [], "System or Key is missing in [Gateway1]"),
            (desk + desk.replace("1]", "2]"), [], "Desk in [Gateway2] is another gateway's: alpha"),
            (desk + "Address=here:99999", [], "no host:port is here:99999"),
            (desk + "[Nats]\nStream=a.b", [], "Stream in [Nats] has letters, digits, - and _ only: a.b"),
            (desk + "[Nats]\nKeepDays=a", [], "KeepDays in [Nats] is no number up to 36500: a"),
            (desk + "Line=halvane://nobody", [], "not a line of HalvanePair"),
            (desk, ["--nonsense"], "unknown, or without a value: --nonsense"),
            (desk, ["--resend-from", "soon"], "neither a number nor a time like 2026-11-22T10:31:00Z: soon"),
            (desk, ["--resend-from", "1", "--desk", "beta"], "no gateway is the desk beta"),
        ]
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder) / "Relay.ini"
            for text, words, why in rows:
                with self.subTest(text, words=words):
                    file.write_text(text)
                    done = subprocess.run([RELAY, "--config", file, *words], capture_output=True, timeout=60)
                    self.assertIn(done.returncode, (1, 2))
                    self.assertIn(why, done.stderr.decode())
            done = subprocess.run([RELAY, "--config", file.parent / "none.ini"], capture_output=True, timeout=60)
            self.assertIn("there is no file", done.stderr.decode())


class Users(RelayCase):
    def test_each_may_do_its_own(self):
        self.wait_for_stream()
        order = json.dumps({"Request": "NEWORDER", "Param": ORDER | {"UserKey1": "forbidden"}})
        rows = [
            ("reader", "halvane.request.alpha", "Publish"),
            ("reader", "halvane.request.alpha.reader", "Publish"),
            ("reader", "halvane.request.alpha.trader", "Publish"),
            ("reader", "halvane.feed.alpha.FILLEDREPORT._._", "Publish"),
            ("reader", "halvane.relay.status", "Publish"),
            ("reader", "$JS.API.STREAM.DELETE.HALVANE", "Publish"),
            ("reader", "$JS.API.STREAM.PURGE.HALVANE", "Publish"),
            ("reader", "$JS.API.STREAM.CREATE.MINE", "Publish"),
            ("trader", "halvane.request.alpha", "Publish"),
            ("trader", "halvane.request.alpha.other", "Publish"),
            ("trader", "halvane.feed.alpha.FILLEDREPORT._._", "Publish"),
            ("trader", "$JS.API.STREAM.MSG.GET.HALVANE", "Publish"),
            ("trader", "halvane.feed.>", "Subscription"),
            ("reader", "halvane.request.>", "Subscription"),
            ("reader", "_INBOX.>", "Subscription"),
            ("trader", "_INBOX.relay.>", "Subscription"),
        ]
        for user, subject, what in rows:
            with self.subTest(user=user, subject=subject), Connection(self.engine.port, user) as connection:
                if what == "Publish":
                    connection.publish(subject, order, f"{connection.inbox}.0")
                else:
                    connection.subscribe(subject)
                errors = connection.errors_of()
                self.assertEqual(len(errors), 1, errors)
                self.assertIn(f"Permissions Violation for {what}", errors[0])
        self.assertFalse([row for row in self.journal(self.gateways[0]) if b"forbidden" in row[4]])


class RequestsThroughTheEngine(RelayCase):
    SUBJECT = "halvane.request.alpha.trader"

    def setUp(self):
        super().setUp()
        self.connection = Connection(self.engine.port, "trader")
        self.addCleanup(self.connection.__exit__)
        until(lambda: isinstance(self.ask("PONG"), dict), "the relay")

    def ask(self, name, **members):
        return self.connection.ask(self.SUBJECT, {"Request": name} | members)

    def order(self, key):
        return {"Request": "NEWORDER", "Param": ORDER | {"UserKey1": key}}

    def placed(self, key):
        """How many orders of that key the platform knows of."""
        with self.gateways[0].logged_in_client() as client:
            return [order["UserKey1"] for order in client.request("RESTOREREPORT", QryIndex="0")["Orders"]].count(key)

    def test_replies_are_the_gateways(self):
        with self.gateways[0].logged_in_client() as client:
            self.assertEqual(self.ask("ACCOUNTS"), client.request("ACCOUNTS"))
        self.assertEqual(self.ask("NEWORDER", Param=ORDER | {"UserKey1": "once"}),
                         {"Reply": "NEWORDER", "Success": "OK"})  # fmt: skip
        rows = [
            ({"Request": "NONSENSE"}, "Undefined"),
            ({"Request": "NEWORDER"}, "cannot find the Param field"),
            ({"Request": "NEWORDER", "SessionKey": "mine"}, "cannot find the Param field"),
            ({"Request": "LOGOUT"}, "relay: the session is the relay's"),
            ({"Param": {}}, "relay: no JSON object with a Request"),
        ]
        for request, why in rows:
            with self.subTest(request):
                self.assertEqual(self.connection.ask(self.SUBJECT, request)["ErrMsg"], why)
        self.assertEqual(self.placed("once"), 1)
        status = self.status()
        self.assertEqual([status["Engine"], status["Desks"][0]["Live"]], ["1", "1"])
        self.assertGreater(int(status["Desks"][0]["Requests"]), len(rows))
        self.assertEqual(status["Desks"][0]["RequestsFailed"], "2")

    def test_failures_are_told_apart_and_no_order_goes_twice(self):
        process = self.gateways[0].process
        process.send_signal(signal.SIGSTOP)
        late = self.connection.post(self.SUBJECT, self.order("late"))
        self.assertEqual(self.connection.reply(late)["ErrMsg"], "relay: no answer in time; it may have been carried out")
        many = [self.connection.post(self.SUBJECT, {"Request": "PONG"}) for _ in range(1001)]
        self.assertEqual(self.connection.reply(many[-1])["ErrMsg"], "relay: queue full; nothing was sent")
        process.send_signal(signal.SIGCONT)
        until(lambda: self.placed("late"), "the late order")
        for number in many:
            self.connection.reply(number)
        process.send_signal(signal.SIGSTOP)
        lost = self.connection.post(self.SUBJECT, self.order("lost"))
        time.sleep(1)  # until it is sent, though not answered
        process.kill()
        process.wait()
        self.assertEqual(self.connection.reply(lost)["ErrMsg"], "relay: gateway absent; it may have been carried out")
        absent = self.connection.ask(self.SUBJECT, self.order("absent"))
        self.assertEqual(absent["ErrMsg"], "relay: gateway absent; nothing was sent")
        self.assertEqual(self.placed_before("late"), 1)
        self.gateways[0].start_again()
        until(lambda: self.ask("NEWORDER", **{"Param": ORDER | {"UserKey1": "after"}})["Success"] == "OK", "the gateway")
        self.assertEqual([self.placed(key) for key in ("lost", "absent", "after")], [0, 0, 1])
        self.relay.kill()
        time.sleep(2)  # the engine must have noticed: until then it hands requests to nobody
        self.assertIn("503", self.connection.ask(self.SUBJECT, {"Request": "PONG"}))

    def placed_before(self, key):
        """How many of its orders the journal has, of a gateway that is gone."""
        reports = [json.loads(row[4]) for row in self.journal(self.gateways[0])]
        return len({report["Report"]["ReportID"] for report in reports
                    if report["DataType"] == "EXECUTIONREPORT" and report["Report"]["UserKey1"] == key})  # fmt: skip


GATEWAY, RELAY = take_paths(2)

if __name__ == "__main__":
    unittest.main()
