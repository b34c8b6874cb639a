"""Clients that read what they are told: a mix of all requests with good and hostile content, where every reply is
known beforehand, one that asks honestly and takes the time, and one that hears all publications. Each runs in a
process of its own, given where the gateway is and an event that ends it."""

import collections
import json
import pathlib
import random
import struct
import sys
import time

import zmq

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent.parent / "tests"))
from running_gateway import ROOT, connect

PATIENCE = 180  # seconds, then a reply is lost: a slow build has much to do behind an attack
WINDOW = 4  # requests that a client of the mix has under way
PAUSE = 0.002  # of the honest client between two requests
MASK = "PAPER-1000001"
STOCK, OPTIONS = "OV.S.PAPX.ALFA", ("OV.O.PAPF.IDX.202612.C.19000", "OV.O.PAPF.IDX.202612.C.20000")
ORDER = {"BrokerID": "PAPER", "Account": "1000001", "Symbol": STOCK, "Side": "1", "OrderType": "2", "Price": "95",
         "TimeInForce": "1", "OrderQty": "1"}  # fmt: skip
GONE = {"ReportID": "R1-1", "OrderQty": "2", "Price": "95.00000000005"}

# What a request has beside its session; what its reply begins with, where that is not OK.
KINDS = {
    "LOGIN": ({}, None),
    "RESTOREREPORT": ({"QryIndex": "0"}, None),
    "ACCOUNTS": ({}, None),
    "LOGOUT": ({}, None),
    "NEWORDER": ({"Param": ORDER}, None),
    "REPLACEORDER": ({"Param": GONE}, '{"Reply":"REPLACEORDER","ReportID":"R1-1","Success":"Fail","ErrCode":"131"}'),
    "CANCELORDER": ({"Param": GONE}, '{"Reply":"CANCELORDER","ReportID":"R1-1","Success":"Fail","ErrCode":"131"}'),
    "MARGINS": ({"AccountMask": MASK}, None),
    "POSITIONS": ({"AccountMask": MASK, "QryIndex": "0"}, None),
    "QUERYALLINSTRUMENT": ({"Type": "Stocks", "DateTime": ""}, None),
    "QUERYINSTRUMENTINFO": ({"Symbol": STOCK}, None),
    "PONG": ({}, None),
    "RESTOREFILLREPORT": ({"QryIndex": "0"}, None),
    "OPTCOMB": ({"Param": {"System": "PAPER", "Account": "1000001", "BrokerID": "PAPER", "SymbolA": OPTIONS[0],
                           "SymbolB": OPTIONS[1], "CombDirection": "1", "Quantity": "1"}}, None),
    "QUERYOPTCOMBORDER": ({"AccountMask": MASK, "QryIndex": "0"}, None),
    "QUERYOPTCOMBPOSITION": ({"AccountMask": MASK, "QryIndex": "0"}, None),
    "POSITIONTRACKER": ({"AccountMask": MASK}, None),
    "SENDMESSAGE": ({"Param": {"Type": "LINE", "Token": "soak", "Message": "it holds"}}, None),
    "NEWSTRATEGYORDER": ({"Param": ORDER | {"StrategyType": "SIMPLE"}}, None),
}  # fmt: skip
PLACING = ("NEWORDER", "NEWSTRATEGYORDER", "OPTCOMB")  # of which the platform keeps something
KEPT_KINDS = (*PLACING, "LOGIN")  # a session lasts a minute

NO_REQUEST = b'{"Reply":"Req","Success":"Fail","SessionKey":"","ErrMsg":""}\0'
UNDEFINED = NO_REQUEST.replace(b'"ErrMsg":""', b'"ErrMsg":"Undefined"')
ODD_VALUES = ("", "x" * 10_000, "9" * 400, "-1", "1e308", None, True, -1.5e300, 12345678901234567890, {}, [[]], {"a": {}},
              "\0", "a\0b", "\U0001f4b6", "%s%n%d", "../../etc/passwd", "A&B", "OV.O.&.F.&.S.", "\r\n", "<>\"'\\/")  # fmt: skip
