"""The doctor: of every thing that is broken exactly the line that names it is no longer ok. Takes the paths of
the doctor and of the program as its last arguments."""

import contextlib
import json
import os
import resource
import shutil
import signal
import socket
import subprocess
import time
import unittest

from running_gateway import SERVICE_KEY, Gateway, take_paths, until

from halvane.protocol import port_of

(DOCTOR, PROGRAM) = take_paths(2)
MARKET = {
    "tickMs": 50,
    "accounts": [{"brokerId": "PAPER", "account": "1000001", "balance": 10000000}],
    "exchanges": [{"exchange": "PAPX"}],
    "stocks": [{"security": "ALFA", "exchange": "PAPX", "price": 120, "tick": 0.05}],
}
STATUS = "[Gateway]\nStatus=1\n"


def in_use(port):
    with socket.socket() as request, socket.socket() as relay:
        try:
            request.bind(("127.0.0.1", port))
            relay.bind(("127.0.0.1", port - 10000))
        except OSError:
            return True
        return False


class Patient(Gateway):
    """A gateway with the doctor beside it; `key` is what the doctor is told."""

    def __init__(self):
        super().__init__(PROGRAM)
        shutil.copy2(DOCTOR, self.folder / DOCTOR.name)
        while in_use(port_of(self.system_name)):
            self.system_name += "x"
        self.key, self.environment, self.limits = SERVICE_KEY, {}, None
        self.held = contextlib.ExitStack()
        self.held.taken = False  # a port, on purpose

    def write(self, name, text):
        file = self.folder / name
        file.parent.mkdir(exist_ok=True)
        file.write_text(text)

    def open(self, market=None):
        """Starts the gateway, on a market of its own if one is given, and waits until it serves."""
        address = "paper:"
        if market is not None:
            self.write("market.json", json.dumps(MARKET | market))
            address += str(self.folder / "market.json")
        self.start(address, self.system_name, SERVICE_KEY)
        while not self.held.taken and self.port() != port_of(self.system_name):  # somebody else has it
            self.end()
            shutil.rmtree(self.folder / "logs")
            self.system_name += "x"
            self.start(address, self.system_name, SERVICE_KEY)
        self.logged_in_client().close()
        if market:
            time.sleep(1)  # for twenty ticks of the market: its incidents begin with the first

    def listen(self, port):
        taken = self.held.enter_context(socket.socket())
        taken.bind(("127.0.0.1", port))
        taken.listen()
        self.held.taken = True

    def ask_in_vain(self, name, times=1):
        clients = [self.held.enter_context(contextlib.closing(self.logged_in_client())) for _ in range(times)]
        for client in clients:
            client._requests.send(client.compose(name))
        time.sleep(6)  # longer than a request may take that nobody wonders about

    def consult(self, *options):
        """What the doctor says of each thing, and the whole report."""
        words = [self.folder / DOCTOR.name, "--json", *options, "paper:", self.system_name, self.key]
        started = time.monotonic()
        done = subprocess.run(words, capture_output=True, text=True, timeout=60,
                              env=os.environ | self.environment, preexec_fn=self.limits)  # fmt: skip
        report = json.loads(done.stdout)
        report["Seconds"], report["Exit"] = time.monotonic() - started, done.returncode
        return {line["Name"]: line for line in report["Checks"]}, report


def limit(descriptors):
    return lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (descriptors, descriptors))


def log(text="12:00:00.000      1  [INFO ]  exe version : 0.1.0.0\r\n", later=0, size=0):
    def write(patient):
        patient.write("logs/Halvane64-20261120-0.log", text)
        file = patient.folder / "logs/Halvane64-20261120-0.log"
        if size:
            os.truncate(file, size)
        os.utime(file, (time.time() + later, time.time() + later))

    return write


def zmq_ini(text):
    return lambda patient: patient.write("Configs/ZMQ.ini", text)


def access_ini(text):
    return lambda patient: patient.write("Configs/Access.ini", "[Access]\n" + text)


def api_ini(text):
    return lambda patient: patient.write("Configs/TradeApi.ini", text)


def also(*steps):
    return lambda patient: [step(patient) for step in steps]


