"""A live view. It outlives the gateway: what is old is called stale, and what comes back is shown."""

from __future__ import annotations

import collections
import contextlib
import itertools
import threading
import time
from typing import Any, Deque, Dict, List, Optional

from rich.console import Group
from rich.live import Live
from rich.text import Text

from ..client import Client
from ..errors import HalvaneError
from ..events import Event, FillEvent, OrderEvent
from ..margin import Margin
from ..position import Position
from .setup import Where, print_json, table

_REFRESH = 0.5  # seconds between two pictures
_POLL = 2.0  # between two questions for positions and funds
_RATE_OVER = 10.0  # seconds
_ROWS = 15


class Rates:
    """How many events of a kind came in a second, lately."""

    def __init__(self) -> None:
        self._times: Dict[str, Deque[float]] = collections.defaultdict(collections.deque)

    def count(self, kind: str) -> None:
        self._times[kind].append(time.monotonic())

    def of(self, kind: str) -> float:
        times, since = self._times[kind], time.monotonic() - _RATE_OVER
        while times and times[0] < since:
            times.popleft()
        return len(times) / _RATE_OVER


class Top:
    def __init__(self, where: Where, as_json: bool) -> None:
        self._where, self._as_json = where, as_json
        self._rates = Rates()
        self._positions: List[Position] = []
        self._margins: List[Margin] = []
        self._gateway = ""  # what STATUS says, of a gateway that has it
        self._answered: Dict[str, int] = {}
        self._ended = threading.Event()

    def run(self, seconds: Optional[float]) -> None:
        with self._where.connect(patience=None) as client:
            client.on(Event, self._note)
            poller = threading.Thread(target=self._poll, args=(client,), daemon=True)
            poller.start()
            try:
                self._draw(client, seconds)
            finally:
                self._ended.set()

    def _note(self, event: Any) -> None:
        if isinstance(event, (OrderEvent, FillEvent)):
            self._rates.count("fills" if isinstance(event, FillEvent) else "reports")

    def _poll(self, client: Client) -> None:
        """On a thread of its own: a gateway that is away keeps these questions waiting."""
        while not self._ended.is_set():
            with contextlib.suppress(HalvaneError):
                masks = [each.account_mask for each in client.accounts()]
                masks = [self._where.account] if self._where.account else masks
                self._positions = [row for mask in masks for row in client.positions(mask)]
                self._margins = [row for mask in masks for row in client.margins(mask)]
                self._gateway = self._look_at(client)
            self._ended.wait(_POLL)

    def _look_at(self, client: Client) -> str:
        status = client.request("STATUS")
        if status["Success"] != "OK":
            return ""
        answered = {row["Request"]: int(row["Count"]) for row in status["Operations"]}
        before, self._answered = self._answered, answered
        slowest = max(status["Operations"], key=lambda row: int(row["P99Us"]))
        held = [f"{row['Request']} for {int(row['RunsMs']) / 1000:.1f} s" for row in status["Workers"]
                if int(row["RunsMs"]) >= 1000]  # fmt: skip
        feed = client.request("FEEDSTATUS")
        platform = status["Platform"]
        said = {
            "version": status["Version"],
            "platform": "PAPER" if platform["Paper"] == "1" else platform["Address"],
            "sessions": len(status["Sessions"]),
            "requests/s": round((sum(answered.values()) - sum(before.values())) / _POLL) if before else "-",
            "slowest p99": f"{slowest['Request']} {int(slowest['P99Us']) / 1000:.1f} ms",
            "held": ", ".join(held) or "none",
            "memory": f"{int(status['MemoryBytes']) / 1e6:.0f} MB",
            "feed": (feed["Failure"] or feed["Last"]) if feed["Success"] == "OK" else "none",
        }
        return "  ".join(f"{name} {value}" for name, value in said.items())

    def _draw(self, client: Client, seconds: Optional[float]) -> None:
        end = None if seconds is None else time.monotonic() + seconds
        pictures = itertools.takewhile(lambda _: end is None or time.monotonic() < end, itertools.count())
        if self._as_json:
            for _ in pictures:
                print_json(self._summary(client))
                time.sleep(1.0)
            return
        with Live(self._picture(client), auto_refresh=False, screen=True) as live:
            for _ in pictures:
                live.update(self._picture(client), refresh=True)
                time.sleep(_REFRESH)

    def _summary(self, client: Client) -> Dict[str, Any]:
        orders = client.orders()
        return {
            "stale": client.stale_reason,
            "orders": len(orders),
            "working": sum(order.works for order in orders),
            "fills": len(client.fills()),
            "reports_per_second": self._rates.of("reports"),
            "fills_per_second": self._rates.of("fills"),
            "unrealized_pl": str(sum(row.unrealized_pl or 0 for row in self._positions)),
            "equity": str(sum(row.total_equity or 0 for row in self._margins)),
        }

    def _picture(self, client: Client) -> Group:
        summary = self._summary(client)
        stale = summary.pop("stale")
        state = Text(f"stale: {stale}", style="bold red") if stale else Text("live", style="green")
        line = "  ".join(f"{name.replace('_', ' ')} {value}" for name, value in summary.items())
        orders = [order for order in client.orders() if order.works][-_ROWS:]
        columns = ("symbol", "side", "order_qty", "cum_qty", "price", "avg_price", "user_key1")
        held = ("account", "symbol", "sum_long_qty", "sum_short_qty", "market_price", "unrealized_pl",
                "today_profit")  # fmt: skip
        rows = [[getattr(order, name) for name in columns] for order in orders]
        positions = [[getattr(row, name) for name in held] for row in self._positions[:_ROWS]]
        return Group(Text(f"{self._where.system}  ") + state, self._gateway, line, "", table(rows, columns, "working orders"),
                     "", table(positions, held, "positions"))  # fmt: skip
