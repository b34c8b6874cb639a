"""Checks the program from outside, on the paper platform: what it logs, what must not harm it, and how
it ends. Takes the path of the program as its last argument."""

import datetime
import hashlib
import json
import os
import re
import resource
import socket
import subprocess
import time
import unittest

import zmq

from running_gateway import EXPORTS, LINE, SERVICE_KEY, Gateway, connect, take_paths, until

(PROGRAM,) = take_paths(1)
SLOWNESS = int(os.environ.get("HALVANE_SLOWNESS", "1"))  # how many times slower the program is built

UNDEFINED = b'{"Reply":"Req","Success":"Fail","SessionKey":"","ErrMsg":"Undefined"}\0'


class WireTest(unittest.TestCase):
    def new_gateway(self):
        gateway = Gateway(PROGRAM)
        self.addCleanup(gateway.remove)
        return gateway

    def start(self, *arguments, system_name=None):
        gateway = self.new_gateway()
        gateway.system_name = system_name or gateway.system_name
        gateway.start_on_paper(*arguments)
        return gateway

    def start_slow(self, delay_ms):
        gateway = self.new_gateway()
        slow = {
            "accounts": [{"brokerId": "B", "account": "1", "balance": 1}],
            "exchanges": [{"exchange": "X"}],
            "stocks": [{"security": "A", "exchange": "X", "price": 100, "tick": 1}],
            "incidents": [{"kind": "delayAnswers", "after": 0, "for": 3600, "delayMs": delay_ms}],
        }
        (gateway.folder / "slow.json").write_text(json.dumps(slow))
        gateway.start(f"paper:{gateway.folder}/slow.json", gateway.system_name, SERVICE_KEY)
        return gateway

    def keep_workers(self, gateway, client, number):
        """With so many requests in all on which the platform is long."""
        while (asked := sum("CANCELORDER" in line for line in gateway.messages())) < number:
            self.socket(zmq.REQ, client.port).send(client.compose("CANCELORDER", Param={"ReportID": "kept"}))
            until(lambda: sum("CANCELORDER" in line for line in gateway.messages()) > asked, "the request")

    def socket(self, kind, port, host="127.0.0.1"):
        made = connect(kind, port, host)
        self.addCleanup(made.close)
        return made


def ask(client, request):
    client.send(request)
    return client.recv()


class StartUp(WireTest):
    def test_what_is_logged(self):
        gateway = self.start()
        gateway.port()
        publish_port = int(gateway.logged("PublishPort:"))
        self.assertTrue(50000 <= publish_port <= 60000, publish_port)
        gateway.logged("[PublishWorker]working...")
        until(lambda: gateway.messages().count("[RepWorker]working...") == 4, "four workers")
        messages = gateway.messages()
        self.assertEqual(messages.count("[RepWorker]StartService()"), 4)
        self.assertTrue(messages[0].startswith("exe version : "), messages[0])
        for once in ("MyIP:127.0.0.1", "[PublishWorker]StartService()"):
            self.assertEqual(messages.count(once), 1, once)
        for prefix in ("OnGeneralServiceUpdate() m_strLoginType=", "OnCommandMsg:2-1-"):
            gateway.logged(prefix)
        for line in gateway.lines():
            self.assertRegex(line, LINE)
        names = [file.name for file in gateway.folder.glob("logs/*")]
        self.assertEqual(len(names), 1)
        self.assertRegex(names[0], r"^Halvane64-\d{8}-0\.log$")

    def test_a_second_one_for_the_same_system_name_ends_at_once(self):
        first = self.start()
        port = first.port()
        second = self.start(system_name=first.system_name)
        self.assertEqual(second.wait(), 0)
        self.assertRegex(second.lines()[-2], r"\[FATAL\]  CheckInstance failed!!$")
        self.assertIn("HalvaneDoctor", second.lines()[-1])
        self.assertEqual(ask(self.socket(zmq.REQ, port), b'{"Request":"FOO"}'), UNDEFINED)
        self.assertEqual(first.end(), 0)
        third = self.start(system_name=first.system_name)
        third.port()

    def test_what_cannot_start_ends_at_once(self):
        few, no_component = "Authentication failed!!", "Create Ovaro.TradeAPI.1 failed"
        for arguments, why in ([], few), (["paper:"], few), (["paper:", "A"], few), (["host", "A", "B"], no_component):
            gateway = self.new_gateway()
            gateway.start(*arguments)
            self.assertEqual(gateway.wait(), 0)
            self.assertRegex(gateway.lines()[-2], rf"\[FATAL\]  {why}$")
            self.assertIn("HalvaneDoctor", gateway.lines()[-1])

    def test_the_address_is_read_from_the_configuration(self):
        gateway = self.new_gateway()
        (gateway.folder / "Configs").mkdir()
        (gateway.folder / "Configs" / "ZMQ.ini").write_text("[ZMQ]\r\nIP=127.0.0.2\r\n")
        gateway.start_on_paper()
        self.assertEqual(gateway.logged("MyIP:"), "127.0.0.2")
        client = self.socket(zmq.REQ, gateway.port(), "127.0.0.2")
        self.assertEqual(ask(client, b'{"Request":"FOO"}'), UNDEFINED)


