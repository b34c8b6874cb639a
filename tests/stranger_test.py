"""Checks that nobody who reaches the ports can end, fill or hold up the gateway: resets, replies that are never
read, floods, signals while no port is free. Takes the path of the program as its last argument."""

import contextlib
import json
import os
import pathlib
import resource
import socket
import struct
import time
import unittest

import zmq

from running_gateway import SERVICE_KEY, Gateway, connect, take_paths, until

(PROGRAM,) = take_paths(1)

GREETING = b"\xff" + bytes(8) + b"\x7f\x03\x00" + b"NULL".ljust(20, b"\0") + bytes(32)
READY = b"\x04\x1c\x05READY\x0bSocket-Type\x00\x00\x00\x06DEALER"
MARKET = {
    "accounts": [{"brokerId": "PAPER", "account": "1", "balance": 1000}],
    "exchanges": [{"exchange": "PAPX"}],
    "stocks": [{"security": "ALFA", "exchange": "PAPX", "price": 120, "tick": 0.05}],
}
UNDEFINED = b'{"Reply":"Req","Success":"Fail","SessionKey":"","ErrMsg":"Undefined"}\0'


def memory_of(gateway):
    """What the process holds, in bytes."""
    status = pathlib.Path(f"/proc/{gateway.process.pid}/status").read_text(encoding="ascii")
    return 1024 * int(status.partition("VmRSS:")[2].split()[0])


def ports_of(gateway):
    """Where it listens; the relay port, which it tells nobody, is the lowest one."""
    process = pathlib.Path(f"/proc/{gateway.process.pid}")
    own = set()
    for file in process.glob("fd/*"):
        with contextlib.suppress(FileNotFoundError):  # closed meanwhile
            own.add(os.readlink(file))
    rows = [line.split() for line in (process / "net" / "tcp").read_text().splitlines()[1:]]
    return [int(row[1].rpartition(":")[2], 16) for row in rows if row[3] == "0A" and f"socket:[{row[9]}]" in own]


def frames(body):
    """A request as it goes over a connection: an empty frame and the body."""
    return b"\x01\x00\x02" + struct.pack(">Q", len(body)) + body


