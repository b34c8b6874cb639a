"""Checks the program from outside, on the paper platform: what it logs, where it listens, what it answers
byte for byte, and how it ends. Takes the path of the program as its last argument."""

import json
import os
import re
import resource
import socket
import subprocess
import time
import unittest

import zmq

from running_gateway import EXPORTS, LINE, ROOT, SERVICE_KEY, Gateway, connect, take_paths, until

(PROGRAM,) = take_paths(1)
SLOWNESS = int(os.environ.get("HALVANE_SLOWNESS", "1"))  # how many times slower the program is built

PARSE_FAILED = b'{"Reply":"Req","Success":"Fail","SessionKey":"","ErrMsg":""}\0'
UNDEFINED = b'{"Reply":"Req","Success":"Fail","SessionKey":"","ErrMsg":"Undefined"}\0'
LOGIN_REFUSED = b'{"Reply":"LOGIN","Success":"Fail","SessionKey":"","ErrMsg":""}\0'


def port_of(system_name):
    """The request port that a system name stands for."""
    units = f"{system_name}-Trade".encode("utf-16-le")
    port = 50000 + sum(units[0::2]) + 256 * sum(units[1::2])
    return port - 10000 if port >= 60000 else port


def members_of(record):
    """The members of a record, in their order."""
    golden = ROOT / "tests" / "golden" / f"{record}.txt"
    return [line.partition("=")[0] for line in golden.read_text().splitlines()]


def hold_from(holder, port):
    """Takes the port, or the next one that nobody holds, as the gateway would."""
    holder.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    while True:
        try:
            holder.bind(("127.0.0.1", port))
            holder.listen()
            return port
        except OSError:
            port += 1


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

    def socket(self, kind, port, host="127.0.0.1"):
        made = connect(kind, port, host)
        self.addCleanup(made.close)
        return made


def ask(client, request):
    client.send(request if isinstance(request, bytes) else json.dumps(request).encode())
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

    def test_the_port_follows_from_the_system_name(self):
        self.assertEqual(port_of("A"), 50606)
        gateway = self.new_gateway()
        expected = port_of(gateway.system_name)
        with socket.socket() as holder:
            if hold_from(holder, expected) != expected:
                self.skipTest(f"port {expected} is taken on this machine")
        gateway.start_on_paper()
        self.assertEqual(gateway.port(), expected)

    def test_a_taken_port_moves_on(self):
        gateway = self.new_gateway()
        with socket.socket() as one, socket.socket() as two:
            taken = hold_from(two, hold_from(one, port_of(gateway.system_name)))
            gateway.start_on_paper()
            port = gateway.port()
        self.assertGreater(port, taken)
        self.assertEqual(ask(self.socket(zmq.REQ, port), b'{"Request":"FOO"}'), UNDEFINED)

    def test_contract_name_and_topics_are_taken_from_the_command_line(self):
        gateway = self.start("Futures:F", "ONE|TWO")
        self.assertEqual(gateway.logged("ContractName:"), "Futures:F")
        gateway.port()
        topics = [line for line in gateway.messages() if line.startswith("SubTopic:")]
        self.assertEqual(topics[:2], ["SubTopic:ONE", "SubTopic:TWO"])

    def test_a_second_one_for_the_same_system_name_ends_at_once(self):
        first = self.start()
        port = first.port()
        second = self.start(system_name=first.system_name)
        self.assertEqual(second.wait(), 0)
        self.assertRegex(second.lines()[-1], r"\[FATAL\]  CheckInstance failed!!$")
        self.assertEqual(ask(self.socket(zmq.REQ, port), b'{"Request":"FOO"}'), UNDEFINED)
        self.assertEqual(first.end(), 0)
        third = self.start(system_name=first.system_name)
        third.port()

    def test_too_few_arguments_end_it_at_once(self):
        for arguments in ([], ["paper:"], ["paper:", "A"]):
            gateway = self.new_gateway()
            gateway.start(*arguments)
            self.assertEqual(gateway.wait(), 0)
            self.assertRegex(gateway.lines()[-1], r"\[FATAL\]  Authentication failed!!$")

    def test_the_address_is_read_from_the_configuration(self):
        gateway = self.new_gateway()
        (gateway.folder / "Configs").mkdir()
        (gateway.folder / "Configs" / "ZMQ.ini").write_text("[ZMQ]\r\nIP=127.0.0.2\r\n")
        gateway.start_on_paper()
        self.assertEqual(gateway.logged("MyIP:"), "127.0.0.2")
        client = self.socket(zmq.REQ, gateway.port(), "127.0.0.2")
        self.assertEqual(ask(client, b"{}"), PARSE_FAILED)


