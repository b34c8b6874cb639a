"""The client for programs without asyncio: the other one, on a thread of its own."""

from __future__ import annotations

import asyncio
import concurrent.futures
import queue
import selectors
import threading
import time
from typing import Any, Callable, Coroutine, Dict, Iterator, List, Mapping, Optional, Tuple, Type, TypeVar

from .aio import AsyncClient, AsyncOrder
from .consumer import Reading
from .errors import NotConnected
from .events import Event, FillEvent, OrderEvent
from .feed import Reader
from .link import Tap
from .margin import Margin
from .numbered import Since
from .orders import DONE, NewOrder, OrderView, Side
from .position import Position
from .queries import Frame, WhichAccount
from .records import Account, CombinationOrder, DetailPosition, ExecutionReport, FillReport
from .tracker import TrackerRow
from .wire import Price, Reply

T = TypeVar("T")

_SLICE = 0.2  # seconds: on some systems a thread that waits longer does not hear of Ctrl-C
_END = 5.0  # seconds for the thread to end


class Order(OrderView):
    """An order of this client, or one that it has looked up."""

    def __init__(self, client: Client, order: AsyncOrder) -> None:
        super().__init__(order.core)
        self._run, self._order = client._run, order

    def replace(self, *, price: Optional[Price] = None, stop_price: Optional[Price] = None,
                quantity: Optional[int] = None) -> None:  # fmt: skip
        """Asks for another price or quantity; the reports say what comes of it."""
        self._run(self._order.replace(price=price, stop_price=stop_price, quantity=quantity))

    def cancel(self) -> None:
        self._run(self._order.cancel())

    def wait(self, status: str = DONE, timeout: Optional[float] = None) -> ExecutionReport:
        """Until the order is so: a status, "reported", or "done", which is every final one. Raises when
        it has ended otherwise, OrderRejected if that is how."""
        return self._run(self._order.wait(status, timeout))


