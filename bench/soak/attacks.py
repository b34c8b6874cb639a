"""What strangers and careless clients do to a gateway, each until it is told to stop. They give back what they have
tried; what they do not read they do not miss."""

import random
import socket
import struct
import time

import zmq

from clients import ORDER, ask_and_read, encode
from running_gateway import connect

HOST = "127.0.0.1"
GREETING = b"\xff" + bytes(8) + b"\x7f\x03\x00" + b"NULL".ljust(20, b"\0") + bytes(32)
READY = {kind: b"\x04" + bytes([22 + len(kind)]) + b"\x05READY\x0bSocket-Type" + struct.pack(">I", len(kind)) + kind
         for kind in (b"DEALER", b"SUB")}  # fmt: skip
QUEUED = 64  # requests of a connection that wait at the front
MIB = 1 << 20


def frame(body, more=False):
    return bytes([2 | more]) + struct.pack(">Q", len(body)) + body


def message(body):
    return frame(b"", True) + frame(body)


def peer(port, kind=b"DEALER", reset=True):
    """A connection that has said what such a socket says."""
    made = socket.create_connection((HOST, port))
    made.sendall(GREETING + READY[kind])
    made.settimeout(0.2)
    if reset:
        made.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    return made


def push(made, data, times):
    """Sends as much of it as is taken."""
    try:
        for _ in range(times):
            made.sendall(data)
    except (TimeoutError, ConnectionError):
        pass


def pong(where, padding):
    return encode({"Request": "PONG", "SessionKey": where["key"], "Padding": "x" * padding})


def calm(stop, _where):
    """Nothing beside the mix."""
    stop.wait()
    return {"tried": "nothing"}


def orders(stop, where):
    request = encode({"Request": "NEWORDER", "SessionKey": where["key"], "Param": ORDER})
    begun = time.monotonic()
    told = ask_and_read(stop, where, [("NEWORDER", [request], b'{"Reply":"NEWORDER","Success":"OK"}')], 4, 64)
    return told | {"tried": f"{told['sent'] / (time.monotonic() - begun):,.0f} orders a second"}


def log_ins(stop, where):
    request = encode({"Request": "LOGIN", "Param": {"SystemName": where["system_name"], "ServiceKey": where["service_key"]}})
    told = ask_and_read(stop, where, [("LOGIN", [request], b'{"Reply":"LOGIN","Success":"OK"')], 4, 8, rate=1000)
    return told | {"tried": f"{told['sent']:,} log-ins that never log out"}


def ask_at_length(stop, where, size, rate):
    told = ask_and_read(stop, where, [("PONG", [pong(where, size)], b'{"Reply":"PONG","Success":"OK"}')], 2, 1, rate)
    return told | {"tried": f"{told['sent']} requests of {size / 1e6:g} MB"}


def large(stop, where):
    return ask_at_length(stop, where, 300_000, 50)


def huge(stop, where):
    return ask_at_length(stop, where, 15_000_000, 2)


def too_large(stop, where):
    tried, request = 0, message(b"x" * (16 * MIB + 1))
    while not stop.is_set():
        with peer(where["port"]) as made:
            push(made, request, 1)
        tried += 1
        stop.wait(0.05)
    return {"tried": f"{tried} requests of more than 16 MiB"}


def vanish(stop, where):
    tried, requests = 0, message(pong(where, 100)) * 200
    while not stop.is_set():
        crowd = [peer(where["port"], reset=n % 2 == 0) for n in range(20)]
        for each in crowd:
            push(each, requests, 1)
        for each in crowd:
            each.close()
        tried += len(crowd)
        stop.wait(0.1)
    return {"tried": f"{tried} clients that send 200 requests and go"}


def never_read(stop, where):
    """Together they ask for more than may wait unread, and again when that has been served."""
    clients, each_asks, tried = 12, 25, 0
    request = message(encode({"Request": "PONG", "SessionKey": "x" * MIB}))
    while not stop.is_set():
        crowd = [peer(where["port"]) for _ in range(clients)]
        for made in crowd * each_asks:
            push(made, request, 1)
        tried += clients * each_asks
        stop.wait(5)
        for made in crowd:
            made.close()
    return {"tried": f"{clients} clients, {tried} replies of 1 MiB, none read", "waiting": clients * each_asks * MIB}