class Ending(WireTest):
    def test_the_log_is_complete(self):
        gateway = self.start()
        client = self.socket(zmq.REQ, gateway.port())
        for number in range(300):
            ask(client, {"Request": "LOGOUT", "SessionKey": f"key-{number}"})
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
        gateway = self.new_gateway()
        slow = {
            "accounts": [{"brokerId": "B", "account": "1", "balance": 1}],
            "exchanges": [{"exchange": "X"}],
            "stocks": [{"security": "A", "exchange": "X", "price": 100, "tick": 1}],
            "incidents": [{"kind": "delayAnswers", "after": 0, "for": 3600, "delayMs": 10000}],
        }
        (gateway.folder / "slow.json").write_text(json.dumps(slow))
        gateway.start(f"paper:{gateway.folder}/slow.json", gateway.system_name, SERVICE_KEY)
        with gateway.logged_in_client() as client:
            asker = self.socket(zmq.REQ, client.port)
            asker.send(client.compose("CANCELORDER", Param={"ReportID": "kept"}))
            until(lambda: any("CANCELORDER" in line for line in gateway.messages()), "the request")
        started = time.monotonic()
        self.assertEqual(gateway.end(), 0)
        self.assertLess(time.monotonic() - started, 8)  # the handler is kept for ten


class LargeRequests(WireTest):
    def test_none_stalls(self):
        self.assertLess(self.start().slowest_large_request(), 0.5 * SLOWNESS)


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
    """One gateway for all tests of the class."""

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

    def log_in(self, client):
        param = {"SystemName": self.gateway.system_name, "ServiceKey": SERVICE_KEY}
        reply = ask(client, {"Request": "LOGIN", "Param": param})
        self.assertRegex(
            reply,
            rb'^\{"Reply":"LOGIN","Success":"OK","SessionKey":"[0-9a-f]{32}","SubPort":"\d{5}"\}\0$',
        )
        return json.loads(reply[:-1])


class Replies(Served):
    def test_exact_bytes(self):
        def failure(name, key, reason):
            return f'{{"Reply":"{name}","Success":"Fail","SessionKey":"{key}","ErrMsg":"{reason}"}}\0'

        illegal = "the Session is illegal"
        rows = [
            (b'{"Request":"FOO"}', UNDEFINED),
            (b'{"Request":"FOO","SessionKey":"abc"}', UNDEFINED),
            (b'{"Request":""}', UNDEFINED),
            (b'{"Request":"login"}', UNDEFINED),
            (b"not json", PARSE_FAILED),
            (b"{}", PARSE_FAILED),
            (b'{"request":"LOGIN"}', PARSE_FAILED),
            (b'{"Request":"LOGIN"}', LOGIN_REFUSED),
            (b'{"Request":"LOGIN","Param":"x"}', LOGIN_REFUSED),
            (b'{"Request":"LOGIN","Param":[]}', LOGIN_REFUSED),
            (b'{"Request":"LOGIN","Param":{}}', LOGIN_REFUSED),
            (b'{"Request":"LOGIN","Param":{"SystemName":"DEMO","ServiceKey":"no"}}', LOGIN_REFUSED),
            (b'{"Request":"LOGIN","Param":{"SystemName":"demo","ServiceKey":"demo-key"}}', LOGIN_REFUSED),
            (b'{"Request":"LOGIN","Param":{"SystemName":7,"ServiceKey":"wire-key"}}', LOGIN_REFUSED),
            (b'{"Request":"LOGOUT"}', b'{"Reply":"LOGOUT","Success":"OK"}\0'),
            (b'{"Request":"LOGOUT","SessionKey":"abc"}', b'{"Reply":"LOGOUT","Success":"OK"}\0'),
            (b'{"Request":"PONG"}', failure("PONG", "", illegal).encode()),
            (b'{"Request":"PONG","SessionKey":5}', failure("PONG", "", illegal).encode()),
            (b'{"Request":"PONG","SessionKey":"a\\"b"}', failure("PONG", 'a\\"b', illegal).encode()),
            (b'{"Request":"ACCOUNTS","SessionKey":"x"}', failure("ACCOUNTS", "x", illegal).encode()),
            (b'{"Request":"NEWORDER","SessionKey":"x"}', failure("NEWORDER", "x", illegal).encode()),
        ]
        client = self.client()
        for request, expected in rows:
            for trailing in (b"", b"\0"):
                with self.subTest(request, trailing=trailing):
                    self.assertEqual(ask(client, request + trailing), expected)

    def test_text_beyond_ascii_comes_back(self):
        key = "Ж😀é"
        request = json.dumps({"Request": "PONG", "SessionKey": key}, ensure_ascii=False).encode()
        escaped = json.dumps({"Request": "PONG", "SessionKey": key}).encode()
        client = self.client()
        for form in (request, escaped):
            self.assertEqual(json.loads(ask(client, form)[:-1])["SessionKey"], key)
            self.assertIn(key.encode(), ask(client, form))

    def test_a_session_from_log_in_to_log_out(self):
        client = self.client()
        key = self.log_in(client)["SessionKey"]
        self.assertNotEqual(self.log_in(client)["SessionKey"], key)
        pong = {"Request": "PONG", "SessionKey": key}
        self.assertEqual(ask(client, pong), b'{"Reply":"PONG","Success":"OK"}\0')
        ask(client, {"Request": "LOGOUT", "SessionKey": key})
        self.assertIn(b"the Session is illegal", ask(client, pong))

    def test_a_session_holds_on_every_connection_and_worker(self):
        key = self.log_in(self.client())["SessionKey"]
        for _ in range(3):
            client = self.client()
            for _ in range(8):
                reply = ask(client, {"Request": "PONG", "SessionKey": key})
                self.assertEqual(reply, b'{"Reply":"PONG","Success":"OK"}\0')


