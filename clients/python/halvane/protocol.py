"""The requests and publications there are: one row each. Clients, schema and documents follow them."""

from __future__ import annotations

from typing import Dict, NamedTuple, Optional, Tuple, Type

from .fields import Record
from .margin import Margin
from .position import Position
from .records import (
    Account,
    CombinationOrder,
    DetailPosition,
    ExecutionReport,
    FillReport,
    Signal,
    SymbolClear,
)
from .tracker import TrackerRow

PAGE = 50  # records of a paged reply
HEARTBEAT = 20  # seconds between two PINGs
ILLEGAL_SESSION = "the Session is illegal"

# How a member of a request is read.
NUMBER, WIDE, PRICE_TEXT, ANY_TEXT = "number", "wide number", "price text", "text"
Members = Dict[str, str]


class Operation(NamedTuple):
    """One request."""

    name: str
    members: Members = {}  # beside SessionKey
    param: Optional[Members] = None  # of the object Param
    rows: str = ""  # the reply's list
    record: Optional[Type[Record]] = None  # what stands in it
    restored: bool = False  # in which form
    # A heavy one waits until the platform has answered in full and holds a worker meanwhile.
    heavy: bool = False
    # Asking twice does no harm.
    repeatable: bool = True
    reply: Tuple[str, ...] = ()  # further members of a success
    coded: bool = False  # a refusal of the platform bears its code


class Publication(NamedTuple):
    """One kind of what is published."""

    kind: str
    member: str = ""
    record: Optional[Type[Record]] = None
    listed: bool = False


def _table(form: str, names: str) -> Members:
    return dict.fromkeys(names.split(), form)


_USER_KEYS = _table(ANY_TEXT, " ".join(f"UserKey{number}" for number in range(1, 101)))
STOCK_ORDER: Members = {
    **_table(ANY_TEXT, "Account BrokerID Symbol ContingentSymbol ExtCommands GroupID ChasePrice"),
    **_table(NUMBER, "Side OrderType TimeInForce TradeType ExCode OrderQty TrailingField TrailingType"),
    **_table(NUMBER, "Synthetic TouchField TouchCondition"),
    **_table(PRICE_TEXT, "Price StopPrice TouchPrice"),
    **_table(WIDE, "TrailingAmount"),
}
FUTURES_ORDER: Members = {
    **_table(ANY_TEXT, "Account BrokerID Symbol SymbolA SymbolB Exchange Security Security2 Month Month2"),
    **_table(ANY_TEXT, "CallPut CallPut2 ContingentSymbol GroupID ExtCommands Strategy ChasePrice"),
    **_table(PRICE_TEXT, "Price StopPrice TouchPrice Breakeven BreakevenOffset"),
    **_table(NUMBER, "GrpAcctOrdType SpreadType Side Side1 Side2 TimeInForce OrderType TrailingField"),
    **_table(NUMBER, "TrailingType TouchField TouchCondition OrderQty PositionEffect DayTrade Synthetic"),
    **_table(NUMBER, "GroupType SlicedType DiscloseQty Variance Interval LeftoverAction"),
    **_table(NUMBER, "SlicedPriceField SlicedTicks Threshold Consecutive NumberOfRetries RetryInterval"),
    **_table(WIDE, "StrikePrice StrikePrice2 TrailingAmount"),
}
SWITCHES = _table(ANY_TEXT, "SelfTradePrevention FlowControl FitOrderFreq DelayTransPosition")
REPLACEMENT: Members = {
    "ReportID": ANY_TEXT,
    **_table(NUMBER, "ReplaceExecType OrderQty"),
    **_table(PRICE_TEXT, "Price StopPrice"),
}
_ORDER: Members = {**STOCK_ORDER, **FUTURES_ORDER, **SWITCHES, **_USER_KEYS}
_COMBINATION = _table(
    ANY_TEXT, "BrokerID Account CombDirection Symbol Side CombinationType Volume OptCombID"
)
_PAGED = {"QryIndex": NUMBER}
_MASKED = {"AccountMask": ANY_TEXT}

_OPERATIONS = [
    Operation("LOGIN", param=_table(ANY_TEXT, "SystemName ServiceKey"), reply=("SessionKey", "SubPort")),
    Operation("LOGOUT"),
    Operation("PONG"),
    Operation("ACCOUNTS", rows="Accounts", record=Account, restored=True, heavy=True),
    Operation("NEWORDER", param=_ORDER, repeatable=False, coded=True),
    Operation("REPLACEORDER", param=REPLACEMENT, repeatable=False, reply=("ReportID",), coded=True),
    Operation("CANCELORDER", param=_table(ANY_TEXT, "ReportID Key"), repeatable=False,
              reply=("ReportID",), coded=True),
    Operation("NEWSTRATEGYORDER", param={"StrategyType": ANY_TEXT}, repeatable=False),
    Operation("OPTCOMB", param=_COMBINATION, repeatable=False),
    Operation("SENDMESSAGE", param=_table(ANY_TEXT, "System LineID Message"), repeatable=False),
    Operation("RESTOREREPORT", _PAGED, rows="Orders", record=ExecutionReport, restored=True, heavy=True),
    Operation("RESTOREFILLREPORT", _PAGED, rows="Orders", record=FillReport, restored=True, heavy=True),
    Operation("MARGINS", _MASKED, rows="Margins", record=Margin, heavy=True),
    Operation("POSITIONS", {**_PAGED, **_MASKED}, rows="Positions", record=Position, heavy=True),
    Operation("QUERYOPTCOMBORDER", {**_PAGED, **_MASKED}, rows="Orders", record=CombinationOrder,
              heavy=True),
    Operation("QUERYOPTCOMBPOSITION", {**_PAGED, **_MASKED}, rows="Positions", record=DetailPosition,
              heavy=True),
    Operation("POSITIONTRACKER", _MASKED, rows="Data", record=TrackerRow, heavy=True),
    Operation("QUERYALLINSTRUMENT", _table(ANY_TEXT, "Type DateTime"), reply=("Instruments",), heavy=True),
    Operation("QUERYINSTRUMENTINFO", _table(ANY_TEXT, "Symbol"), reply=("Info",)),
]  # fmt: skip
OPERATIONS: Dict[str, Operation] = {operation.name: operation for operation in _OPERATIONS}

# Those that a gateway knows only where its configuration asks for them.
OPTIONAL: Dict[str, Operation] = {name: Operation(name) for name in ("FEEDREPLAY", "FEEDSTATUS", "STATUS")}

_PUBLICATIONS = [
    Publication("PING"),
    Publication("ACCOUNTS", "Accounts", Account, listed=True),
    Publication("EXECUTIONREPORT", "Report", ExecutionReport),
    Publication("FILLEDREPORT", "Report", FillReport),
    Publication("REPORTRESET"),
    Publication("POSITIONTRACKER"),
    Publication("SYMBOLCLEAR", "Data", SymbolClear),
    Publication("CorvintaSignal", "Data", Signal),
]
PUBLICATIONS: Dict[str, Publication] = {each.kind: each for each in _PUBLICATIONS}


def is_paged(operation: Operation) -> bool:
    return "QryIndex" in operation.members


def port_of(system_name: str) -> int:
    """The request port that a system name stands for. A gateway whose port is taken moves on, and
    says in its log where to."""
    units = f"{system_name}-Trade".encode("utf-16-le")
    port = 50000 + sum(units[0::2]) + 256 * sum(units[1::2])
    return port - 10000 if port >= 60000 else port
