"""Checks the encrypted doors: what goes over the wire, who is let in and who is not, what each may ask for and
what it gets to see, and the client that takes the pasted line. Takes the path of the program as its last
argument."""

import datetime
import json
import shutil
import socket
import subprocess
import threading
import time
import unittest

import zmq

from running_gateway import PATIENCE, SERVICE_KEY, make_gateway, take_paths, until
from halvane import Client, NotLetIn
from halvane.door import parse_door

(PROGRAM,) = take_paths(1)
OWN, OTHER = "1000001", "1000002"
ONLY_READS, NOT_ITS_ACCOUNT = "this client may only read", "this client may not use this account"
NOT_ONE_ACCOUNT = "this client may not ask for what may concern other accounts"
NOT_SHOWN, ENDED = "this client has not been shown this report", "this client is not let in any more"


def order(account, **more):
    """The Param of a limit order that nobody fills."""
    param = {"BrokerID": "PAPER", "Account": account, "Symbol": "OV.S.PAPX.ALFA", "Side": "1"}
    return {"Param": param | {"OrderType": "2", "Price": "110.5", "OrderQty": "1"} | more}


def report(report_id, **more):
    return {"Param": {"ReportID": report_id, "OrderQty": "1"} | more}


class Recorder(threading.Thread):
    """Stands before a port and keeps all bytes that go either way."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self.seen, self.target = bytearray(), port
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.start()

    def run(self):
        while True:
            client, server = self.listener.accept()[0], socket.create_connection(("127.0.0.1", self.target))
            for source, sink in (client, server), (server, client):
                threading.Thread(target=self.pump, args=(source, sink), daemon=True).start()

    def pump(self, source, sink):
        while data := source.recv(65536):
            self.seen += data
            sink.sendall(data)


class DoorTest(unittest.TestCase):
    def setUp(self):
        self.gateway = make_gateway(PROGRAM)
        self.addCleanup(self.gateway.remove)
        self.pairing = self.gateway.folder / ("HalvanePair" + PROGRAM.suffix)
        shutil.copy2(PROGRAM.parent / self.pairing.name, self.pairing)
        with socket.create_server(("127.0.0.1", 0)) as free:
            self.door = 20000 + free.getsockname()[1] % 1200 * 10  # and some behind it, that the system gives nobody
        self.context = zmq.Context()
        self.addCleanup(self.context.destroy, 0)

    def start(self, *lines):
        (self.gateway.folder / "Configs").mkdir(exist_ok=True)
        keys = ["[Access]", "IP=127.0.0.1", f"RequestPort={self.door}", *lines]
        (self.gateway.folder / "Configs" / "Access.ini").write_text("\n".join(keys))
        self.gateway.start_on_paper()
        self.gateway.logged("[Access]encrypted requests at ")
        with self.gateway.logged_in_client():
            pass  # it publishes

    def pair(self, *words):
        done = subprocess.run([*self.gateway.runner, self.pairing, *words], capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        if words[0][0] != "-":
            self.gateway.logged(f"[Access]{words[0]} ")
        return done.stdout.strip()

    def connect(self, line, kind=zmq.REQ, port=None):
        door = parse_door(line)
        made = self.context.socket(kind)
        for key, value in [*door.options(), (zmq.RCVTIMEO, PATIENCE * 1000)]:
            made.setsockopt(key, value)
        if kind == zmq.SUB:
            made.setsockopt(zmq.SUBSCRIBE, b"")
        self.addCleanup(made.close, 0)
        made.connect(f"tcp://127.0.0.1:{port or door.port}")
        return made

    def ask(self, client, name, **members):
        client.send(json.dumps({"Request": name, **members}).encode())
        reply = client.recv()
        self.assertEqual(reply[-1:], b"\0")
        return json.loads(reply[:-1])

    def log_in(self, line, **ports):
        client = self.connect(line, **ports)
        reply = self.ask(client, "LOGIN", Param={"SystemName": self.gateway.system_name, "ServiceKey": SERVICE_KEY})
        ask = lambda name, **members: self.ask(client, name, SessionKey=reply["SessionKey"], **members)
        return ask, int(reply["SubPort"])

    def published(self, subscriber, seconds=1.0):
        """The accounts of the reports that come, and the kinds of all that comes."""
        accounts, kinds = set(), set()
        while subscriber.poll(int(seconds * 1000)):
            publication = json.loads(subscriber.recv()[:-1])
            kinds.add(publication["DataType"])
            accounts |= {publication["Report"]["Account"]} if "Report" in publication else set()
        return accounts, kinds


class Rights(DoorTest):
    def check(self, ask, rows):
        for name, members, expected in rows:
            with self.subTest(name, members=members):
                reply = ask(name, **members)
                self.assertEqual(reply.get("ErrMsg", reply.get("ErrCode", "OK")), expected, reply)

    def test_what_each_may_ask_for(self):
        self.start()
        trader, _ = self.log_in(self.pair("trader"))
        reader, _ = self.log_in(self.pair("reader", "--read-only"))
        for account in (OWN, OTHER):
            self.assertEqual(trader("NEWORDER", **order(account))["Success"], "OK")
        placed = until(lambda: self.restored(trader, 2), "two orders")
        scoped, _ = self.log_in(self.pair("scoped", "--accounts", f"PAPER-{OWN}"))
        ids = {row["Account"]: row["ReportID"] for row in placed}
        self.check(trader, [("FOO", {}, "Undefined"), ("MARGINS", {"AccountMask": f"PAPER-{OTHER}"}, "OK")])
        self.check(reader, [
            *[(name, order(OWN), ONLY_READS) for name in ("NEWORDER", "OPTCOMB", "NEWSTRATEGYORDER", "SENDMESSAGE")],
            *[(name, report(ids[OWN]), ONLY_READS) for name in ("CANCELORDER", "REPLACEORDER", "FOO")],
            ("MARGINS", {"AccountMask": f"PAPER-{OTHER}"}, "OK"), ("RESTOREFILLREPORT", {}, "OK"), ("PONG", {}, "OK"),
        ])  # fmt: skip
        self.check(scoped, [
            ("CANCELORDER", report(ids[OWN]), NOT_SHOWN), ("RESTOREREPORT", {"QryIndex": "0"}, "OK"),
            ("CANCELORDER", report(ids[OTHER]), NOT_SHOWN), ("REPLACEORDER", report(ids[OTHER]), NOT_SHOWN),
            ("CANCELORDER", report(ids[OWN], Key="x"), NOT_ONE_ACCOUNT), ("CANCELORDER", report(ids[OWN]), "OK"),
            ("NEWORDER", order(OWN), "OK"), ("NEWORDER", order(OTHER), NOT_ITS_ACCOUNT), ("NEWORDER", {}, NOT_ITS_ACCOUNT),
            ("OPTCOMB", order(OWN, Volume="1&ACCOUNT=2"), NOT_ONE_ACCOUNT), ("OPTCOMB", order(OTHER), NOT_ITS_ACCOUNT),
            *[("NEWORDER", order(OWN, **more), NOT_ONE_ACCOUNT) for more in (
                {"GroupID": "g"}, {"GroupType": "1"}, {"ExtCommands": "A=1"}, {"FlowControl": "1;A=2"})],
            *[(name, {"AccountMask": f"PAPER-{OTHER}"}, NOT_ITS_ACCOUNT)
              for name in ("MARGINS", "POSITIONS", "QUERYOPTCOMBORDER", "QUERYOPTCOMBPOSITION")],
            *[(name, {"AccountMask": ""}, NOT_ITS_ACCOUNT) for name in ("MARGINS", "POSITIONS")],
            ("MARGINS", {"AccountMask": f"PAPER-{OWN}"}, "OK"), ("STATUS", {}, NOT_ONE_ACCOUNT),
            *[(name, order(OWN), NOT_ONE_ACCOUNT) for name in ("NEWSTRATEGYORDER", "SENDMESSAGE", "FOO")],
        ])  # fmt: skip

    def test_what_a_scoped_client_gets_to_see(self):
        self.start()
        scoped, port = self.log_in(line := self.pair("scoped", "--accounts", f"PAPER-{OWN}"))
        plain, probes = self.connect(line, zmq.SUB, port), []
        until(lambda: probes.append(scoped("NEWORDER", **order(OWN))) or plain.poll(100), "a publication")
        with self.gateway.logged_in_client() as client:
            for number in range(160):  # pages of others' orders lie between
                account = OWN if number % 3 == 0 or number > 100 else OTHER
                client.request("NEWORDER", **order(account))
            whole = until(lambda: self.restored(client.request, 160 + len(probes)), "all orders")
        own = [row["ReportID"] for row in whole if row["Account"] == OWN]
        self.assertEqual([row["ReportID"] for row in self.restored(scoped)], own)
        accounts, kinds = self.published(plain)
        self.assertEqual((accounts, kinds - {"PING", "POSITIONTRACKER"}), ({OWN}, {"EXECUTIONREPORT"}))
        self.assertEqual([row["Account"] for row in scoped("ACCOUNTS")["Accounts"]], [OWN])

    def restored(self, ask, count=0):
        """All reports, once there are so many."""
        rows, index = [], "0"
        while len(page := ask("RESTOREREPORT", QryIndex=index)["Orders"]) == 50:
            rows, index = rows + page, page[-1]["QryIndex"]
        return rows + page if len(rows + page) >= count else None

    def test_what_is_no_request_and_what_fails(self):
        self.start()
        lines = [self.pair("reader", "--read-only"), self.pair("scoped", "--accounts", f"PAPER-{OWN}"), self.pair("ended")]
        no_request = {"Reply": "Req", "Success": "Fail", "SessionKey": "", "ErrMsg": ""}
        clients = [self.connect(line, zmq.DEALER) for line in lines]
        self.ask_dealer(clients[2], b'{"Request":"FOO"}')
        self.pair("--revoke", "ended")
        self.gateway.logged("[Access]ended is revoked: ")
        for client in clients:
            for frames in ([b"no json"], [b"[]"], [b'{"Request":7}'], [b'{"Request":"PONG"}'] * 2):
                client.send(b"no envelope")
                with self.subTest(frames=frames):
                    self.assertEqual(self.ask_dealer(client, *frames), no_request)
        illegal = "the Session is illegal"
        for name in ("ACCOUNTS", "RESTOREREPORT"):
            reply = self.ask_dealer(clients[1], json.dumps({"Request": name, "SessionKey": "k"}).encode())
            self.assertEqual((reply["Reply"], reply["ErrMsg"]), (name, illegal))

    def ask_dealer(self, client, *frames):
        client.send_multipart([b"", *frames])
        empty, reply = client.recv_multipart()
        self.assertEqual((empty, reply[-1:]), (b"", b"\0"))
        return json.loads(reply[:-1])


class Entry(DoorTest):
    def test_words_of_the_pairing(self):
        configs = self.gateway.folder / "Configs"
        access = configs / "Access"
        access.mkdir(parents=True)

        def say(code, said, *words, door=self.door):
            with self.subTest(words=words, said=said):
                (configs / "Access.ini").write_text(f"[Access]\nIP=127.0.0.1\nRequestPort={door}\n" if door else "")
                done = subprocess.run([*self.gateway.runner, self.pairing, *words], capture_output=True, text=True)
                self.assertEqual(done.returncode, code, done.stderr)
                self.assertIn(said, done.stdout + done.stderr)
                return done.stdout

        for words in ([], ["--list", "x"], ["--revoke"], ["Upper"], ["a.b"], ["a~"], ["x" * 41], [""], ["a", "--what"],
                      ["a", "--until"], ["a", "--until", "2026-13-01"], ["a", "--until", "2026-12-32"],
                      ["a", "--until", "2026-12-1"], ["a", "--accounts"], ["a", "--accounts", "NODASH"],
                      ["a", "--accounts", "B-1,B-*"], ["--", "x"]):  # fmt: skip
            say(2, "HalvanePair NAME", *words)
        say(1, "names no IP and RequestPort", "a", door=0)
        say(1, "there is no client a", "--revoke", "a")
        (access / "server.key").write_text("g" * 64)
        say(1, "no server key", "a")
        (access / "server.key").unlink()
        (access / "client-a.ini" / "x").mkdir(parents=True)
        say(1, "cannot write", "a")
        shutil.rmtree(access / "client-a.ini")
        say(1, "no port is left", "a", door=65535)
        say(0, f"halvane://127.0.0.1:{self.door}/a-b_9/", "a-b_9", "--accounts", "B-1,B-2")
        say(1, "has a key already", "a-b_9")
        say(0, "is revoked", "--revoke", "a-b_9")
        say(0, "is revoked", "--revoke", "a-b_9")
        (access / "client-a-b_9.ini.new" / "x").mkdir(parents=True)
        say(1, "cannot write", "--revoke", "a-b_9")
        shutil.rmtree(access / "client-a-b_9.ini.new")
        (access / "client-lost.ini").write_text("[Client]\nPublicKey=" + "a" * 63)
        (access / "client-Upper.ini").write_text("[Client]\nPublicKey=" + "a" * 64)
        (access / "client-old.ini.txt").write_text("[Client]\nPublicKey=" + "a" * 64)
        (access / "client-vague.ini").write_text("[Client]\nPublicKey=" + "a" * 64 + "\nUntil=soon\nAccounts=,B-1\n")
        day = datetime.date.today()
        self.assertEqual(say(0, "", "--list").splitlines(), [
            f"a-b_9  trades  B-1,B-2  until never  publications at {self.door + 1}  revoked",
            "vague  read-only  B-1  until soon  publications at 0  expired"])  # fmt: skip
        say(0, f"a-b_9  trades  all accounts  until {day}  publications at {self.door + 1}", "a-b_9", "--until", str(day))

    def test_doors_that_cannot_be_opened(self):
        access = self.gateway.folder / "Configs" / "Access"
        access.mkdir(parents=True)
        (access / "server.key").write_text("no key")
        (access.parent / "Access.ini").write_text(f"[Access]\nIP=127.0.0.1\nRequestPort={self.door}\nAllow=10.0.0.7,x\n")
        self.gateway.start_on_paper()
        self.gateway.logged("Access.ini: x is no address")
        self.gateway.logged("[Access]no server key in ")
        self.assertEqual(self.gateway.end(), 0)
        (access / "server.key").unlink()
        taken, publications = (socket.create_server(("127.0.0.1", self.door + n)) for n in (0, 1))
        self.gateway.start_on_paper()
        self.gateway.logged(f"[Access]port {self.door} cannot be bound")
        taken.close()
        self.gateway.logged("[Access]encrypted requests at ")
        with self.gateway.logged_in_client():
            pass
        line = self.pair("a")
        self.gateway.logged(f"[Access]publish port {self.door + 1} of a cannot be bound")
        login = {"Param": {"SystemName": self.gateway.system_name, "ServiceKey": SERVICE_KEY}}
        client = self.connect(line)
        self.assertEqual(self.ask(client, "LOGIN", **login)["SubPort"], "")
        publications.close()
        until(lambda: self.ask(client, "LOGIN", **login)["SubPort"] == str(self.door + 1), "its publications")
        file = access / "client-a.ini"
        file.write_text(file.read_text().replace(f"={self.door + 1}", f"={self.door + 2}"))
        until(lambda: self.ask(client, "LOGIN", **login)["SubPort"] == str(self.door + 2), "the other port")
        file.unlink()
        self.gateway.logged("[Access]a is known no more")
        self.assertEqual(self.ask(client, "PONG")["ErrMsg"], ENDED)

    def test_who_is_not_let_in_and_what_goes_over_the_wire(self):
        self.start("Allow=127.0.0.0/8")
        a, b = self.pair("a"), self.pair("b")
        recorders = [Recorder(self.door)]
        ask, port = self.log_in(a, port=recorders[0].port)
        recorders.append(Recorder(port))
        subscriber = self.connect(a, zmq.SUB, recorders[1].port)
        until(lambda: ask("NEWORDER", **order(OWN)) and subscriber.poll(100), "a publication")
        for recorder in recorders:
            self.assertGreater(len(recorder.seen), 500)
            for secret in (b"Request", b"LOGIN", b"SessionKey", b"DataType", b"PAPER", b'"'):
                if len(secret) > 1:
                    self.assertNotIn(secret, recorder.seen)
        expired = self.pair("old", "--until", "2026-01-01")
        today = self.pair("today", "--until", f"{datetime.date.today()}")
        wrong = a.replace(a.split("/")[-2], b.split("/")[-1])
        stranger = a.replace(a.split("/")[-1], "ab" * 32)
        rows = [
            (expired, zmq.REQ, None, "old not let in from 127.0.0.1 to requests: expired"),
            (stranger, zmq.REQ, None, "somebody not let in from 127.0.0.1 to requests: unknown key"),
            (b, zmq.SUB, port, "b not let in from 127.0.0.1 to publications: publications of another client"),
            (wrong, zmq.REQ, None, "request port: "),
        ]
        for line, kind, at, said in rows:
            with self.subTest(said):
                client = self.connect(line, kind, at)
                if kind == zmq.REQ:
                    client.send(b'{"Request":"FOO"}')
                self.gateway.logged(f"[Access]{said}")
                self.assertFalse(client.poll(300))
        self.log_in(today)
        self.pair("--revoke", "a")
        before = time.monotonic()
        self.gateway.logged("[Access]a is revoked: ")
        self.assertLess(time.monotonic() - before, 3)
        self.assertEqual(ask("PONG")["ErrMsg"], ENDED)
        self.published(subscriber, 0.3)
        other, _ = self.log_in(b)  # others are not troubled
        other("NEWORDER", **order(OWN))
        self.assertEqual(self.published(subscriber), (set(), set()))
        self.connect(a)
        self.gateway.logged("[Access]a not let in from 127.0.0.1 to ")
        self.assertIn("a  trades  all accounts", self.pair("--list"))
        (key,) = (self.gateway.folder / "Configs" / "Access").glob("*.key")
        others = 0o077 if PROGRAM.suffix != ".exe" else 0o007  # there administrators are the group
        self.assertEqual(key.stat().st_mode & others, 0)
        self.assertEqual(self.gateway.end(), 0)

    def test_only_listed_addresses_come_to_the_plain_ports(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            try:
                probe.connect(("192.0.2.1", 9))
            except OSError:
                self.skipTest("this machine has the loopback interface alone")
            address = probe.getsockname()[0]
        (self.gateway.folder / "Configs").mkdir()
        (self.gateway.folder / "Configs" / "ZMQ.ini").write_text("[ZMQ]\nIP=0.0.0.0\n")
        self.start("AllowAtPlainPorts=192.0.2.77")
        ports = {"RequestBroker": (zmq.REQ, "RepPort:"), "PublishWorker": (zmq.SUB, "PublishPort:")}
        for worker, (kind, port) in ports.items():
            stranger = self.context.socket(kind)
            stranger.connect(f"tcp://{address}:{self.gateway.logged(port)}")
            self.gateway.logged(f"[{worker}]a connection from {address} was not let in")
        self.log_in(self.pair("a"))

    def test_the_package_takes_the_line(self):
        self.start()
        names = self.gateway.system_name, SERVICE_KEY
        line = self.pair("py", "--accounts", f"PAPER-{OWN}")
        with Client.connect(*names, door=line, patience=PATIENCE) as client:
            self.assertEqual([account.account for account in client.accounts()], [OWN])
            placed = client.buy("OV.S.PAPX.ALFA", 1, price="110.5")
            placed.wait("working", timeout=PATIENCE)
            placed.cancel()
            placed.wait("cancelled", timeout=PATIENCE)
            self.pair("--revoke", "py")
            until(lambda: "does not let py in" in client._client.stale_reason, "the revocation")
        with self.assertRaisesRegex(NotLetIn, "does not let py in"):
            Client.connect(*names, door=line, patience=PATIENCE)
        for part in (line[:-1], line[10:], line.replace("/py/", "/")):
            self.assertRaises(ValueError, Client.connect, *names, door=part)


if __name__ == "__main__":
    unittest.main()
