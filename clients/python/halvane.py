"""A small client of the Halvane gateway: requests, their replies, and publications.

    client = Client(50834)                       # the gateway's request port
    client.log_in("DEMO", "demo-key")
    print(client.request("ACCOUNTS")["Accounts"])
    client.subscribe()
    for publication in client.publications():
        print(publication["DataType"])

A client belongs to one thread. It needs pyzmq (Debian: python3-zmq).
"""

import json
import time

import zmq
from zmq.utils.monitor import recv_monitor_message


class HalvaneError(Exception):
    """The gateway gave no answer, a refusal, or something that is no message."""


def replace_price(price):
    """The text that makes REPLACEORDER change the price to exactly this one, a decimal text with at
    most ten decimals, below 225000. The gateway cuts off what does not make a whole 1e-10, and the
    double of 0.41 lies below 0.41: half a unit more keeps it from losing one."""
    whole, _, decimals = price.partition(".")
    return f"{whole}.{decimals:0<10}5"


class Message(dict):
    """A reply or a publication: its members in order, and in `wire` the bytes as they came."""

    def __init__(self, wire):
        if wire[-1:] != b"\0" or b"\0" in wire[:-1]:
            raise HalvaneError(f"not ended by one zero byte: {wire!r}")
        super().__init__(json.loads(wire[:-1]))
        self.wire = wire

    @property
    def text(self):
        """The JSON text, without the zero byte at its end."""
        return self.wire[:-1].decode()


class Client:
    """One connection to a gateway's request port and, after subscribe(), its publish port."""

    def __init__(self, port, host="127.0.0.1", timeout=10.0):
        self.host, self.port, self.timeout = host, port, timeout
        self.session_key = None
        self.publish_port = None
        self._context = zmq.Context()
        self._requests = self._context.socket(zmq.REQ)
        # A reply that comes after its time-out is dropped instead of answering the next request.
        self._requests.setsockopt(zmq.REQ_RELAXED, 1)
        self._requests.setsockopt(zmq.REQ_CORRELATE, 1)
        self._requests.setsockopt(zmq.RCVTIMEO, int(timeout * 1000))
        self._requests.setsockopt(zmq.LINGER, 0)
        self._requests.connect(f"tcp://{host}:{port}")
        self._publications = None

    def close(self):
        self._context.destroy(linger=0)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def compose(self, name, **members):
        """The bytes of a request; a logged-in client's session key is put in."""
        request = {"Request": name}
        if self.session_key:
            request["SessionKey"] = self.session_key
        text = json.dumps(request | members, ensure_ascii=False, separators=(",", ":"))
        return text.encode()

    def exchange(self, request):
        """Sends the bytes of a request and gives the reply, or raises when none comes in time."""
        self._requests.send(request)
        try:
            return Message(self._requests.recv())
        except zmq.Again:
            raise HalvaneError(
                f"no reply from {self.host}:{self.port} within {self.timeout:g} s"
            ) from None

    def request(self, name, **members):
        """Asks and gives the reply; whether it succeeded stands in its member "Success"."""
        return self.exchange(self.compose(name, **members))

    def log_in(self, system_name, service_key):
        """Logs in; later requests carry the session key. Raises when the gateway refuses."""
        self.session_key = None
        param = {"SystemName": system_name, "ServiceKey": service_key}
        reply = self.request("LOGIN", Param=param)
        if reply["Success"] != "OK":
            raise HalvaneError(f"the gateway refused to log {system_name} in: {reply.text}")
        self.session_key, self.publish_port = reply["SessionKey"], reply["SubPort"]
        return reply

    def log_out(self):
        reply = self.request("LOGOUT")
        self.session_key = None
        return reply

    def subscribe(self, prefix=b""):
        """Receives the publications that begin with the bytes, for instance
        b'{"DataType":"EXECUTIONREPORT"'. Returns once the connection stands."""
        if self._publications is not None:
            self._publications.setsockopt(zmq.SUBSCRIBE, prefix)
            return
        self._publications = self._context.socket(zmq.SUB)
        # What comes while the client is busy waits here, however much it is, instead of being lost.
        self._publications.setsockopt(zmq.RCVHWM, 0)
        # A connection that was mended behind the client's back would hide that something is missing.
        self._publications.setsockopt(zmq.RECONNECT_IVL, -1)
        self._publications.setsockopt(zmq.SUBSCRIBE, prefix)
        monitor = self._publications.get_monitor_socket(zmq.EVENT_HANDSHAKE_SUCCEEDED)
        self._publications.connect(f"tcp://{self.host}:{self.publish_port}")
        connected = monitor.poll(int(self.timeout * 1000)) and recv_monitor_message(monitor)
        self._publications.disable_monitor()
        monitor.close()
        if not connected:
            raise HalvaneError(f"nobody publishes on {self.host}:{self.publish_port}")

    def publications(self, seconds=None):
        """Yields publications as they come, for ever or for so many seconds. Each heartbeat
        ("PING") is answered, which keeps the session as long as the loop goes on."""
        end = None if seconds is None else time.monotonic() + seconds
        while True:
            wait = None if end is None else max(0, (end - time.monotonic()) * 1000)
            if not self._publications.poll(wait):
                return
            message = Message(self._publications.recv())
            if message["DataType"] == "PING" and self.session_key:
                self._answer_heartbeat()
            yield message

    def _answer_heartbeat(self):
        reply = self.request("PONG")
        if reply["Success"] != "OK":
            raise HalvaneError(f"the session has ended: {reply.text}")