class Options(WireTest):
    """The keys of section [Gateway], beside a gateway without them."""

    def run_with(self, *keys):
        """What became of an old log file, a client's line break and a session key that can be computed."""
        gateway = self.new_gateway()
        (gateway.folder / "Configs").mkdir()
        (gateway.folder / "Configs" / "ZMQ.ini").write_text("\n".join(["[Gateway]", *keys]))
        (gateway.folder / "logs").mkdir()
        days = [datetime.date.today() - datetime.timedelta(days) for days in (3, 2)]
        names = [f"Halvane64-{day:%Y%m%d}-{number}.log" for number, day in enumerate(days)]
        for name in [*names, f"Halvane64-{days[0]:%Y%m%d}-0.txt", f"Halvane64x-{days[0]:%Y%m%d}-0.log"]:
            (gateway.folder / "logs" / name).touch()
        gateway.start_on_paper()
        with gateway.logged_in_client() as client:
            client.exchange(b'{"Request":"a\\u2028","forged":"\xc2\x85","b":"\n\x7f"}')
            now = datetime.datetime.now()
            moments = [now - datetime.timedelta(seconds=each) for each in range(60)]
            guessed = {hashlib.md5(f"{each:%H%M%S}{n}".encode()).hexdigest() for each in moments for n in range(9)}
            predictable = client.session_key in guessed
        self.assertRegex(client.session_key, "^[0-9a-f]{32}$")
        gateway.end()
        kept = [(gateway.folder / "logs" / name).exists() for name in names]
        self.assertEqual(len(list(gateway.folder.glob("logs/*-0.*"))), 4 if kept[0] else 3)
        return kept, any("b\":\"\\u000a\\u007f" in line for line in gateway.lines()), predictable, gateway.messages()

    def test_each_is_off_until_it_is_named(self):
        rows = [
            ([], ([True, True], False, True)),
            (["SessionKey=random", "LogControlCharacters=escape", "LogKeepDays=2", "RefuseUnknownFirst=0"],
             ([False, True], True, False)),
            (["SessionKey=RANDOM", "LogControlCharacters=1", "LogKeepDays=-1", "RefuseUnknownFirst=yes"],
             ([True, True], False, True)),
            (["Status=2", "LogControlCharacters=ESCAPE", "LogKeepDays=36501", "EndRetriesWithSession=on"],
             ([True, True], False, True)),
        ]  # fmt: skip
        for keys, expected in rows:
            with self.subTest(keys):
                *found, messages = self.run_with(*keys)
                self.assertEqual(tuple(found), expected)
                warned = [line for line in messages if line.startswith("ZMQ.ini: ")]
                self.assertEqual(len(warned), 4 if expected[2] and keys else 0)


class Ending(WireTest):
    def test_the_log_is_complete(self):
        gateway = self.start()
        client = self.socket(zmq.REQ, gateway.port())
        for number in range(300):
            ask(client, b'{"Request":"LOGOUT","SessionKey":"key-%d"}' % number)
        self.assertEqual(gateway.end(), 0)
        messages = gateway.messages()
        for number in range(300):
            self.assertEqual(messages.count(f"RemoveLoginInfo(key-{number})"), 1)
        self.assertEqual(messages.count('[RepWorker]SendData:{"Reply":"LOGOUT","Success":"OK"}'), 300)

    def test_it_ends_while_clients_wait(self):
        gateway = self.start()
        client = self.socket(zmq.DEALER, gateway.port())
        for _ in range(2000):
            client.send_multipart([b"", b'{"Request":"FOO"}'])
        client.recv_multipart()
        self.assertEqual(gateway.end(), 0)

    def test_it_ends_while_the_platform_keeps_a_handler(self):
        gateway = self.start_slow(10_000)
        with gateway.logged_in_client() as client:
            self.keep_workers(gateway, client, 1)
        started = time.monotonic()
        self.assertEqual(gateway.end(), 0)
        self.assertLess(time.monotonic() - started, 8)  # the handler is kept for ten


class Kept(WireTest):
    def test_workers_that_are_kept_keep_no_request_of_others(self):
        """From a burst on one connection, and from clients that wait for each reply."""
        gateway = self.start_slow(10_000)
        with gateway.logged_in_client() as client:
            for kept in (1, 2, 3):
                self.keep_workers(gateway, client, kept)
                clients = [self.socket(zmq.DEALER, client.port) for _ in range(10)]
                pong = client.compose("PONG")
                for each in clients + 390 * clients[:1]:
                    each.send_multipart([b"", pong])
                for each in clients + 390 * clients[:1]:
                    self.assertTrue(each.poll(6000), f"{kept} kept")
                    each.recv_multipart()
                for each in 20 * clients:
                    each.send_multipart([b"", pong])
                    self.assertTrue(each.poll(6000), f"{kept} kept")
                    each.recv_multipart()