def setting(name, value):
    return lambda patient: setattr(patient, name, value)


def stop(patient):
    os.kill(patient.process.pid, signal.SIGSTOP)


# What is broken, the line that has to say so, how, and a word of what was found. What stands before the
# gateway's start is done first; `market` starts it.
BREAKAGES = [
    ("the program", lambda it: it.program.unlink(), None, "program", "fail", "Halvane64"),
    ("a key of ZMQ.ini", zmq_ini("[ZMQ]\nIPP=127.0.0.1\n"), None, "ZMQ.ini", "warn", "line 2, [ZMQ] IPP"),
    ("a section of ZMQ.ini", zmq_ini("[Zmg]\nIP=127.0.0.1\n"), None, "ZMQ.ini", "warn", "[Zmg] IP"),
    ("a line of ZMQ.ini", zmq_ini("[ZMQ]\n127.0.0.1\n"), None, "ZMQ.ini", "warn", "line 2"),
    ("a remark", zmq_ini("[ZMQ]\nIP=127.0.0.1 ; mine\n"), None, "ZMQ.ini", "fail", "127.0.0.1 ; mine"),
    ("a key of Feed.ini", lambda it: it.write("Configs/Feed.ini", "[Feed]\nKeepDay=3\n"), None, "Feed.ini", "warn", "KeepDay"),
    ("a key of Access.ini", access_ini("Port=48100\n"), None, "Access.ini", "warn", "[Access] Port"),
    ("half a door", access_ini("IP=127.0.0.1\n"), None, "doors", "fail", "RequestPort \"\""),
    ("a door elsewhere", access_ini("IP=192.0.2.1\nRequestPort=48100\n"), None, "doors", "fail", "192.0.2.1"),
    ("a gateway of Desk.ini", lambda it: it.write("Configs/Desk.ini", "[Gateway8]\nKey=a\n[Gateway9]\nKey=b\n"), None,
     "Desk.ini", "warn", "not known, so without effect: line 4, [Gateway9] Key"),
    ("an address elsewhere", zmq_ini("[ZMQ]\nIP=192.0.2.1\n"), None, "address", "fail", "192.0.2.1"),
    ("no address", zmq_ini("[ZMQ]\nIP=12 7\n"), None, "address", "fail", "12 7"),
    ("a class identifier", api_ini("[ClassId]\nOvaro.TradeAPI.1={0CF98F95\n"), None, "TradeApi.ini", "fail", "{0CF98F95"),
    ("a dispatch id", api_ini("[HostEvents]\nCommandMsg=two\n"), None, "TradeApi.ini", "fail", "two"),
    ("a class name", api_ini("[ClassId]\nOvaro.TradeAPI=x\n"), None, "TradeApi.ini", "warn", "Ovaro.TradeAPI"),
    ("the log folder", lambda it: it.write("logs", "in the way"), None, "log folder", "fail", "is a file"),
    ("large logs", log(size=3 << 30), None, "log growth", "warn", "3072 MiB"),
    ("a start", log("[INFO ]  exe version : 1\r\n[FATAL]  Create event failed\r\n"), None, "last start", "warn", "Create event"),
    ("the clock", log(later=3600), None, "clock", "fail", "later than that"),
    ("the zone", setting("environment", {"TZ": "Mars/Phobos"}), None, "zone", "warn", "Mars"),
    ("descriptors", setting("limits", limit(200)), None, "descriptors", "fail", "200"),
    ("few descriptors", setting("limits", limit(900)), None, "descriptors", "warn", "900"),
    ("the request port", lambda it: it.listen(port_of(it.system_name)), None, "request port", "warn", "python"),
    ("the request port of one that runs", lambda it: it.listen(port_of(it.system_name)), {}, "request port", "warn", "python"),
    ("the relay port", lambda it: it.listen(port_of(it.system_name) - 10000), None, "relay port", "warn", "python"),
    ("the key", setting("key", "another"), {}, "log-in", "fail", "refused"),
    ("a gateway that hangs", None, (stop, {}), "connection", "fail", "3 s"),
    ("rows", None, {"incidents": [{"kind": "refuseRows", "after": 0, "for": 600}]}, "accounts", "warn", "no list"),
    ("orders", None, {"incidents": [{"kind": "rejectOrders", "after": 0, "for": 600}]}, "paper order", "warn", "146"),
    ("all workers", None,
     (lambda it: it.ask_in_vain("ACCOUNTS", 4), {"incidents": [{"kind": "refuseRows", "after": 0, "for": 600}]}),
     "log-in", "fail", "no answer"),
    ("a worker", zmq_ini(STATUS),
     (lambda it: it.ask_in_vain("ACCOUNTS"), {"incidents": [{"kind": "refuseRows", "after": 0, "for": 600}]}),
     "status", "warn", "ACCOUNTS has run for"),
]  # fmt: skip


