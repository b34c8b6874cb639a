"""The client for asyncio. halvane.Client is the same for everybody else."""

from __future__ import annotations

import asyncio
import itertools
import uuid
from types import TracebackType
from typing import Any, AsyncIterator, Callable, Dict, Generator, Iterator, List, Mapping, Optional, Set
from typing import Type

from .consumer import Reading
from .door import parse_door
from .errors import (
    FeedStale,
    NotConnected,
    OrderEnded,
    OrderRejected,
    OutcomeUnknown,
    SessionExpired,
    TimedOut,
)
from .events import Event, FillEvent, OrderEvent
from .feed import Callback, Reader
from .link import Tap
from .numbered import Since
from .orders import DONE, FINAL, REJECTED, NewOrder, OrderCore, OrderView, Side, replacement
from .protocol import port_of
from .queries import Queries, WhichAccount
from .records import ExecutionReport, FillReport
from .session import Session, Settings
from .wire import Price, Reply


class AsyncOrder(OrderView):
    """An order of this client, or one that it has looked up."""

    def __init__(self, client: AsyncClient, core: OrderCore) -> None:
        super().__init__(core)
        self._client = client

    async def replace(self, *, price: Optional[Price] = None, stop_price: Optional[Price] = None,
                      quantity: Optional[int] = None) -> None:  # fmt: skip
        """Asks for another price or quantity; the reports say what comes of it."""
        reported = self.core.reported()
        wanted = quantity if quantity is not None else reported.order_qty or 0
        param = replacement(reported.report_id, wanted, price, stop_price)
        await self._client._change("REPLACEORDER", param, self.core)

    async def cancel(self) -> None:
        await self._client._change("CANCELORDER", {"ReportID": self.core.reported().report_id}, self.core)

    async def wait(self, status: str = DONE, timeout: Optional[float] = None) -> ExecutionReport:
        """Until the order is so: a status, "reported", or "done", which is every final one. Raises when
        it has ended otherwise, OrderRejected if that is how."""
        return await self._client._wait(self.core, status, timeout)