class LargeRequests(WireTest):
    def test_none_stalls(self):
        gateway = self.start()  # a busy machine stalls, too, but not again and again
        self.assertTrue(any(gateway.slowest_large_request() < 0.5 * SLOWNESS for _ in range(3)))


class Exports(unittest.TestCase):
    def test_the_names_that_other_modules_look_for(self):
        words = ["nm", "-D", "--defined-only", "--format=just-symbols", PROGRAM]
        names = subprocess.run(words, capture_output=True, text=True, check=True).stdout.split()
        self.assertLessEqual(set(EXPORTS), set(names))
        self.assertFalse([name for name in names if re.match("_ZN?K?7halvane", name)], "the house's own are nobody's")


class Limits(WireTest):
    """What the system grants runs out: the gateway goes on, and says so."""

    def start_limited(self, kind, limit):
        gateway = self.new_gateway()
        grant = lambda: resource.setrlimit(kind, (limit, limit))
        gateway.start("paper:", gateway.system_name, SERVICE_KEY, preexec_fn=grant)
        gateway.logged("[PublishWorker]working...")
        return gateway

    def test_more_connections_than_descriptors(self):
        gateway = self.start_limited(resource.RLIMIT_NOFILE, 256)
        for worker, port in ("RequestBroker", "RepPort:"), ("PublishWorker", "PublishPort:"):
            with self.subTest(worker):
                port = int(gateway.logged(port))
                crowd = [socket.create_connection(("127.0.0.1", port)) for _ in range(400)]
                gateway.logged(f"[{worker}]no descriptors left: ")
                used, started = gateway.processor_time(), time.monotonic()
                time.sleep(3)
                self.assertLess((gateway.processor_time() - used) / (time.monotonic() - started), 0.2)
                for connection in crowd:
                    connection.close()
                until(lambda: gateway.descriptors() < 100, "the end of the crowd")
                with gateway.client() as client:
                    self.assertEqual(client.request("PONG")["Reply"], "PONG")

    def test_a_file_at_its_limit(self):
        gateway = self.start_limited(resource.RLIMIT_FSIZE, 1 << 20)
        with gateway.client() as client:
            for _ in range(6):
                self.assertEqual(client.request("PONG", Text="x" * 300_000)["Reply"], "PONG")
        self.assertEqual(gateway.end(), 0)


class Served(WireTest):
    """Strangers and clients of one gateway."""

    @classmethod
    def setUpClass(cls):
        cls.gateway = Gateway(PROGRAM)
        cls.addClassCleanup(cls.gateway.remove)
        cls.gateway.start_on_paper()
        cls.port = cls.gateway.port()
        cls.gateway.logged("[PublishWorker]working...")

    @classmethod
    def tearDownClass(cls):
        # Sanitizers report at the end, by the exit code.
        code = cls.gateway.end()
        if code:
            raise AssertionError(f"the gateway ended with {code}")

    def client(self):
        return self.socket(zmq.REQ, self.port)

    def test_a_message_without_envelope_or_beyond_the_bound_harms_nobody(self):
        for frames in ([b'{"Request":"FOO"}'], [b"", b"x" * 20_000_000]):
            self.socket(zmq.DEALER, self.port).send_multipart(frames)
            for _ in range(8):
                self.assertEqual(ask(self.client(), b'{"Request":"FOO"}'), UNDEFINED)

    def test_something_that_is_no_zeromq_harms_nobody(self):
        with socket.create_connection(("127.0.0.1", self.port)) as stranger:
            stranger.sendall(b"GET / HTTP/1.1\r\n\r\n" * 100)
            self.assertEqual(ask(self.client(), b'{"Request":"FOO"}'), UNDEFINED)

    def test_clients_that_leave_do_not_hold_up_others(self):
        for _ in range(20):
            leaver = zmq.Context.instance().socket(zmq.DEALER)
            leaver.setsockopt(zmq.LINGER, 500)
            leaver.connect(f"tcp://127.0.0.1:{self.port}")
            for _ in range(50):
                leaver.send_multipart([b"", b'{"Request":"FOO"}'])
            leaver.close()
        client = self.client()
        for _ in range(50):
            self.assertEqual(ask(client, b'{"Request":"FOO"}'), UNDEFINED)

    def test_the_demonstration_passes(self):
        log = next(self.gateway.folder.glob("logs/*"))
        for where in (["--port", str(self.port)], ["--log", log]):
            demo = self.gateway.run_demo(*where)
            self.assertEqual(demo.returncode, 0, demo.stderr + demo.stdout)
            self.assertIn('{"Reply":"NEWORDER","Success":"OK"}', demo.stdout)
            self.assertIn('{"DataType":"EXECUTIONREPORT"', demo.stdout)


if __name__ == "__main__":
    unittest.main()