class HostileRequests(Served):
    def expect_one_reply(self, frames, expected=None):
        """A DEALER would see a second reply, a REQ would not."""
        client = self.socket(zmq.DEALER, self.port)
        client.send_multipart([b"", *frames])
        empty, reply = client.recv_multipart()
        self.assertEqual(empty, b"")
        if expected is None:
            self.assertEqual(json.loads(reply[:-1])["Success"], "Fail")
            self.assertEqual(reply[-1:], b"\0")
        else:
            self.assertEqual(reply, expected)
        client.send_multipart([b"", b'{"Request":"PONG","SessionKey":"next"}'])
        _, reply = client.recv_multipart()
        self.assertIn(b'"SessionKey":"next"', reply)

    def test_each_gets_one_reply_and_the_next_is_served(self):
        million = 1_000_000
        rows = {
            "no JSON": (b"GET / HTTP/1.1\r\n\r\n", PARSE_FAILED),
            "nothing": (b"", PARSE_FAILED),
            "a zero byte": (b"\0", PARSE_FAILED),
            "cut by a zero byte": (b'{"Request":\0"FOO"}', PARSE_FAILED),
            "more behind the zero byte": (b'{"Request":"FOO"}\0{"Request":"LOGOUT"}', UNDEFINED),
            "an array": (b'["LOGIN"]', PARSE_FAILED),
            "a string": (b'"LOGIN"', PARSE_FAILED),
            "a number": (b"1", PARSE_FAILED),
            "null": (b"null", PARSE_FAILED),
            "numeric Request": (b'{"Request":5}', PARSE_FAILED),
            "Request is an object": (b'{"Request":{"Request":"LOGIN"}}', PARSE_FAILED),
            "Request is null": (b'{"Request":null}', PARSE_FAILED),
            "not UTF-8": (b'{"Request":"\xff\xfe"}', PARSE_FAILED),
            "half a character": (b'{"Request":"FOO","a":"\xc3"}', PARSE_FAILED),
            "over-long UTF-8": (b'{"Request":"FOO","a":"\xc0\x80"}', PARSE_FAILED),
            "a surrogate in UTF-8": (b'{"Request":"FOO","a":"\xed\xa0\x80"}', PARSE_FAILED),
            "a byte-order mark": (b'\xef\xbb\xbf{"Request":"FOO"}', PARSE_FAILED),
            "half a surrogate pair": (b'{"Request":"FOO","a":"\\udc00"}', PARSE_FAILED),
            "deep arrays": (b"[" * million, PARSE_FAILED),
            "deep arrays, closed": (b"[" * million + b"]" * million, PARSE_FAILED),
            "deep in a member": (b'{"Request":"FOO","a":' + b"[" * million + b"]" * million + b"}", PARSE_FAILED),
            "deep objects": (b'{"a":' * million, PARSE_FAILED),
            "a huge negative exponent": (b'{"Request":"FOO","a":0.' + b"0" * 400 + b"1e-2147483639}", UNDEFINED),
            "a small number alone": (b"0.0000000000000000000000000e-325", PARSE_FAILED),
            "a small number": (b'{"Request":"FOO","a":0.' + b"0" * 349 + b"}", UNDEFINED),
            "beyond the largest double": (b'{"Request":"FOO","a":17976931348623159e292}', PARSE_FAILED),
            "8 MB of name": (b'{"Request":"' + b"x" * 8_000_000 + b'"}', UNDEFINED),
            "8 MB of key": (b'{"Request":"LOGIN","Param":{"ServiceKey":"' + b"x" * 8_000_000 + b'"}}', LOGIN_REFUSED),
            "formats": (b'{"Request":"%s%n%s%n%s%n","SessionKey":"%s%n"}', UNDEFINED),
            "a zero in the text": (b'{"Request":"LOGIN\\u0000"}', UNDEFINED),
            "a line break": (b'{"Request":"FOO\\r\\n00:00:00.000"}', UNDEFINED),
        }  # fmt: skip
        for name, (request, expected) in rows.items():
            for trailing in (b"", b"\0"):
                with self.subTest(name, trailing=trailing):
                    self.expect_one_reply([request + trailing], expected)

    def test_a_key_keeps_its_length(self):
        reply = ask(self.client(), b'{"Request":"PONG","SessionKey":"a\\u0000b"}')
        self.assertEqual(json.loads(reply[:-1])["SessionKey"], "a\0b")

    def test_two_body_frames_run_nothing_and_get_one_reply(self):
        key = self.log_in(self.client())["SessionKey"]
        log_out = json.dumps({"Request": "LOGOUT", "SessionKey": key}).encode()
        self.expect_one_reply([log_out, log_out])
        self.expect_one_reply([log_out, b""])
        self.expect_one_reply([b""] * 1000)
        reply = ask(self.client(), {"Request": "PONG", "SessionKey": key})
        self.assertEqual(reply, b'{"Reply":"PONG","Success":"OK"}\0')

    def test_a_message_without_envelope_or_beyond_the_bound_harms_nobody(self):
        for frames in ([b'{"Request":"FOO"}'], [b"", b"x" * 20_000_000]):
            self.socket(zmq.DEALER, self.port).send_multipart(frames)
            for _ in range(8):
                self.assertEqual(ask(self.client(), b'{"Request":"FOO"}'), UNDEFINED)

    def test_something_that_is_no_zeromq_harms_nobody(self):
        with socket.create_connection(("127.0.0.1", self.port)) as stranger:
            stranger.sendall(b"GET / HTTP/1.1\r\n\r\n" * 100)
            self.assertEqual(ask(self.client(), b'{"Request":"FOO"}'), UNDEFINED)


