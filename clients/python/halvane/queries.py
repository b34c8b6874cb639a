"""Everything that can be asked of a gateway beside orders."""

from __future__ import annotations

import importlib
from typing import Any, Callable, Dict, List, Mapping, Optional, Sequence, Type, TypeVar, Union

from .errors import RequestFailed
from .fields import Record
from .margin import Margin
from .position import Position
from .protocol import OPERATIONS, is_paged
from .records import Account, CombinationOrder, DetailPosition, ExecutionReport, FillReport
from .session import Session
from .tracker import TrackerRow
from .wire import Reply

R = TypeVar("R", bound=Record)
WhichAccount = Union[str, Account]
Frame = Any  # a pandas.DataFrame


class Queries:
    """Those that the platform answers slowly go one after the other, on a lane of their own."""

    _session: Session
    _account: WhichAccount = ""
    _accounts: Dict[str, Account] = {}

    async def request(self, name: str, members: Optional[Mapping[str, Any]] = None,
                      timeout: Optional[float] = None) -> Reply:  # fmt: skip
        """Any request with its members beside SessionKey; the reply as it came, also a failure."""
        return await self._session.ask(name, members or {}, timeout)

    async def ping(self) -> None:
        """Whether the gateway answers and knows this session."""
        await self._ask("PONG", {})

    async def accounts(self) -> List[Account]:
        rows = await self._rows("ACCOUNTS", Account)
        self._accounts = {row.account_mask: row for row in rows}
        return rows

    async def account(self, which: WhichAccount = "") -> Account:
        """The account of that mask, or the client's own; one that nobody names must be the only one."""
        wanted = which or self._account
        if isinstance(wanted, Account):
            return wanted
        if not self._accounts or (wanted and wanted not in self._accounts):
            await self.accounts()
        only = list(self._accounts.values())
        if not wanted and len(only) == 1:
            return only[0]
        if wanted in self._accounts:
            return self._accounts[wanted]
        names = ", ".join(self._accounts) or "none"
        raise ValueError(f"there is no account {wanted}, only: {names}" if wanted else
                         f"name one of the accounts: {names}")  # fmt: skip

    async def margins(self, account: WhichAccount = "") -> List[Margin]:
        """The funds, one row for each currency."""
        return await self._rows("MARGINS", Margin, await self._mask(account))

    async def positions(self, account: WhichAccount = "") -> List[Position]:
        return await self._rows("POSITIONS", Position, await self._mask(account))

    async def combination_orders(self, account: WhichAccount = "") -> List[CombinationOrder]:
        return await self._rows("QUERYOPTCOMBORDER", CombinationOrder, await self._mask(account))

    async def combination_positions(self, account: WhichAccount = "") -> List[DetailPosition]:
        return await self._rows("QUERYOPTCOMBPOSITION", DetailPosition, await self._mask(account))

    async def tracker(self, account: WhichAccount = "") -> List[TrackerRow]:
        """What the position tracker holds; without an account, of all."""
        mask = await self._mask(account) if account else {"AccountMask": ""}
        return await self._rows("POSITIONTRACKER", TrackerRow, mask)

    async def restore_reports(self) -> List[ExecutionReport]:
        """All orders as the platform has them now. `orders()` has them without asking."""
        return await self._rows("RESTOREREPORT", ExecutionReport)

    async def restore_fills(self) -> List[FillReport]:
        return await self._rows("RESTOREFILLREPORT", FillReport)

    async def instruments(self, type: str, date: str = "") -> Any:
        """A contract list, nodes within nodes; `symbols_of` flattens it. `date` is yyyymmdd."""
        return (await self._ask("QUERYALLINSTRUMENT", {"Type": type, "DateTime": date}))["Instruments"]

    async def instrument(self, symbol: str) -> Dict[str, Any]:
        """What the platform knows of one symbol, as it gives it."""
        info: Dict[str, Any] = (await self._ask("QUERYINSTRUMENTINFO", {"Symbol": symbol}))["Info"]
        return info

    async def combine(self, leg_a: str, leg_b: str, volume: int, combination_type: int, *, side: int = 1,
                      account: WhichAccount = "", id: str = "") -> None:  # fmt: skip
        """Combines two option positions; `combination_orders` tells what came of it."""
        await self._combine("1", leg_a, leg_b, volume, combination_type, side, account, id)

    async def split(self, leg_a: str, leg_b: str, volume: int, combination_type: int, *, side: int = 1,
                    account: WhichAccount = "", id: str = "") -> None:  # fmt: skip
        await self._combine("2", leg_a, leg_b, volume, combination_type, side, account, id)

    async def _combine(self, direction: str, leg_a: str, leg_b: str, volume: int, kind: int, side: int,
                       account: WhichAccount, id: str) -> None:  # fmt: skip
        whose = await self.account(account)
        param = {"BrokerID": whose.broker_id, "Account": whose.account, "CombDirection": direction,
                 "Symbol": f"{leg_a}&{leg_b}", "Side": str(int(side)), "CombinationType": str(kind),
                 "Volume": str(volume), "OptCombID": id}  # fmt: skip
        await self._ask("OPTCOMB", {"Param": param})

    async def message(self, recipient: str, text: str, system: str = "LINE") -> None:
        await self._ask("SENDMESSAGE", {"Param": {"System": system, "LineID": recipient, "Message": text}})

    # Frames need pandas; numbers become floats there.

    async def accounts_df(self) -> Frame:
        return frame(await self.accounts())

    async def margins_df(self, account: WhichAccount = "") -> Frame:
        return frame(await self.margins(account))

    async def positions_df(self, account: WhichAccount = "") -> Frame:
        return frame(await self.positions(account))

    async def tracker_df(self, account: WhichAccount = "") -> Frame:
        return frame(await self.tracker(account))

    def orders_df(self) -> Frame:
        return frame(list(self._session.book.orders.values()))

    def fills_df(self) -> Frame:
        return frame(list(self._session.book.fills.values()))

    async def _mask(self, account: WhichAccount) -> Dict[str, str]:
        return {"AccountMask": (await self.account(account)).account_mask}

    async def _rows(self, name: str, record: Type[R], members: Mapping[str, Any] = {}) -> List[R]:
        if is_paged(OPERATIONS[name]):
            return [record(row) async for row in self._session.rows(name, members)]
        return [record(row) for row in (await self._ask(name, members))[OPERATIONS[name].rows]]

    async def _ask(self, name: str, members: Mapping[str, Any]) -> Reply:
        reply = await self._session.ask(name, members)
        if reply["Success"] != "OK":
            raise RequestFailed(name, reply.get("ErrMsg", ""))
        return reply


def frame(records: Sequence[Record]) -> Frame:
    """A pandas.DataFrame with a column for each attribute."""
    pandas = importlib.import_module("pandas")
    if not records:
        return pandas.DataFrame()
    fields = type(records[0]).fields
    columns: Dict[str, List[Any]] = {}
    for field in fields:
        values = [field.read(record.raw) for record in records]
        columns[field.name] = [_plain(value) for value in values]
    return pandas.DataFrame(columns)


def _plain(value: Any) -> Any:
    return value if value is None or isinstance(value, (str, int, dict)) else float(value)


def symbols_of(node: Mapping[str, Any]) -> List[str]:
    """All contracts in a list of instruments."""
    symbols = [str(symbol) for symbol in node.get("Contracts", [])]
    for child in node.get("Node", []):
        symbols.extend(symbols_of(child))
    return symbols