class Client:
    """A session with a gateway, which comes back by itself when it breaks. Any thread may use it.

    with Client.connect("DEMO", "demo-key", account="PAPER-1000001") as h:
        order = h.buy("OV.S.PAPX.ALFA", 10, price="100.5")
        order.wait("filled", timeout=5)
    """

    def __init__(self) -> None:
        self._loop = asyncio.SelectorEventLoop(selectors.DefaultSelector())
        self._thread = threading.Thread(target=self._loop.run_forever, name="halvane", daemon=True)
        self._thread.start()
        self._async: Optional[AsyncClient] = None
        self._callbacks: queue.SimpleQueue[Optional[Tuple[Callable[[Any], object], Event]]]
        self._callbacks = queue.SimpleQueue()
        self._caller: Optional[threading.Thread] = None

    @classmethod
    def connect(cls, system_name: str, service_key: str, *, host: str = "127.0.0.1", port: int = 0,
                account: WhichAccount = "", timeout: float = 10.0, patience: Optional[float] = 30.0,
                tap: Optional[Tap] = None, door: str = "") -> Client:  # fmt: skip
        """A client whose book is the platform's. The port follows from the system name unless the
        gateway found it taken. `account` is the one that orders are for, `timeout` that of a request,
        `patience` how long to look for the gateway (None: for ever). `tap` sees all bytes that come and
        go, on the client's thread. `door` is the line that HalvanePair has printed: then all is
        encrypted, and host and port are those of the line."""
        client = cls()

        async def connect() -> AsyncClient:
            return await AsyncClient.connect(
                system_name, service_key, host=host, port=port, account=account, timeout=timeout,
                patience=patience, tap=tap, door=door)  # fmt: skip

        try:
            client._async = client._run(connect())
        except BaseException:
            client.close()
            raise
        return client

    def close(self) -> None:
        """Logs out and ends the thread. A second time it does nothing."""
        if self._loop.is_closed():
            return
        concurrent.futures.wait([asyncio.run_coroutine_threadsafe(self._end(), self._loop)], _END)
        self._callbacks.put(None)
        self._loop.call_soon_threadsafe(self._loop.stop)
        for thread in (self._thread, self._caller):
            if thread and thread is not threading.current_thread():
                thread.join(_END)
        if not self._thread.is_alive():
            self._loop.close()

    async def _end(self) -> None:
        if self._async:
            await self._async.close()
        others = asyncio.all_tasks() - {asyncio.current_task()}
        if others:  # a connect() that was interrupted tidies up by itself
            await asyncio.wait(others, timeout=_END / 2)

    def __enter__(self) -> Client:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def _run(self, coroutine: Coroutine[Any, Any, T]) -> T:
        """Carries it out on the client's thread and waits for it."""
        if threading.current_thread() is self._thread:
            coroutine.close()
            raise RuntimeError("the client's own thread cannot wait for itself")
        if self._loop.is_closed():
            coroutine.close()
            raise NotConnected("this client is closed")
        future = asyncio.run_coroutine_threadsafe(coroutine, self._loop)
        try:
            while not concurrent.futures.wait([future], _SLICE).done:
                pass
            return future.result()
        except BaseException:
            future.cancel()
            raise

    @property
    def _client(self) -> AsyncClient:
        if self._async is None:
            raise NotConnected("Client.connect() makes a client")
        return self._async

    # --- orders ------------------------------------------------------------------------------------

    def buy(self, symbol: str, quantity: int, **wanted: Any) -> Order:
        """The further arguments are those of NewOrder."""
        return self.place(NewOrder(symbol, Side.BUY, quantity, **wanted))

    def sell(self, symbol: str, quantity: int, **wanted: Any) -> Order:
        return self.place(NewOrder(symbol, Side.SELL, quantity, **wanted))

    def place(self, order: NewOrder) -> Order:
        """Returns when the gateway has taken the order. OutcomeUnknown if it does not say so: then the
        order is "unknown" until a report tells, and order(error.order.id) gives it."""
        return Order(self, self._run(self._client.place(order)))

    def strategy(self, strategy_type: str, param: Mapping[str, Any], id: str = "") -> Order:
        """A strategy order: its members keep their JSON types."""
        return Order(self, self._run(self._client.strategy(strategy_type, param, id)))

    def order(self, id: str) -> Optional[Order]:
        """The order with that id, also one that was placed before this program began."""

        async def look_up() -> Optional[AsyncOrder]:
            return self._client.order(id)

        found = self._run(look_up())
        return Order(self, found) if found else None

    def replace(self, report_id: str, quantity: int, *, price: Optional[Price] = None,
                stop_price: Optional[Price] = None) -> None:  # fmt: skip
        """An order by its ReportID, whoever placed it. The quantity is always needed."""
        self._run(self._client.replace(report_id, quantity, price=price, stop_price=stop_price))

    def cancel(self, report_id: str) -> None:
        self._run(self._client.cancel(report_id))

    def orders(self) -> List[ExecutionReport]:
        """The last report of every order that the platform knows."""
        return self._client.orders()

    def fills(self) -> List[FillReport]:
        return self._client.fills()

    # --- events ------------------------------------------------------------------------------------

    @property
    def stale_reason(self) -> str:
        """Why orders and fills are not the present ones; empty when they are."""
        return self._client.stale_reason

    @property
    def complete(self) -> bool:
        """Whether it is proved that nothing was missed between log-in and the first publication."""
        return self._client.complete

    def events(self, *kinds: Type[Event], seconds: Optional[float] = None,
               since: Optional[Since] = None, consumer: str = "") -> Iterator[Any]:  # fmt: skip
        """The events of these kinds, or all, from this call on, for ever or for so many seconds. What
        connect() found is not told again, and everything that comes later is told once.

        With `since` or `consumer` they come over the numbered feed, where the gateway has one, each
        with its number, once and in order, whatever happens between; GapEvent tells what nobody has any
        more, whatever the kinds. `since` is a number, a time of today such as "09:30", or a moment.
        `consumer` names a position that is kept in a file: who begins again goes on behind the last
        event whose turn was over, and `since` counts only the first time."""
        if since is not None or consumer:
            return self._read_numbered(kinds, seconds, since, consumer)

        async def open_reader() -> Reader:
            return self._client._reader(kinds)

        return self._read(self._run(open_reader()), seconds)

    def _read(self, reader: Reader, seconds: Optional[float]) -> Iterator[Any]:
        end = None if seconds is None else time.monotonic() + seconds

        async def some() -> List[Event]:
            left = None if end is None else max(0.0, end - time.monotonic())
            try:
                return await asyncio.wait_for(reader.some(), left)
            except asyncio.TimeoutError:
                return []

        try:
            while batch := self._run(some()):
                yield from batch
        finally:
            if not self._loop.is_closed():
                self._loop.call_soon_threadsafe(self._client._readers.discard, reader)

    def history(self, *kinds: Type[Event], since: Since = 1) -> Iterator[Any]:
        """What the numbered feed has carried until now, as events(since=...) tells it; then it ends."""
        return self._read_numbered(kinds, None, since, "", to_end=True)

    def _read_numbered(self, kinds: Tuple[Type[Event], ...], seconds: Optional[float],
                       since: Optional[Since], consumer: str, to_end: bool = False) -> Iterator[Any]:  # fmt: skip
        end = None if seconds is None else time.monotonic() + seconds

        async def open_reading() -> Reading:
            return self._client._numbered(kinds, since, consumer, to_end)

        with self._run(open_reading()) as reading:
            batches = reading.feed.batches()

            async def some() -> Optional[List[Event]]:
                left = None if end is None else max(0.0, end - time.monotonic())
                try:
                    return await asyncio.wait_for(batches.__anext__(), left)
                except (asyncio.TimeoutError, StopAsyncIteration):
                    return None

            async def close() -> None:
                await batches.aclose()

            try:
                while (batch := self._run(some())) is not None:
                    yield from reading.take(batch)
            finally:
                if not self._loop.is_closed():
                    asyncio.run_coroutine_threadsafe(close(), self._loop)

    def on(self, kind: Type[Event], callback: Callable[[Any], object]) -> None:
        """Calls it for each event of that kind, one after the other, on a thread that does only this, so
        a callback may place orders."""
        if self._caller is None:
            self._caller = threading.Thread(target=self._call, name="halvane callbacks", daemon=True)
            self._caller.start()

        async def register() -> None:
            self._client.on(kind, lambda event: self._callbacks.put((callback, event)))

        self._run(register())

    def on_fill(self, callback: Callable[[FillEvent], object]) -> None:
        self.on(FillEvent, callback)

    def on_order(self, callback: Callable[[OrderEvent], object]) -> None:
        self.on(OrderEvent, callback)

    def _call(self) -> None:
        while (due := self._callbacks.get()) is not None:
            callback, event = due
            try:
                callback(event)
            except Exception as error:  # shown, and the next event comes all the same
                note = {"message": f"the callback {callback!r} failed", "exception": error}
                self._loop.call_exception_handler(note)

    # --- queries -----------------------------------------------------------------------------------

    def request(self, name: str, members: Optional[Mapping[str, Any]] = None,
                timeout: Optional[float] = None) -> Reply:  # fmt: skip
        """Any request with its members beside SessionKey; the reply as it came, also a failure."""
        return self._run(self._client.request(name, members, timeout))

    def ping(self) -> None:
        """Whether the gateway answers and knows this session."""
        self._run(self._client.ping())

    def accounts(self) -> List[Account]:
        return self._run(self._client.accounts())

    def account(self, which: WhichAccount = "") -> Account:
        """The account of that mask, or the client's own; one that nobody names must be the only one."""
        return self._run(self._client.account(which))

    def margins(self, account: WhichAccount = "") -> List[Margin]:
        """The funds, one row for each currency."""
        return self._run(self._client.margins(account))

    def positions(self, account: WhichAccount = "") -> List[Position]:
        return self._run(self._client.positions(account))

    def combination_orders(self, account: WhichAccount = "") -> List[CombinationOrder]:
        return self._run(self._client.combination_orders(account))

    def combination_positions(self, account: WhichAccount = "") -> List[DetailPosition]:
        return self._run(self._client.combination_positions(account))

    def tracker(self, account: WhichAccount = "") -> List[TrackerRow]:
        """What the position tracker holds; without an account, of all."""
        return self._run(self._client.tracker(account))

    def restore_reports(self) -> List[ExecutionReport]:
        """All orders as the platform has them now. `orders()` has them without asking."""
        return self._run(self._client.restore_reports())

    def restore_fills(self) -> List[FillReport]:
        return self._run(self._client.restore_fills())

    def instruments(self, type: str, date: str = "") -> Any:
        """A contract list, nodes within nodes; `symbols_of` flattens it. `date` is yyyymmdd."""
        return self._run(self._client.instruments(type, date))

    def instrument(self, symbol: str) -> Dict[str, Any]:
        """What the platform knows of one symbol, as it gives it."""
        return self._run(self._client.instrument(symbol))

    def combine(self, leg_a: str, leg_b: str, volume: int, combination_type: int, *, side: int = 1,
                account: WhichAccount = "", id: str = "") -> None:  # fmt: skip
        """Combines two option positions; `combination_orders` tells what came of it."""
        self._run(self._client.combine(leg_a, leg_b, volume, combination_type, side=side, account=account, id=id))

    def split(self, leg_a: str, leg_b: str, volume: int, combination_type: int, *, side: int = 1,
              account: WhichAccount = "", id: str = "") -> None:  # fmt: skip
        self._run(self._client.split(leg_a, leg_b, volume, combination_type, side=side, account=account, id=id))

    def message(self, recipient: str, text: str, system: str = "LINE") -> None:
        self._run(self._client.message(recipient, text, system))

    def accounts_df(self) -> Frame:
        return self._run(self._client.accounts_df())

    def margins_df(self, account: WhichAccount = "") -> Frame:
        return self._run(self._client.margins_df(account))

    def positions_df(self, account: WhichAccount = "") -> Frame:
        return self._run(self._client.positions_df(account))

    def tracker_df(self, account: WhichAccount = "") -> Frame:
        return self._run(self._client.tracker_df(account))

    def orders_df(self) -> Frame:
        return self._client.orders_df()

    def fills_df(self) -> Frame:
        return self._client.fills_df()
