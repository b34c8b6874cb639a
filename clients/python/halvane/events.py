"""What a client is told: one type for each kind of news."""

from __future__ import annotations

import datetime
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Callable, Dict, List, Mapping, Optional

from .records import Account, ExecutionReport, FillReport, Signal

if TYPE_CHECKING:
    from .orders import OrderCore


class Event:
    """All of them. What came over the numbered feed has its number there and the moment when it was
    published."""

    number: Optional[int] = None
    at: Optional[datetime.datetime] = None

    def set_place(self, number: int, time_ns: int) -> None:
        seconds, rest = divmod(time_ns, 1_000_000_000)
        at = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
        object.__setattr__(self, "number", number)
        object.__setattr__(self, "at", at.replace(microsecond=rest // 1000))


@dataclass(frozen=True)
class OrderEvent(Event):
    """An order has changed. `order` is there when this client placed it; `recovered` says that the
    change was missed and found out afterwards."""

    report: ExecutionReport
    order: Optional[OrderCore] = None
    recovered: bool = False


@dataclass(frozen=True)
class FillEvent(Event):
    """An order was filled, wholly or in part. Every fill is told of once, whatever goes wrong between."""

    fill: FillReport
    order: Optional[OrderCore] = None
    recovered: bool = False


@dataclass(frozen=True)
class StaleEvent(Event):
    """Nothing can be heard any more, and why; the client tries to come back by itself."""

    reason: str


@dataclass(frozen=True)
class ResyncedEvent(Event):
    """The book is the platform's again. What it knows newly was told of before this. `gone` are the
    orders that the platform knows no more: a new day, or a gateway that began anew."""

    orders: int
    fills: int
    gone: List[ExecutionReport]


@dataclass(frozen=True)
class AccountsEvent(Event):
    accounts: List[Account]


@dataclass(frozen=True)
class PingEvent(Event):
    """The heartbeat. It needs no answer from the user."""


@dataclass(frozen=True)
class ResetEvent(Event):
    """The platform begins its reports anew; ResyncedEvent follows."""


@dataclass(frozen=True)
class TrackerEvent(Event):
    """The position tracker has new figures; `tracker()` gives them."""


@dataclass(frozen=True)
class SymbolClearEvent(Event):
    symbol: str


@dataclass(frozen=True)
class SignalEvent(Event):
    signal: Signal


@dataclass(frozen=True)
class GapEvent(Event):
    """Numbers of the feed that nobody can give any more, and why. `last` is None where nobody knows
    how many they were."""

    first: int
    last: Optional[int]
    reason: str


@dataclass(frozen=True)
class OtherEvent(Event):
    """A kind that this version does not know."""

    kind: str
    raw: Mapping[str, Any]


_OF_KIND: Dict[str, Callable[[Mapping[str, Any], bool], Event]] = {
    "EXECUTIONREPORT": lambda said, recovered: OrderEvent(ExecutionReport(said["Report"]), None, recovered),
    "FILLEDREPORT": lambda said, recovered: FillEvent(FillReport(said["Report"]), None, recovered),
    "REPORTRESET": lambda said, _: ResetEvent(),
    "ACCOUNTS": lambda said, _: AccountsEvent([Account(row) for row in said["Accounts"]]),
    "PING": lambda said, _: PingEvent(),
    "POSITIONTRACKER": lambda said, _: TrackerEvent(),
    "SYMBOLCLEAR": lambda said, _: SymbolClearEvent(said["Data"]["Symbol"]),
    "CorvintaSignal": lambda said, _: SignalEvent(Signal(said["Data"])),
}


def event_of(publication: Mapping[str, Any], recovered: bool = False) -> Event:
    """What a publication tells, by itself."""
    kind = publication["DataType"]
    make = _OF_KIND.get(kind)
    return make(publication, recovered) if make else OtherEvent(kind, publication)