KEPT = ("Request", "SessionKey", "DateTime")  # a date of a day past is waited for


def encode(request):
    return json.dumps(request, ensure_ascii=False, separators=(",", ":")).encode()


def refused(kind, key, reason):
    return f'{{"Reply":"{kind}","Success":"Fail","SessionKey":"{key}","ErrMsg":"{reason}"}}\0'.encode()


def stranger_requests(corpus):
    """(frames, the start of the reply) of what is no request at all, or one that nobody knows."""
    deep = [b"[" * n for n in (1001, 100_000)] + [b'{"Request":' * 100_000]
    torn = [b"", b"\0", b"{", b"null", b'{"Request":1}', b'{"request":"PONG"}', b'{"Request":"PONG"', b"\xff\xfe{}", b'"\xc0\x80"',
            b'{"Request":"PONG","a":1e}', b'{"Request":"PONG","a":' + b"[" * 1001 + b"]" * 1001 + b"}"]  # fmt: skip
    for body in (*deep, *torn, *corpus):
        yield [body], NO_REQUEST
    yield [b'{"Request":"PONG"}', b""], NO_REQUEST
    yield [b'{"Request":"PONG"}'] * 3, NO_REQUEST
    for name in ("", "pong", "PONG ", "\\u0000PONG", "x" * 10_000):
        yield [b'{"Request":"%s","SessionKey":"0"}' % name.encode()], UNDEFINED


def odd_requests(kind, request, members, rng):
    """The same of requests of that kind with something odd about them."""
    of_kind = f'{{"Reply":"{kind}",'.encode()
    holder = request["Param"] if members.get("Param") or kind == "LOGIN" else request
    odd = [name for name in holder if name not in KEPT]
    for name in rng.sample(odd, min(2, len(odd))):
        changed = dict(holder, **{name: rng.choice(ODD_VALUES)})
        yield [encode(dict(request, Param=changed) if holder is not request else changed)], of_kind
    whole = encode(request)
    yield [whole + b"\0" + rng.randbytes(20)], of_kind
    yield [whole[:-1] + b',"Request":"FOO","a":' + b"[" * 900 + b"]" * 900 + b"}"], of_kind
    yield [whole[: rng.randrange(len(whole))]], NO_REQUEST
    if kind not in ("LOGIN", "LOGOUT"):
        yield [encode(dict(request, SessionKey="nobody"))], refused(kind, "nobody", "the Session is illegal")
        yield [encode(dict(request, SessionKey=17))], refused(kind, "", "the Session is illegal")
        if "Param" in request:
            for none in (None, 1, [], "Param"):
                yield [encode(dict(request, Param=none))], refused(kind, request["SessionKey"], "cannot find the Param field")


def pool(where, rng, placing):
    """(kind, frames, the start of the reply, whether it must be OK), good ones and others by halves."""
    corpus = [file.read_bytes() for file in sorted((ROOT / "tests" / "json-corpus" / "test_parsing").glob("*.json"))]
    strangers = list(stranger_requests(corpus))
    for round_ in range(20):
        for kind, (members, reply) in KINDS.items():
            if kind in KEPT_KINDS and not placing:
                continue
            request = {"Request": kind, "SessionKey": where["key"], **members}
            if kind == "LOGIN":
                request = {"Request": kind, "Param": {"SystemName": where["system_name"], "ServiceKey": where["service_key"]}}
            if kind == "LOGOUT":
                request["SessionKey"] = f"nobody-{round_}"
            expected = (reply or f'{{"Reply":"{kind}","Success":"OK"').encode()
            odd = [(kind, *each) for each in odd_requests(kind, request, members, rng)]
            yield from ((kind, [encode(request)], expected) for _ in range(len(odd)))
            yield from odd
            yield "Req", *strangers[rng.randrange(len(strangers))]