class AsyncClient(Queries):
    """A session with a gateway, which comes back by itself when it breaks.

    async with AsyncClient.connect("DEMO", "demo-key", account="PAPER-1000001") as h:
        order = await h.buy("OV.S.PAPX.ALFA", 10, price="100.5")
        await order.wait("filled", timeout=5)
    """

    def __init__(self, settings: Settings, account: WhichAccount = "") -> None:
        self._session = Session(settings, self._emit, self._changed)
        self._account = account
        self._ids: Iterator[str] = map(f"{uuid.uuid4().hex[:10]}-{{}}".format, itertools.count(1))
        self._waiters: Dict[OrderCore, Set[asyncio.Future[None]]] = {}
        self._readers: Set[Reader] = set()
        self._callbacks: List[asyncio.Task[None]] = []

    @staticmethod
    def connect(system_name: str, service_key: str, *, host: str = "127.0.0.1", port: int = 0,
                account: WhichAccount = "", timeout: float = 10.0, patience: Optional[float] = 30.0,
                tap: Optional[Tap] = None, door: str = "") -> Connecting:  # fmt: skip
        """Awaited or entered, it gives a client whose book is the platform's. The port follows from the
        system name unless the gateway found it taken. `account` is the one that orders are for,
        `timeout` that of a request, `patience` how long to look for the gateway (None: for ever).
        `tap` sees all bytes that come and go. `door` is the line that HalvanePair has printed: then all
        is encrypted, and host and port are those of the line."""
        way = parse_door(door) if door else None
        if way:
            host, port = way.host, way.port
        settings = Settings(system_name, service_key, host, port or port_of(system_name), timeout, tap, way)
        return Connecting(settings, account, patience)

    async def close(self) -> None:
        for task in self._callbacks:
            task.cancel()
        for reader in self._readers:
            reader.end()
        await self._session.stop()

    # --- orders ------------------------------------------------------------------------------------

    async def buy(self, symbol: str, quantity: int, **wanted: Any) -> AsyncOrder:
        """The further arguments are those of NewOrder."""
        return await self.place(NewOrder(symbol, Side.BUY, quantity, **wanted))

    async def sell(self, symbol: str, quantity: int, **wanted: Any) -> AsyncOrder:
        return await self.place(NewOrder(symbol, Side.SELL, quantity, **wanted))

    async def place(self, order: NewOrder) -> AsyncOrder:
        """Returns when the gateway has taken the order. OutcomeUnknown if it does not say so: then the
        order is "unknown" until a report tells, and order(error.order.id) gives it."""
        account = await self.account(order.account)
        return await self._place("NEWORDER", order.id, lambda key: order.param(account, key))

    async def strategy(self, strategy_type: str, param: Mapping[str, Any], id: str = "") -> AsyncOrder:
        """A strategy order: its members keep their JSON types."""
        members = {"StrategyType": strategy_type, **param}
        return await self._place("NEWSTRATEGYORDER", id, lambda key: {**members, "UserKey1": key})

    async def _place(self, name: str, id: str, param: Callable[[str], Mapping[str, Any]]) -> AsyncOrder:
        core = OrderCore(self._session.book, id or next(self._ids))
        if core.id in self._session.orders or core.report:
            raise ValueError(f"there is an order {core.id} already")
        members = {"Param": param(core.id)}
        self._session.orders[core.id] = core
        try:
            reply = await self._session.ask(name, members, late=lambda late: self._answered(core, late))
        except OutcomeUnknown:
            raise OutcomeUnknown(name, core) from None
        except (NotConnected, SessionExpired):
            del self._session.orders[core.id]
            raise
        self._answered(core, reply)
        _check(name, reply, core)
        return AsyncOrder(self, core)

    def order(self, id: str) -> Optional[AsyncOrder]:
        """The order with that id, also one that was placed before this program began."""
        core = self._session.orders.get(id)
        if core is None and self._session.book.with_key(id):
            core = self._session.orders[id] = OrderCore(self._session.book, id)
        return AsyncOrder(self, core) if core else None

    async def replace(self, report_id: str, quantity: int, *, price: Optional[Price] = None,
                      stop_price: Optional[Price] = None) -> None:  # fmt: skip
        """An order by its ReportID, whoever placed it. The quantity is always needed."""
        await self._change("REPLACEORDER", replacement(report_id, quantity, price, stop_price))

    async def cancel(self, report_id: str) -> None:
        await self._change("CANCELORDER", {"ReportID": report_id})

    async def _change(self, name: str, param: Mapping[str, str], core: Optional[OrderCore] = None) -> None:
        try:
            _check(name, await self._session.ask(name, {"Param": param}), core)
        except OutcomeUnknown:
            raise OutcomeUnknown(name, core) from None

    def _answered(self, core: OrderCore, reply: Reply) -> None:
        core.answer(reply)
        if core.status == REJECTED:
            self._session.orders.pop(core.id, None)
        self._changed(core)

    def _changed(self, core: OrderCore) -> None:
        for waiter in self._waiters.get(core, ()):
            if not waiter.done():
                waiter.set_result(None)

    async def _wait(self, core: OrderCore, status: str, timeout: Optional[float]) -> ExecutionReport:
        loop = asyncio.get_running_loop()
        end = None if timeout is None else loop.time() + timeout
        while not core.reached(status):
            _check_end(core)
            waiter: asyncio.Future[None] = loop.create_future()
            self._waiters.setdefault(core, set()).add(waiter)
            try:
                await asyncio.wait_for(waiter, None if end is None else max(0.0, end - loop.time()))
            except asyncio.TimeoutError:
                late = f"order {core.id} is {core.status}, not {status}, after {timeout} s"
                if self.stale_reason:
                    raise FeedStale(f"{late}; {self.stale_reason}") from None
                raise TimedOut(late) from None
            finally:
                self._waiters[core].discard(waiter)
                if not self._waiters[core]:
                    del self._waiters[core]
        return core.reported()

    # --- what there is, and what comes ---------------------------------------------------------------

    def orders(self) -> List[ExecutionReport]:
        """The last report of every order that the platform knows."""
        return list(self._session.book.orders.values())

    def fills(self) -> List[FillReport]:
        return list(self._session.book.fills.values())

    @property
    def stale_reason(self) -> str:
        """Why orders and fills are not the present ones; empty when they are."""
        return self._session.stale_reason

    @property
    def complete(self) -> bool:
        """Whether it is proved that nothing was missed between log-in and the first publication. It is
        so after some 20 s at most; what is missing until then is found and told as `recovered`."""
        return self._session.complete

    async def events(self, *kinds: Type[Event], since: Optional[Since] = None,
                     consumer: str = "") -> AsyncIterator[Any]:  # fmt: skip
        """The events of these kinds, or all, from now on: what connect() found is not told again, and
        everything that comes later is told once.

        With `since` or `consumer` they come over the numbered feed, where the gateway has one, each
        with its number, once and in order, whatever happens between; GapEvent tells what nobody has any
        more, whatever the kinds. `since` is a number, a time of today such as "09:30", or a moment.
        `consumer` names a position that is kept in a file: who begins again goes on behind the last
        event whose turn was over, and `since` counts only the first time."""
        if since is not None or consumer:
            with self._numbered(kinds, since, consumer) as reading:
                async for batch in reading.feed.batches():
                    for taken in reading.take(batch):
                        yield taken
            return
        reader = self._reader(kinds)
        try:
            while (event := await reader.next()) is not None:
                yield event
        finally:
            self._readers.discard(reader)

    def on(self, kind: Type[Event], callback: Callback) -> None:
        """Calls it, or awaits what it gives, for each event of that kind, one after the other."""
        self._callbacks.append(asyncio.ensure_future(self._reader((kind,)).call(callback)))

    def on_fill(self, callback: Callback) -> None:
        self.on(FillEvent, callback)

    def on_order(self, callback: Callback) -> None:
        self.on(OrderEvent, callback)

    async def history(self, *kinds: Type[Event], since: Since = 1) -> AsyncIterator[Any]:
        """What the numbered feed has carried until now, as events(since=...) tells it; then it ends."""
        with self._numbered(kinds, since, "", to_end=True) as reading:
            async for batch in reading.feed.batches():
                for event in reading.take(batch):
                    yield event

    def _numbered(self, kinds: Any, since: Optional[Since], consumer: str, to_end: bool = False) -> Reading:
        return Reading(self._session, self._session.system_name, kinds, since, consumer, to_end)

    def _reader(self, kinds: Any) -> Reader:
        reader = Reader(tuple(kinds))
        self._readers.add(reader)
        return reader

    def _emit(self, event: Event) -> None:
        for reader in self._readers:
            reader.offer(event)


