"""Halvane for Python: a gateway's orders, fills, accounts and positions.

    from halvane import Client

    with Client.connect("DEMO", "demo-key", account="PAPER-1000001") as h:
        order = h.buy("OV.S.PAPX.ALFA", 10, price="130")
        print(order.wait("filled", timeout=5).avg_price)

It needs pyzmq, nothing else. docs/protocol.md tells what goes over the wire.
"""

from .aio import AsyncClient, AsyncOrder
from .client import Client, Order
from .errors import (
    FeedGap,
    FeedStale,
    HalvaneError,
    LoginRefused,
    NoFeed,
    NotConnected,
    NotLetIn,
    OrderEnded,
    OrderRejected,
    OutcomeUnknown,
    RequestFailed,
    SessionExpired,
    TimedOut,
)
from .events import (
    AccountsEvent,
    Event,
    FillEvent,
    GapEvent,
    OrderEvent,
    OtherEvent,
    PingEvent,
    ResetEvent,
    ResyncedEvent,
    SignalEvent,
    StaleEvent,
    SymbolClearEvent,
    TrackerEvent,
)
from .margin import Margin
from .orders import ExecType, NewOrder, OrderType, Side, TimeInForce
from .position import Position
from .queries import symbols_of
from .records import Account, CombinationOrder, DetailPosition, ExecutionReport, FillReport, Signal
from .tracker import TrackerRow
from .version import VERSION
from .wire import replace_price

__version__ = VERSION
__all__ = [
    "Account", "AccountsEvent", "AsyncClient", "AsyncOrder", "Client", "CombinationOrder",
    "DetailPosition", "Event", "ExecType", "ExecutionReport", "FeedGap", "FeedStale", "FillEvent",
    "FillReport", "GapEvent", "HalvaneError", "LoginRefused", "Margin", "NewOrder", "NoFeed",
    "NotConnected", "NotLetIn", "Order",
    "OrderEnded", "OrderEvent", "OrderRejected", "OrderType", "OtherEvent", "OutcomeUnknown",
    "PingEvent", "Position", "RequestFailed", "ResetEvent", "ResyncedEvent", "SessionExpired", "Side",
    "Signal", "SignalEvent", "StaleEvent", "SymbolClearEvent", "TimeInForce", "TimedOut",
    "TrackerEvent", "TrackerRow", "replace_price", "symbols_of",
]  # fmt: skip
