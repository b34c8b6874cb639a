"""A session with a gateway that lasts: it logs in, keeps the session alive, notices a dead link, comes
back, and has a book that is the platform's. It belongs to one asyncio loop."""

from __future__ import annotations

import asyncio
import contextlib
from typing import Any, AsyncIterator, Callable, Dict, List, Mapping, NamedTuple, Optional, Set, Tuple

import zmq

from . import events
from .book import Book, carry_over, succeed
from .door import Door
from .errors import (
    HalvaneError,
    LoginRefused,
    NotConnected,
    NotLetIn,
    OutcomeUnknown,
    RequestFailed,
    SessionExpired,
    TimedOut,
)
from .link import Connection, Lane, LinkLost, NotSent, Tap
from .orders import FINAL, OrderCore
from .protocol import ILLEGAL_SESSION, OPERATIONS, OPTIONAL, PAGE, Operation
from .records import ExecutionReport, FillReport
from .wire import Reply, compose, parse

STALE_AFTER = 45.0  # seconds without a publication; a heartbeat comes every 20
PONG_EVERY = 15.0
UNANSWERED_PONGS = 2  # that end a link
REFUSED_FOR = 3.0  # seconds: a gateway that starts refuses until its platform is ready
RETRY_AFTER = 0.2
PATIENCE = 10.0  # for one step of coming back
HEAVY_PATIENCE = 60.0
REST = 3.0  # between two restores over one link


class Settings(NamedTuple):
    system_name: str
    service_key: str
    host: str
    port: int
    timeout: float
    tap: Optional[Tap]
    door: Optional[Door] = None


class Link:
    """What one log-in has: two lanes, the feed, a session key. Once lost it is never used again."""

    def __init__(self, context: zmq.Context[zmq.Socket[bytes]], settings: Settings) -> None:
        self._context, self._settings = context, settings
        self._loop = asyncio.get_running_loop()
        self.lost: asyncio.Future[str] = self._loop.create_future()
        address = f"tcp://{settings.host}:{settings.port}"
        self.light = Lane(context, address, self.lose, settings.tap, door=settings.door)
        self.heavy = Lane(context, address, self.lose, settings.tap, limit=1, door=settings.door)
        self.feed: Optional[Connection] = None
        self.session_key = ""
        self.heard_at = self._loop.time()
        self.heard = False

    async def connected(self, connection: Connection) -> None:
        waits: Set[asyncio.Future[Any]] = {connection.connected, self.lost}
        done, _ = await asyncio.wait(waits, timeout=PATIENCE, return_when=asyncio.FIRST_COMPLETED)
        if connection.not_let_in and self._settings.door:
            raise NotLetIn(f"the gateway's door does not let {self._settings.door.name} in: its key is unknown, "
                           "revoked or expired, or its address is not allowed; the gateway's log says which")  # fmt: skip
        if connection.connected not in done:
            raise NotConnected(self.lost.result() if done else "the gateway does not take connections")

    async def subscribe(self, port: str, receive: Callable[[bytes], None]) -> None:
        def heard(frames: List[bytes]) -> None:
            self.heard_at = self._loop.time()
            if self._settings.tap:
                self._settings.tap("publication", frames[0])
            receive(frames[0])

        address = f"tcp://{self._settings.host}:{port}"
        self.feed = Connection(self._context, zmq.SUB, address, heard, self.lose, self._settings.door)
        await self.connected(self.feed)
        self.heard_at = self._loop.time()

    def lose(self, reason: str) -> None:
        if not self.lost.done():
            self.lost.set_result(reason)
        self.light.fail()
        self.heavy.fail()
        if self.feed:
            self.feed.close()