class StrangerTest(unittest.TestCase):
    def setUp(self):
        self.gateway = Gateway(PROGRAM)
        self.addCleanup(self.gateway.remove)

    def start(self, *incidents):
        market = self.gateway.folder / "market.json"
        market.write_text(json.dumps(MARKET | {"incidents": incidents}))
        self.gateway.start(f"paper:{market}", self.gateway.system_name, SERVICE_KEY)
        self.port = self.gateway.port()

    def socket(self, kind):
        made = connect(kind, self.port)
        self.addCleanup(made.close)
        return made

    def raw_peer(self):
        """A connection that says what a DEALER socket says and then what it is told to."""
        peer = socket.create_connection(("127.0.0.1", self.port))
        peer.sendall(GREETING + READY)
        said = b""
        while b"READY" not in said:  # what comes before is taken for a part of the greeting
            said += peer.recv(1024)
        peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))  # close is a reset
        return peer

    def takes_long(self, client, request):
        begin = time.monotonic()
        client.send_multipart([b"", request])
        client.recv_multipart()
        return time.monotonic() - begin > 1

    def expect_served(self):
        client = self.socket(zmq.REQ)
        for _ in range(8):  # all four workers
            client.send(b'{"Request":"FOO"}')
            self.assertEqual(client.recv(), UNDEFINED)

    def test_connections_that_are_reset_while_their_input_is_stopped(self):
        self.start({"kind": "delayAnswers", "after": 0, "for": 60, "delayMs": 3000})
        key = self.gateway.logged_in_client().session_key
        delayed = json.dumps({"Request": "ACCOUNTS", "SessionKey": key}).encode()
        holder = self.socket(zmq.DEALER)
        until(lambda: self.takes_long(holder, delayed), "the delay")
        for _ in range(20):
            holder.send_multipart([b"", delayed])
        request = frames(b'{"Request":"FOO"}')
        floods = [self.raw_peer() for _ in range(20)]
        for flood in floods:
            flood.settimeout(0.2)
            try:
                for _ in range(50):
                    flood.sendall(request * 1000)
            except TimeoutError:
                pass
            flood.close()
        time.sleep(11)  # a heartbeat of the library's would have fallen due
        self.assertIsNone(self.gateway.process.poll())
        self.expect_served()

    def clients_with_lost_replies(self):
        files = self.gateway.folder.glob("logs/*")
        return sum(file.read_bytes().count(b"[RequestBroker]client ") for file in files)

    def test_replies_that_nobody_reads(self):
        self.start()
        flood = self.raw_peer()
        self.addCleanup(flood.close)
        request = frames(json.dumps({"Request": "PONG", "SessionKey": "x" * 1_000_000}).encode())
        for _ in range(120):
            flood.sendall(request)
        self.gateway.logged("[RequestBroker]client ")
        self.expect_served()
        self.assertLess(memory_of(self.gateway), 500 << 20)
        self.assertEqual(self.clients_with_lost_replies(), 1)

    def test_who_joins_the_workers_is_dealt_nothing(self):
        self.start()
        relay = until(lambda: min(ports_of(self.gateway)) < 50000 and min(ports_of(self.gateway)), "the relay port")
        joined = zmq.Context()
        self.addCleanup(joined.destroy, 0)
        strangers = []
        for kind, secret in [(zmq.REP, None), (zmq.REP, b"guessed"), (zmq.DEALER, None)]:
            strangers.append(joined.socket(kind))
            if secret:
                strangers[-1].plain_username, strangers[-1].plain_password = b"halvane", secret
            strangers[-1].connect(f"tcp://127.0.0.1:{relay}")
        self.gateway.logged("[RequestBroker]relay port: ")
        self.expect_served()
        self.assertFalse([stranger for stranger in strangers if stranger.poll(0)])
        told = [line for line in self.gateway.messages() if line.startswith("[RequestBroker]relay port: ")]
        self.assertEqual(len(told), 1, told)

    def test_large_requests_come_faster_than_they_are_served(self):
        self.start()
        client, large = self.socket(zmq.REQ), json.dumps({"Request": "PONG", "SessionKey": "x" * 1_000_000}).encode()

        def seconds_of_work(requests):  # of the gateway, which is asked one after the other
            begin = self.gateway.processor_time()
            for request in requests:
                client.send(request)
                client.recv()
            return self.gateway.processor_time() - begin

        alone = seconds_of_work(20 * [large]) / 20
        for _ in range(4):
            flood = self.raw_peer()
            self.addCleanup(flood.close)
            flood.settimeout(0.2)
            try:
                for _ in range(300):
                    flood.sendall(frames(large))
            except TimeoutError:
                pass
        # Of 1,200 large ones some dozens go before it; what several cores do at once adds up.
        self.assertLess(seconds_of_work([b'{"Request":"FOO"}']), max(1, 100 * alone))
        self.assertLess(memory_of(self.gateway), 800 << 20)

    def test_no_publish_port_and_few_descriptors(self):
        """An address that is no machine's: the search goes on, and a signal ends it."""
        (self.gateway.folder / "Configs").mkdir()
        (self.gateway.folder / "Configs" / "ZMQ.ini").write_text("[ZMQ]\nIP=192.0.2.1\n")
        few = lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (1024, 1024))
        self.gateway.start("paper:", self.gateway.system_name, SERVICE_KEY, preexec_fn=few)
        self.gateway.logged("[PublishWorker]StartService()")
        time.sleep(3)
        self.assertIsNone(self.gateway.process.poll())
        self.assertEqual(self.gateway.end(), 0)


if __name__ == "__main__":
    unittest.main()
