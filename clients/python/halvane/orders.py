"""Orders as a client sees them: what it wants, and what has become of it."""

from __future__ import annotations

import enum
from dataclasses import dataclass, field
from decimal import Decimal
from typing import Any, Dict, List, Mapping, Optional, Union

from .book import Book, newest
from .records import Account, ExecutionReport, FillReport
from .wire import Price, new_price, replace_price


class Side(enum.IntEnum):
    BUY = 1
    SELL = 2


class OrderType(enum.IntEnum):
    MARKET = 1
    LIMIT = 2
    STOP = 3
    STOP_LIMIT = 4


class TimeInForce(enum.IntEnum):
    DAY = 0
    IMMEDIATE_OR_CANCEL = 2
    FILL_OR_KILL = 3


class ExecType(enum.IntEnum):
    NEW = 0
    PARTLY_FILLED = 1
    FILLED = 2
    CANCELLED = 4
    REPLACED = 5
    REJECTED = 8
    TRIGGERED = 9
    EXPIRED = 12


# What an order can be. Those that end are final.
UNKNOWN, SENT, WORKING, PARTLY_FILLED = "unknown", "sent", "working", "partly filled"
FILLED, CANCELLED, REJECTED, EXPIRED, ENDED, GONE = (
    "filled", "cancelled", "rejected", "expired", "ended", "gone")  # fmt: skip
FINAL = frozenset([FILLED, CANCELLED, REJECTED, EXPIRED, ENDED, GONE])
# What can be waited for: the statuses themselves and these.
REPORTED, DONE = "reported", "done"

_ENDINGS: Dict[Optional[int], str] = {
    ExecType.CANCELLED: CANCELLED,
    ExecType.REJECTED: REJECTED,
    ExecType.EXPIRED: EXPIRED,
}


@dataclass(frozen=True)
class NewOrder:
    """What an order wants. Without prices it is a market order, with `price` a limit order, with
    `stop_price` a stop order, with both a stop-limit order; `order_type` overrides that.

    `id` travels in UserKey1 and comes back in every report and fill; one is made up when it is empty.
    `keys` are UserKey2 to UserKey100; `extra` are further members of the request as they stand."""

    symbol: str
    side: int
    quantity: int
    price: Optional[Price] = None
    stop_price: Optional[Price] = None
    order_type: Optional[int] = None
    time_in_force: int = TimeInForce.DAY
    account: Union[str, Account] = ""
    id: str = ""
    keys: Mapping[int, str] = field(default_factory=dict)
    extra: Mapping[str, str] = field(default_factory=dict)

    def param(self, account: Account, order_id: str) -> Dict[str, str]:
        members = {
            "BrokerID": account.broker_id,
            "Account": account.account,
            "Symbol": self.symbol,
            "Side": str(int(self.side)),
            "OrderQty": _quantity(self.quantity),
            "OrderType": str(int(self.kind)),
            "TimeInForce": str(int(self.time_in_force)),
            "UserKey1": order_id,
        }
        if self.price is not None:
            members["Price"] = new_price(self.price)
        if self.stop_price is not None:
            members["StopPrice"] = new_price(self.stop_price)
        for number, value in self.keys.items():
            if not 2 <= number <= 100:
                raise ValueError(f"there are user keys 2 to 100 beside the id, but no {number}")
            members[f"UserKey{number}"] = value
        members.update(self.extra)
        return members

    @property
    def kind(self) -> int:
        if self.order_type is not None:
            return self.order_type
        if self.stop_price is not None:
            return OrderType.STOP if self.price is None else OrderType.STOP_LIMIT
        return OrderType.MARKET if self.price is None else OrderType.LIMIT


def _quantity(quantity: int) -> str:
    if int(quantity) != quantity or quantity <= 0:
        raise ValueError(f"{quantity!r} is no quantity of an order")
    return str(int(quantity))


class OrderCore:
    """One order of this client: its id, and what is known of it. It belongs to no thread: it is
    written by the client's and read by all."""

    def __init__(self, book: Book, order_id: str) -> None:
        self.id = order_id
        self.accepted: Optional[bool] = None  # by the reply; None as long as there is none
        self.code, self.text = "", ""  # of a refusal
        self._book = book
        self._last = newest(book.with_key(order_id))

    def follow(self, book: Book) -> None:
        """The client has another book now."""
        self._book = book
        self.refresh()

    def refresh(self) -> None:
        self._last = newest(self._book.with_key(self.id)) or self._last

    def answer(self, reply: Mapping[str, Any]) -> None:
        """The reply to NEWORDER, also when it came too late for who asked."""
        self.accepted = reply.get("Success") == "OK"
        self.code, self.text = str(reply.get("ErrCode", "")), str(reply.get("ErrMsg", ""))

    @property
    def report(self) -> Optional[ExecutionReport]:
        """What was reported last; of a sliced order that of the newest part."""
        return self._last

    @property
    def fills(self) -> List[FillReport]:
        """Of all parts."""
        return [fill for report in self._book.with_key(self.id) for fill in self._book.fills_of(report)]

    @property
    def status(self) -> str:
        report = self._last
        if report is None:
            if self.accepted is None:
                return UNKNOWN
            return SENT if self.accepted else REJECTED
        if report.filled:
            return FILLED
        if report.report_id not in self._book.orders:
            return GONE
        if report.works:
            return PARTLY_FILLED if report.cum_qty else WORKING
        if report.exec_type in (ExecType.NEW, ExecType.REPLACED):
            return SENT
        return _ENDINGS.get(report.exec_type, ENDED)

    def reached(self, status: str) -> bool:
        if status == DONE:
            return self.status in FINAL
        if status == REPORTED:
            return self._last is not None
        if status == WORKING:
            return self.status in (WORKING, PARTLY_FILLED)
        return self.status == status

    def __repr__(self) -> str:
        return f"<order {self.id}: {self.status}>"

    def reported(self) -> ExecutionReport:
        """Its report; an order can be changed only when it has one."""
        if self._last is None:
            raise ValueError(f"order {self.id} is not reported yet: wait for \"{REPORTED}\" first")
        return self._last


def replacement(report_id: str, quantity: int, price: Optional[Price],
                stop_price: Optional[Price]) -> Dict[str, str]:  # fmt: skip
    """What REPLACEORDER takes. The quantity is always sent: without one it would count as 0."""
    param = {"ReportID": report_id, "OrderQty": _quantity(quantity)}
    if price is not None:
        param["Price"] = replace_price(price)
    if stop_price is not None:
        param["StopPrice"] = replace_price(stop_price)
    return param


class OrderView:
    """What both clients' orders have in common."""

    def __init__(self, core: OrderCore) -> None:
        self.core = core

    @property
    def id(self) -> str:
        return self.core.id

    @property
    def status(self) -> str:
        """One of: unknown (sent, but nobody knows whether it arrived), sent, working, partly filled,
        filled, cancelled, rejected, expired, ended (otherwise), gone (the platform began anew)."""
        return self.core.status

    @property
    def report(self) -> Optional[ExecutionReport]:
        return self.core.report

    @property
    def fills(self) -> List[FillReport]:
        return self.core.fills

    @property
    def filled_quantity(self) -> int:
        return (self.report.cum_qty or 0) if self.report else 0

    @property
    def average_price(self) -> Optional[Decimal]:
        return self.report.avg_price if self.report else None

    def __repr__(self) -> str:
        return f"<order {self.id}: {self.status}>"