class Session:
    """`emit` gets every event, `changed` every order of this client of which something is new."""

    def __init__(self, settings: Settings, emit: Callable[[events.Event], None],
                 changed: Callable[[OrderCore], None]) -> None:  # fmt: skip
        self._settings, self._emit, self._changed = settings, emit, changed
        self._context: zmq.Context[zmq.Socket[bytes]] = zmq.Context()
        self._loop = asyncio.get_running_loop()
        self._link: Optional[Link] = None
        self._linked = asyncio.Event()
        self._keeper: Optional[asyncio.Task[None]] = None
        self._logging_in = asyncio.Lock()
        self._next: Optional[Book] = None  # under construction
        self._again = asyncio.Event()  # the book must be restored anew, or the link is lost
        self._book_link: Optional[Link] = None  # over which the book was read
        self._resets = 0
        self._book_resets = 0  # that came before the book was read
        self._told: Set[Tuple[Any, ...]] = set()  # the fills that were told, or there at the beginning
        self._in_step: asyncio.Future[None] = self._loop.create_future()
        self._closed = False
        self.book = Book()
        self.orders: Dict[str, OrderCore] = {}
        self.stale_reason = "not connected yet"
        self.complete = False

    @property
    def system_name(self) -> str:
        return self._settings.system_name

    @property
    def live(self) -> bool:
        """Whether the book is the platform's and follows it."""
        return not self.stale_reason

    # --- coming and going ------------------------------------------------------------------------

    async def start(self, patience: Optional[float]) -> None:
        """Returns when the book is there. Reading it may take longer than finding the gateway."""
        self._keeper = asyncio.ensure_future(self._keep())
        waits: Set[asyncio.Future[Any]] = {self._keeper, self._in_step}
        done: Set[asyncio.Future[Any]] = set()
        while not done:
            done, _ = await asyncio.wait(waits, timeout=patience, return_when=asyncio.FIRST_COMPLETED)
            if not done and not self._link:
                raise NotConnected(f"no gateway at {self._settings.host}:{self._settings.port} within "
                                   f"{patience} s: {self.stale_reason}")  # fmt: skip
        if self._keeper.done():
            self._keeper.result()

    async def stop(self) -> None:
        link = self._link
        if link and link.session_key:
            with contextlib.suppress(LinkLost, asyncio.TimeoutError):
                await link.light.send(compose("LOGOUT", link.session_key, {}), 1.0)
        if self._keeper:
            self._keeper.cancel()
            with contextlib.suppress(asyncio.CancelledError, HalvaneError):
                await self._keeper
        self._closed = True
        self._linked.set()
        self._context.destroy(linger=0)

    async def linked(self) -> Optional[Link]:
        """The link, as soon as there is one; none when the session is closed."""
        while not self._closed and not self._link:
            await self._linked.wait()
        return self._link

    def subscribe(self, link: Link, port: str, receive: Callable[[List[bytes]], None]) -> Connection:
        """To another publish port of the gateway, for as long as the link lasts."""
        address = f"tcp://{self._settings.host}:{port}"
        return Connection(self._context, zmq.SUB, address, receive, link.lose)

    async def _keep(self) -> None:
        refused_until = self._loop.time() + REFUSED_FOR
        while True:
            link = Link(self._context, self._settings)
            try:
                await self._serve(link)
            except (LoginRefused, NotLetIn) as refusal:
                if not self._in_step.done() and self._loop.time() > refused_until:
                    raise
                self._fall_behind(str(refusal))
            except (HalvaneError, LinkLost, asyncio.TimeoutError) as failure:
                self._fall_behind(link.lost.result() if link.lost.done() else str(failure))
            finally:
                self._link = None
                self._linked.clear()
                link.lose("closed")
            await asyncio.sleep(RETRY_AFTER)

    def _fall_behind(self, reason: str) -> None:
        was_live, self.stale_reason, self.complete = self.live, reason or "no answer", False
        if was_live:
            self._emit(events.StaleEvent(self.stale_reason))

    async def _serve(self, link: Link) -> None:
        """Until the link is lost."""
        await link.connected(link.light.connection)
        await link.connected(link.heavy.connection)
        await link.subscribe(await self._log_in(link), lambda message: self._receive(link, message))
        self._link = link
        self._linked.set()
        watches = [asyncio.ensure_future(self._pong(link)), asyncio.ensure_future(self._watch(link))]
        link.lost.add_done_callback(lambda _: self._again.set())
        try:
            while not link.lost.done():
                await self._restore(link)
                if self.complete:  # a platform in trouble may ask for it many times a second
                    await asyncio.wait({link.lost}, timeout=REST)
                await self._again.wait()
        finally:
            for watch in watches:
                watch.cancel()
        raise LinkLost()

    async def _log_in(self, link: Link) -> str:
        """The publish port, once there is one."""
        param = {"SystemName": self._settings.system_name, "ServiceKey": self._settings.service_key}
        while True:
            reply = parse(await link.light.send(compose("LOGIN", "", {"Param": param}), PATIENCE))
            if reply["Success"] != "OK":
                raise LoginRefused(f"the gateway refuses to log {self._settings.system_name} in")
            link.session_key = reply["SessionKey"]
            if reply["SubPort"]:
                return str(reply["SubPort"])
            await link.light.send(compose("LOGOUT", link.session_key, {}), PATIENCE)
            await asyncio.sleep(RETRY_AFTER)

    async def _pong(self, link: Link) -> None:
        """On a timer of its own: a heartbeat that is missed is no reason to lose the session."""
        unanswered = 0
        while unanswered < UNANSWERED_PONGS:
            await asyncio.sleep(PONG_EVERY)
            try:
                await self.ask("PONG", {}, PATIENCE)
                unanswered = 0
            except TimedOut:
                unanswered += 1
            except HalvaneError as failure:
                return link.lose(str(failure))
        link.lose("the gateway does not answer")

    async def _watch(self, link: Link) -> None:
        while (silent := self._loop.time() - link.heard_at) < STALE_AFTER:
            await asyncio.sleep(STALE_AFTER - silent)
        link.lose(f"nothing was published for {STALE_AFTER:g} s")

    # --- the book --------------------------------------------------------------------------------

    async def _restore(self, link: Link) -> None:
        """Builds a new book from all pages and from what is published meanwhile; then that is the book,
        and what it knows newly is told. A reset in the midst of it begins it anew."""
        while True:
            self._again.clear()
            heard, resets = link.heard, self._resets
            book = self._next = Book()
            try:
                async for row in self.rows("RESTOREREPORT", {}, link=link):
                    book.restore_order(ExecutionReport(row))
                async for row in self.rows("RESTOREFILLREPORT", {}, link=link):
                    book.add_fill(FillReport(row))
            finally:
                self._next = None
            if self._resets == resets:
                break
        if link is self._book_link and self._book_resets == resets:
            carry_over(self.book, book)
        self.complete, self._book_link, self._book_resets = heard, link, resets
        self._succeed(book)

    def _succeed(self, book: Book) -> None:
        """Nothing here waits, so that nobody sees half of it."""
        begun, behind = self._in_step.done(), not self.live
        changes, gone = succeed(self.book, book)
        self.book, self.stale_reason = book, ""
        for core in self.orders.values():
            core.follow(book)
        for change in changes:
            if begun:
                self._tell(change, recovered=True)
            elif isinstance(change, FillReport):
                self._told.add(_identity(change))
        if begun and (behind or gone):
            self._emit(events.ResyncedEvent(len(book.orders), len(book.fills), gone))
        for core in list(self.orders.values()):
            self._changed(core)
            if core.status in FINAL:
                del self.orders[core.id]
        if not begun:
            self._in_step.set_result(None)

    def _tell(self, change: Any, recovered: bool) -> None:
        order = self.orders.get(change.user_key1)
        if isinstance(change, ExecutionReport):
            self._emit(events.OrderEvent(change, order, recovered))
        elif _identity(change) not in self._told:
            self._told.add(_identity(change))
            self._emit(events.FillEvent(change, order, recovered))

    def _receive(self, link: Link, message: bytes) -> None:
        publication = parse(message)
        if not link.heard:
            # Only now is it certain that the subscription holds: what was restored before may have holes.
            link.heard = True
            self._again.set()
        kind = publication["DataType"]
        if kind == "EXECUTIONREPORT":
            self._receive_report(ExecutionReport(publication["Report"]))
        elif kind == "FILLEDREPORT":
            self._receive_fill(FillReport(publication["Report"]))
        else:
            if kind == "REPORTRESET":
                self._resets += 1
            if kind in ("REPORTRESET", "ACCOUNTS"):
                # The platform announces its accounts when it has come back: what it held back until then is missing.
                self._again.set()
            self._emit(events.event_of(publication))

    def _receive_report(self, report: ExecutionReport) -> None:
        if self._next:
            self._next.publish_order(report)
        if self.live:
            self.book.publish_order(report)
            order = self.orders.get(report.user_key1)
            if order:
                order.refresh()
            self._tell(report, recovered=False)
            if order:
                self._changed(order)

    def _receive_fill(self, fill: FillReport) -> None:
        if self._next:
            self._next.add_fill(fill)
        if self.live and self.book.add_fill(fill):
            self._tell(fill, recovered=False)

    # --- requests --------------------------------------------------------------------------------

    async def ask(self, name: str, members: Mapping[str, Any], timeout: Optional[float] = None,
                  late: Optional[Callable[[Reply], None]] = None, only: Optional[Link] = None) -> Reply:
        """The reply, whether it tells of success or not. An expired session is healed once. What may
        be asked twice is asked again when the link is lost meanwhile, unless it is for that link only;
        anything else is in doubt then, and `late` gets the reply if it comes too late."""
        operation = OPERATIONS.get(name) or OPTIONAL.get(name) or Operation(name, repeatable=False)
        loop = self._loop
        end = loop.time() + (timeout or (HEAVY_PATIENCE if operation.heavy else self._settings.timeout))
        healed = False
        while True:
            link = only or self._link or await self._await_link(operation, end)
            key = link.session_key
            lane = link.heavy if operation.heavy else link.light
            try:
                taken = None if late is None else lambda message: late(parse(message))
                body = compose(name, key, members)
                reply = parse(await lane.send(body, max(0.001, end - loop.time()), taken))
            except asyncio.TimeoutError:
                raise self._in_time(operation) from None
            except LinkLost as lost:
                if only:
                    raise
                if not operation.repeatable:
                    raise _doubt(name, lost) from None
                await asyncio.sleep(0)
                continue
            if reply.get("ErrMsg") != ILLEGAL_SESSION:
                return reply
            if healed:
                raise SessionExpired(f"{name}: the session has ended twice")
            healed = True
            await self._heal(link, key)

    async def rows(self, name: str, members: Mapping[str, Any],
                   timeout: Optional[float] = None,
                   link: Optional[Link] = None) -> AsyncIterator[Reply]:  # fmt: skip
        """All rows of all pages."""
        index: str = "0"
        rows: List[Reply] = [{}] * PAGE
        while len(rows) == PAGE:
            reply = await self.ask(name, {"QryIndex": index, **members}, timeout, only=link)
            if reply["Success"] != "OK":
                raise RequestFailed(name, reply.get("ErrMsg", ""))
            rows = reply[OPERATIONS[name].rows]
            for row in rows:
                yield row
            index = rows[-1]["QryIndex"] if rows else index

    async def _await_link(self, operation: Operation, end: float) -> Link:
        if not operation.repeatable:
            raise NotConnected(f"{operation.name} was not sent: {self.stale_reason}")
        if self._closed:
            raise NotConnected("this client is closed")
        left = max(0.001, end - self._loop.time())
        try:
            await asyncio.wait_for(self._linked.wait(), left)
        except asyncio.TimeoutError:
            raise self._in_time(operation) from None
        return self._link or await self._await_link(operation, end)

    def _in_time(self, operation: Operation) -> HalvaneError:
        if operation.repeatable:
            return TimedOut(f"{operation.name} was not answered in time")
        return OutcomeUnknown(operation.name)

    async def _heal(self, link: Link, key: str) -> None:
        """Logs in anew, unless another request has done so already."""
        async with self._logging_in:
            if link.session_key == key and not link.lost.done():
                with contextlib.suppress(LinkLost, asyncio.TimeoutError):
                    await self._log_in(link)


def _identity(fill: FillReport) -> Tuple[Any, ...]:
    """A platform that begins its reports anew may list the same fills again, and another's under an old ReportID."""
    return fill.report_id, fill.order_id, fill.transact_date, fill.transact_time


def _doubt(name: str, lost: LinkLost) -> HalvaneError:
    return NotConnected(f"{name} was not sent") if isinstance(lost, NotSent) else OutcomeUnknown(name)
