"""Sockets on an asyncio loop: lanes for requests and the feed of publications.

No socket here mends its connection. What breaks is told once and thrown away, with all that was still
to be sent: a mended connection would deliver old orders late and hide that publications are missing.
"""

from __future__ import annotations

import asyncio
from collections import deque
from typing import Callable, Deque, Dict, List, NamedTuple, Optional

import zmq
from zmq.utils.monitor import parse_monitor_message

from .door import Door

_SWEEP = 0.05  # seconds between two looks for requests whose time is over
_NOW, _MORE = int(zmq.NOBLOCK), int(zmq.NOBLOCK | zmq.SNDMORE)  # plain: the library's are slow to combine
# For -1, as for IMMEDIATE, libzmq 4.3.4 drops what came before a break, and may end the process between two frames.
_NEVER_MS = 1_000_000_000
_AT_ONCE = 100  # messages taken before others on the loop have their turn
_NOT_LET_IN = zmq.EVENT_HANDSHAKE_FAILED_AUTH
_GONE = (zmq.EVENT_DISCONNECTED | zmq.EVENT_CLOSED | zmq.EVENT_HANDSHAKE_FAILED_NO_DETAIL
         | zmq.EVENT_HANDSHAKE_FAILED_PROTOCOL | _NOT_LET_IN)  # fmt: skip

Tap = Callable[[str, bytes], None]  # "request", "reply" or "publication", and the bytes


class LinkLost(Exception):
    """The connection is gone, and what was sent may have arrived."""


class NotSent(LinkLost):
    """The connection was gone before anything was sent."""


class Connection:
    """One socket: every message that comes is handed over, and once that the connection is lost."""

    def __init__(self, context: zmq.Context[zmq.Socket[bytes]], kind: int, address: str,
                 receive: Callable[[List[bytes]], None], lost: Callable[[str], None],
                 door: Optional[Door] = None) -> None:  # fmt: skip
        self._loop = asyncio.get_running_loop()
        self._receive, self._lost = receive, lost
        self._address = address
        self._awaits_turn = False
        self.connected: asyncio.Future[None] = self._loop.create_future()
        self._socket = context.socket(kind)
        for option, value in [(zmq.LINGER, 0), (zmq.RCVHWM, 0), (zmq.SNDHWM, 0),
                              (zmq.RECONNECT_IVL, _NEVER_MS), (zmq.TCP_KEEPALIVE, 1), (zmq.MAXMSGSIZE, -1)]:  # fmt: skip
            self._socket.setsockopt(option, value)
        for key, text in door.options() if door else ():
            self._socket.setsockopt(key, text)
        self.not_let_in = False
        if kind == zmq.SUB:
            self._socket.setsockopt(zmq.SUBSCRIBE, b"")
        self._monitor = self._socket.get_monitor_socket(zmq.EVENT_HANDSHAKE_SUCCEEDED | _GONE)
        self._watch(self._socket, self._read)
        self._watch(self._monitor, self._read_monitor)
        self._socket.connect(address)
        # A descriptor tells of what comes after the first look.
        self._loop.call_soon(self._read_monitor)
        self._look_again()

    def send(self, frames: List[bytes]) -> None:
        for frame in frames[:-1]:
            self._socket.send(frame, _MORE)
        self._socket.send(frames[-1], _NOW)
        self._look_again()

    def close(self) -> None:
        if self._socket.closed:
            return
        for watched in (self._socket, self._monitor):
            self._loop.remove_reader(watched.fileno())
        self._socket.disable_monitor()
        self._monitor.close(0)
        self._socket.close(0)
        self.connected.cancel()

    def _watch(self, socket: zmq.Socket[bytes], read: Callable[[], None]) -> None:
        try:
            self._loop.add_reader(socket.fileno(), read)
        except NotImplementedError:
            raise RuntimeError(
                "this event loop cannot watch sockets; on Windows run with asyncio.SelectorEventLoop"
            ) from None

    def _look_again(self) -> None:
        """The socket's descriptor tells of a change once, and sending may have taken that note."""
        if not self._awaits_turn:
            self._awaits_turn = True
            self._loop.call_soon(self._read)

    def _read(self) -> None:
        self._awaits_turn = False
        for _ in range(_AT_ONCE):
            if self._socket.closed:
                return
            try:
                frames = self._socket.recv_multipart(_NOW)
            except zmq.Again:
                return
            try:
                self._receive(frames)
            except Exception as error:  # one message that nobody can read must not hold up the others
                self._loop.call_exception_handler({"message": f"{frames!r:.200}", "exception": error})
        self._look_again()

    def _read_monitor(self) -> None:
        while not self._monitor.closed:
            try:
                event = parse_monitor_message(self._monitor.recv_multipart(zmq.NOBLOCK))["event"]
            except zmq.Again:
                return
            if event == zmq.EVENT_HANDSHAKE_SUCCEEDED:
                if not self.connected.done():
                    self.connected.set_result(None)
            elif event & _GONE:
                self._read()  # what came before the end counts
                self.not_let_in |= event == _NOT_LET_IN
                self._lost(f"the connection to {self._address} is lost")