class Pipelining(Served):
    def test_four_clients_get_each_their_own_replies_once(self):
        clients = [self.socket(zmq.DEALER, self.port) for _ in range(4)]
        for number in range(500):
            for name, client in enumerate(clients):
                request = {"Request": "PONG", "SessionKey": f"client {name} request {number}"}
                client.send_multipart([b"%d" % number, b"", json.dumps(request).encode()])
        for name, client in enumerate(clients):
            numbers = []
            for _ in range(500):
                number, _, reply = client.recv_multipart()
                numbers.append(int(number))
                key = json.loads(reply[:-1])["SessionKey"]
                self.assertEqual(key, f"client {name} request {int(number)}")
            self.assertCountEqual(numbers, range(500))
        for client in clients:
            self.assertFalse(client.poll(50), "a reply too many")

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


class Orders(Served):
    def setUp(self):
        self.requests = self.client()
        login = self.log_in(self.requests)
        self.key = login["SessionKey"]
        self.publications = self.socket(zmq.SUB, login["SubPort"])
        self.assertEqual(self.gateway.logged("PublishPort:"), login["SubPort"])

    def ask(self, name, **members):
        reply = ask(self.requests, {"Request": name, "SessionKey": self.key} | members)
        return json.loads(reply[:-1])

    def account(self):
        reply = until(lambda: self.ask("ACCOUNTS")["Accounts"], "an account")[0]
        self.assertEqual(list(reply), members_of("account.published"))
        self.assertEqual(reply["AccountMask"], f"{reply['BrokerID']}-{reply['Account']}")
        return {"BrokerID": reply["BrokerID"], "Account": reply["Account"]}

    def order(self, **fields):
        common = {"Symbol": "OV.S.PAPX.ALFA", "Side": "1", "OrderQty": "100"}
        return self.ask("NEWORDER", Param=self.account() | common | fields)

    def reports_of(self, user_key, done):
        """The reports of the order, as they are published, up to the one that is `done`."""
        reports = []
        while not (reports and done(reports[-1])):
            frame = self.publications.recv()
            self.assertEqual((frame[-1:], frame.count(b"\0")), (b"\0", 1))
            publication = json.loads(frame[:-1])
            if publication["DataType"] == "EXECUTIONREPORT":
                self.assertTrue(frame.startswith(b'{"DataType":"EXECUTIONREPORT","Report":{"ReportID":"'))
                if publication["Report"]["UserKey1"] == user_key:
                    reports.append(publication["Report"])
        return reports

    def test_a_market_order_is_reported_until_it_is_filled(self):
        # What a client sends as price of a market order counts for nothing.
        reply = self.order(OrderType="1", Price="50", StopPrice="49", UserKey1="to be filled")
        self.assertEqual(reply, {"Reply": "NEWORDER", "Success": "OK"})
        reports = self.reports_of("to be filled", lambda report: report["CumQty"] == report["OrderQty"])
        for report in reports:
            self.assertEqual(list(report), members_of("execution_report.published"))
            self.assertTrue(all(isinstance(value, str) for value in report.values()), report)
            self.assertEqual(report["OrgSource"], "Halvane")
            self.assertNotIn("50", (report["Price"], report["StopPrice"]))
            self.assertEqual(int(report["CumQty"]) + int(report["LeavesQty"]), 100)
        self.assertEqual(len({report["ReportID"] for report in reports}), 1)
        self.assertGreater(float(reports[-1]["AvgPrice"]), 0)

    def test_a_limit_order_rests_and_carries_its_user_keys(self):
        reply = self.order(OrderType="2", Price="108.50", UserKey1="to rest", UserKey2="b", UserKey7="g;h")
        self.assertEqual(reply, {"Reply": "NEWORDER", "Success": "OK"})
        report = self.reports_of("to rest", lambda report: report["OrderID"])[-1]
        self.assertEqual(report["Price"], "108.5")
        self.assertEqual(report["CumQty"], "0")
        at = list(report).index("UserKey2")
        self.assertEqual(list(report)[at - 1 : at + 2], ["UserKey1", "UserKey2", "UserKey7"])
        self.assertEqual((report["UserKey2"], report["UserKey7"]), ("b", "g;h"))

    def test_refusals(self):
        reply = self.order(OrderType="2", Price="110", OrderQty="0")
        self.assertEqual(list(reply), ["Reply", "Success", "ErrCode"])
        self.assertEqual((reply["Reply"], reply["Success"]), ("NEWORDER", "Fail"))
        self.assertRegex(reply["ErrCode"], r"^-?\d+$")
        failure = {"Reply": "NEWORDER", "Success": "Fail", "SessionKey": self.key}
        self.assertEqual(self.order(Symbol="ALFA"), failure | {"ErrMsg": "symbol is error!!"})
        for param in ({}, {"Param": "x"}):
            reply = self.ask("NEWORDER", **param)
            self.assertEqual(reply, failure | {"ErrMsg": "cannot find the Param field"})

    def test_each_heartbeat_is_one_frame(self):
        def pings():
            return [line for line in self.gateway.messages() if "SendData" in line and "PING" in line]

        self.assertEqual(pings()[0], '[PublishWorker]SendData:{"DataType":"PING"}')


class TheClient(Served):
    def test_the_demonstration_passes(self):
        log = next(self.gateway.folder.glob("logs/*"))
        for where in (["--port", str(self.port)], ["--log", log]):
            demo = self.gateway.run_demo(*where)
            self.assertEqual(demo.returncode, 0, demo.stderr + demo.stdout)
            self.assertIn('{"Reply":"NEWORDER","Success":"OK"}', demo.stdout)
            self.assertIn('{"DataType":"EXECUTIONREPORT"', demo.stdout)


if __name__ == "__main__":
    unittest.main()