class Connecting:
    """A client that is awaited or entered."""

    def __init__(self, settings: Settings, account: WhichAccount, patience: Optional[float]) -> None:
        self._settings, self._account, self._patience = settings, account, patience
        self._client: Optional[AsyncClient] = None

    async def _connect(self) -> AsyncClient:
        client = AsyncClient(self._settings, self._account)
        try:
            await client._session.start(self._patience)
        except BaseException:
            await client.close()
            raise
        self._client = client
        return client

    def __await__(self) -> Generator[Any, None, AsyncClient]:
        return self._connect().__await__()

    async def __aenter__(self) -> AsyncClient:
        return await self._connect()

    async def __aexit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                        traceback: Optional[TracebackType]) -> None:  # fmt: skip
        if self._client:
            await self._client.close()


def _check(name: str, reply: Reply, core: Optional[OrderCore]) -> None:
    if reply["Success"] != "OK":
        raise OrderRejected(name, str(reply.get("ErrCode", "")), str(reply.get("ErrMsg", "")), core)


def _check_end(core: OrderCore) -> None:
    """Raises when it has come to an end that nobody waited for."""
    if core.status == REJECTED:
        report = core.report
        code = str(report.error_code or "") if report else core.code
        raise OrderRejected("NEWORDER", code, report.exec_type_text if report else core.text, core)
    if core.status in FINAL:
        raise OrderEnded(core, core.status)