class Doctor(unittest.TestCase):
    def patient(self):
        patient = Patient()
        self.addCleanup(patient.remove)
        self.addCleanup(patient.held.close)
        return patient

    def assert_well(self, lines, report):
        self.assertEqual([line for line in lines.values() if line["Level"] not in ("ok", "skipped")], [])
        self.assertEqual((report["Result"], report["Exit"]), ("ok", 0))

    def test_a_gateway_that_is_well(self):
        for ini in ("", STATUS):
            patient = self.patient()
            patient.write("Configs/ZMQ.ini", ini)
            patient.open()
            files = sorted(patient.folder.rglob("*"))
            lines, report = patient.consult()
            self.assert_well(lines, report)
            self.assertEqual(sorted(patient.folder.rglob("*")), files)
            self.assertGreaterEqual(len(lines), 25)
            self.assertLess(report["Seconds"], 10)
            self.assertIn("reported after", lines["paper order"]["Found"])
            self.assertEqual(lines["heartbeat"]["Level"], "ok")
            self.assertEqual(lines["status"]["Level"], "ok" if ini else "skipped")
            self.assertNotIn(SERVICE_KEY, json.dumps(report))

    def test_nothing_is_ordered_where_the_gateway_does_not_say_that_it_is_on_paper(self):
        patient = self.patient()
        patient.open()
        for file in patient.folder.glob("logs/*"):
            file.unlink()
        lines, _ = patient.consult()
        self.assertEqual((lines["paper order"]["Level"], lines["heartbeat"]["Level"]), ("skipped", "skipped"))
        patient.key = SERVICE_KEY
        lines, _ = patient.consult("--wait")
        self.assertEqual(lines["heartbeat"]["Level"], "ok")

    def test_what_is_broken_is_named_and_nothing_else(self):
        for what, break_it, market, name, level, word in BREAKAGES:
            with self.subTest(what):
                patient = self.patient()
                if break_it:
                    break_it(patient)
                afterwards, market = market if isinstance(market, tuple) else (None, market)
                if market is not None:
                    patient.open(market)
                if afterwards:
                    afterwards(patient)
                lines, report = patient.consult()
                red = {key: line for key, line in lines.items() if line["Level"] in ("warn", "fail")}
                self.assertEqual(list(red), [name], red)
                self.assertEqual(red[name]["Level"], level)
                self.assertIn(word, red[name]["Found"])
                self.assertTrue(red[name]["Do"])
                self.assertEqual(report["Exit"], {"warn": 1, "fail": 2}[level])
                self.assertLess(report["Seconds"], 10)

    def test_a_start_that_ends_at_once_names_the_doctor(self):
        patient = self.patient()
        patient.start("nowhere", patient.system_name, SERVICE_KEY)
        self.assertEqual(patient.wait(), 0)
        self.assertIn("HalvaneDoctor", patient.lines()[-1])
        self.assertEqual(patient.consult()[0]["last start"]["Found"].split(": ", 1)[1], "Create Ovaro.TradeAPI.1 failed")

    def test_wrong_words(self):
        for words in (["--no-such"], ["paper:"], ["paper:", "A"]):
            done = subprocess.run([DOCTOR, *words], capture_output=True, text=True)
            self.assertEqual(done.returncode, 2)
            self.assertIn("HalvaneDoctor", done.stderr)


if __name__ == "__main__":
    unittest.main()