class _Waiting(NamedTuple):
    body: bytes
    reply: asyncio.Future[bytes]
    end: float
    late: Optional[Callable[[bytes], None]]


class Lane:
    """Requests on a socket of their own; each is answered by the reply that bears its number. At most
    `limit` are out at once: one whose time is over still counts until its reply has come."""

    def __init__(self, context: zmq.Context[zmq.Socket[bytes]], address: str,
                 lost: Callable[[str], None], tap: Optional[Tap], limit: int = 0,
                 door: Optional[Door] = None) -> None:  # fmt: skip
        self._loop = asyncio.get_running_loop()
        self._limit, self._tap = limit, tap
        self._number = 0
        self._out: Dict[bytes, _Waiting] = {}
        self._queue: Deque[_Waiting] = deque()
        self._sweeper: Optional[asyncio.TimerHandle] = None
        self.connection = Connection(context, zmq.DEALER, address, self._receive, lost, door)

    def send(self, body: bytes, timeout: float,
             late: Optional[Callable[[bytes], None]] = None) -> asyncio.Future[bytes]:  # fmt: skip
        """The reply to come; asyncio.TimeoutError if it does not in time, and `late` is called with it
        if it comes after that."""
        reply: asyncio.Future[bytes] = self._loop.create_future()
        waiting = _Waiting(body, reply, self._loop.time() + timeout, late)
        if self._limit and len(self._out) >= self._limit:
            self._queue.append(waiting)
        else:
            self._transmit(waiting)
        if self._sweeper is None:
            self._sweeper = self._loop.call_later(_SWEEP, self._sweep)
        return reply

    def fail(self) -> None:
        """Nothing will be answered any more."""
        for reply in [waiting.reply for waiting in self._out.values()]:
            if not reply.done():
                reply.set_exception(LinkLost())
        for reply in [waiting.reply for waiting in self._queue]:
            if not reply.done():
                reply.set_exception(NotSent())
        self._out.clear()
        self._queue.clear()
        self.connection.close()

    def _transmit(self, waiting: _Waiting) -> None:
        self._number += 1
        number = b"%d" % self._number
        self._out[number] = waiting
        try:
            self.connection.send([number, b"", waiting.body])
        except zmq.ZMQError:
            del self._out[number]
            waiting.reply.set_exception(NotSent())
            return
        if self._tap:
            self._tap("request", waiting.body)

    def _receive(self, frames: List[bytes]) -> None:
        if len(frames) != 3:
            return
        if self._tap:
            self._tap("reply", frames[2])
        waiting = self._out.pop(frames[0], None)
        if waiting is not None:
            if not waiting.reply.done():
                waiting.reply.set_result(frames[2])
            elif waiting.late:
                waiting.late(frames[2])
        while self._queue and len(self._out) < self._limit:
            waiting = self._queue.popleft()
            if not waiting.reply.done():
                self._transmit(waiting)

    def _sweep(self) -> None:
        """A timer for each request would cost more than the request."""
        now, self._sweeper = self._loop.time(), None
        for waiting in [*self._out.values(), *self._queue]:
            if waiting.end <= now and not waiting.reply.done():
                waiting.reply.set_exception(asyncio.TimeoutError())
        if self._out or self._queue:
            self._sweeper = self._loop.call_later(_SWEEP, self._sweep)
