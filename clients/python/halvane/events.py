"""What a client is told: one type for each kind of news."""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, List, Mapping, Optional

from .records import Account, ExecutionReport, FillReport, Signal

if TYPE_CHECKING:
    from .orders import OrderCore


class Event:
    """All of them."""


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
class OtherEvent(Event):
    """A kind that this version does not know."""

    kind: str
    raw: Mapping[str, Any]