def half_open(stop, where):
    beginnings = (b"", GREETING[:10], GREETING, GREETING + READY[b"DEALER"][:9], GREETING + READY[b"DEALER"] + b"\x02\0\0\0")
    crowd, tried = [], 0
    while not stop.wait(0.01):
        crowd.append(socket.create_connection((HOST, where["port" if tried % 3 else "publish_port"])))
        crowd[-1].sendall(beginnings[tried % len(beginnings)])
        tried += 1
        if len(crowd) > 300:
            crowd.pop(0).close()
    return {"tried": f"{tried} connections that stop in the midst"}


def malformed(stop, where):
    rng, tried = random.Random(1), 0
    ready = GREETING + READY[b"DEALER"]
    beginnings = (b"GET / HTTP/1.1\r\n\r\n" * 50, rng.randbytes(5000), GREETING + rng.randbytes(300),
                  GREETING.replace(b"NULL", b"PLAIN"), ready + frame(b'{"Request":"FOO"}'), ready + frame(b"", True) * 5000,
                  ready + b"\x02" + b"\x7f" + b"\xff" * 7, ready + b"\x04\x04PING", ready + b"\xff" * 100,
                  ready + message(b"\xff" * 1000))  # fmt: skip
    while not stop.wait(0.002):
        with socket.create_connection((HOST, where["port" if tried % 3 else "publish_port"])) as made:
            made.settimeout(0.2)
            push(made, beginnings[tried % len(beginnings)], 1)
        tried += 1
    return {"tried": f"{tried} connections that speak nonsense"}


def come_and_go(stop, where, subscriptions, size):
    """Subscribers that read nothing, and a crowd in which somebody else comes and goes all the time."""
    stalled = [peer(where["publish_port"], b"SUB") for _ in range(50)]
    for each in stalled:
        push(each, frame(b"\x01"), 1)
    rng, crowd, tried = random.Random(1), [], 0
    while not stop.wait(0.02):
        crowd.append(connect(zmq.SUB, where["publish_port"]))
        for _ in range(subscriptions):
            crowd[-1].setsockopt(zmq.SUBSCRIBE, rng.randbytes(size))
        tried += 1
        if len(crowd) > 50:
            crowd.pop(rng.randrange(50)).close()
    return {"tried": f"50 stalled subscribers, {tried} that come and go with {subscriptions} topics of {size} bytes"}


def subscribers(stop, where):
    return come_and_go(stop, where, 1, 30)


def subscribers_of_much(stop, where):
    return come_and_go(stop, where, 20, 200)


def subscribe_at_length(stop, where, size, pause):
    tried, connections = 0, []
    while not stop.wait(pause):
        connections.append(peer(where["publish_port"], b"SUB"))
        connections[-1].settimeout(30)
        push(connections[-1], frame(b"\x01" + random.Random(tried).randbytes(size)), 1)
        tried += 1
    for each in connections:
        each.close()
    return {"tried": f"{tried} subscriptions of {size / 1e6:g} MB"}


def subscriptions_of_100_kb(stop, where):
    return subscribe_at_length(stop, where, 100_000, 0.1)


def subscriptions_of_10_mb(stop, where):
    return subscribe_at_length(stop, where, 10_000_000, 3)


def one_large_frame(stop, where):
    with peer(where["publish_port"], b"SUB") as made:
        made.settimeout(30)
        push(made, b"\x02" + struct.pack(">Q", 1_500_000_000), 1)
        push(made, bytes(1_000_000), 1499)
        stop.wait()
    return {"tried": "one frame of 1.5 GB at the publish port"}


def requests_at_once(stop, where):
    """Requests come faster than they can be served."""
    crowd, request, tried = [peer(where["port"]) for _ in range(4)], message(pong(where, 15 * MIB)), 0
    while not stop.is_set():
        for each in crowd:
            each.settimeout(0.5)
            push(each, request, 1)
            tried += 1
    for each in crowd:
        each.close()
    return {"tried": f"{tried} requests of 15 MiB, sent at once", "waiting": len(crowd) * QUEUED * 15 * MIB}


ATTACKS = {each.__name__: each for each in (calm, orders, log_ins, large, huge, too_large, vanish, never_read, half_open,
                                            malformed, subscribers)}  # fmt: skip
# Those against which nothing protects, as the manual says: tried when they are named.
HEAVY = {each.__name__: each for each in (subscribers_of_much, subscriptions_of_100_kb, subscriptions_of_10_mb, one_large_frame,
                                          requests_at_once)}  # fmt: skip