class Ledger:
    """What was asked and what came of it."""

    def __init__(self):
        self.replies = collections.Counter()
        self.under_way = {}
        self.sent = self.orders = self.wrong = 0
        self.examples = []

    def ask(self, socket, entry):
        kind, frames, _ = entry
        self.sent += 1
        number = struct.pack(">Q", self.sent)
        self.under_way[number] = entry
        self.orders += kind in PLACING
        socket.send_multipart([number, b"", *frames])

    def take(self, frames):
        kind, asked, expected = self.under_way.pop(frames[0], ("Req", "nothing", b"?"))
        body = frames[-1]
        right = len(frames) == 3 and body.startswith(expected) and body[-1:] == b"\0"
        if right and self.sent % 64 == 0:
            right = isinstance(json.loads(body[:-1]), dict)
        self.replies[kind] += 1
        if not right:
            self.wrong += 1
            self.examples.append(f"{str(asked)[:300]} was answered {body[:300]}")

    def told(self):
        lost = [f"no reply to {str(frames)[:300]}" for _, frames, _ in self.under_way.values()]
        return {"sent": self.sent, "orders": self.orders, "replies": dict(self.replies), "lost": len(lost), "wrong": self.wrong,
                "examples": (self.examples + lost)[:5]}  # fmt: skip


def ask_and_read(stop, where, entries, clients, window, rate=0):
    """Asks for the entries over and over until it is told to stop; then waits for what is missing. With a rate all
    clients together send so many a second, otherwise as many as they are let."""
    sockets = [connect(zmq.DEALER, where["port"]) for _ in range(clients)]
    under_way = dict.fromkeys(sockets, 0)
    poller, ledger = zmq.Poller(), Ledger()
    for each in sockets:
        poller.register(each, zmq.POLLIN)
    begun, end, at = time.monotonic(), None, 0
    while end is None or (ledger.under_way and time.monotonic() < end):
        if end is None and stop.is_set():
            end = time.monotonic() + PATIENCE
        for each in sockets if end is None else ():
            while under_way[each] < window and (not rate or ledger.sent < (time.monotonic() - begun) * rate):
                ledger.ask(each, entries[at % len(entries)])
                under_way[each], at = under_way[each] + 1, at + 1
        for each, _ in poller.poll(2 if rate else 100):
            try:
                while True:
                    ledger.take(each.recv_multipart(zmq.NOBLOCK))
                    under_way[each] -= 1
            except zmq.Again:
                pass
    return ledger.told()


def mix(stop, where, clients, rate, seed, placing=True):
    rng = random.Random(seed)
    entries = list(pool(where, rng, placing))
    rng.shuffle(entries)
    return ask_and_read(stop, where, entries, clients, WINDOW, rate)


def honest(stop, where):
    """One request after the other, and how many seconds each took."""
    client, times, wrong = connect(zmq.REQ, where["port"]), [], 0
    request = encode({"Request": "PONG", "SessionKey": where["key"]})
    while not stop.is_set():
        begun = time.monotonic()
        client.send(request)
        if not client.poll(1000 * PATIENCE):
            return {"times": times, "sent": len(times) + 1, "lost": 1, "examples": ["no reply to an honest PONG"]}
        wrong += client.recv() != b'{"Reply":"PONG","Success":"OK"}\0'
        times.append(time.monotonic() - begun)
        time.sleep(PAUSE)
    return {"times": times, "sent": len(times), "wrong": wrong, "replies": {"PONG": len(times)}}


def listen(stop, where, questions):
    """Hears all publications. Whoever asks by the pipe is told how many reports there were, and the longest pause
    between two of them, in seconds, since he last asked."""
    publications, heard, last, pause = connect(zmq.SUB, where["publish_port"]), 0, time.monotonic(), 0.0
    poller = zmq.Poller()
    poller.register(publications, zmq.POLLIN)
    poller.register(questions.fileno(), zmq.POLLIN)
    while not stop.is_set():
        ready = dict(poller.poll(100))
        try:
            while publications in ready:
                if publications.recv(zmq.NOBLOCK).startswith(b'{"DataType":"EXECUTIONREPORT"'):
                    now = time.monotonic()
                    heard, last, pause = heard + 1, now, max(pause, now - last)
        except zmq.Again:
            pass
        if questions.poll():
            questions.recv()
            questions.send((heard, max(pause, time.monotonic() - last)))
            last, pause = time.monotonic(), 0.0
    return {}
