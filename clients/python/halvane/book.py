"""All orders and fills that the platform knows, kept by what it publishes and restores.

Publications and restored records may come in between each other in any way, as long as the
publications themselves are in order and everything restored was asked for after the book was made.
docs/protocol.md tells why nothing is missed then and nothing counted twice.
"""

from __future__ import annotations

from decimal import Decimal
from typing import Any, Dict, Iterable, List, Optional, Set, Tuple, Union

from .records import ExecutionReport, FillReport

Change = Union[ExecutionReport, FillReport]

_SIX_PLACES = Decimal("0.000001")


class Book:
    """The orders and the fills by their ReportID; the orders also by the client's own key."""

    def __init__(self) -> None:
        self.orders: Dict[str, ExecutionReport] = {}
        self.fills: Dict[str, FillReport] = {}
        self._of_order: Dict[str, List[FillReport]] = {}
        self._of_key: Dict[str, Dict[str, None]] = {}
        self._published: Set[str] = set()

    def publish_order(self, report: ExecutionReport) -> None:
        self._published.add(report.report_id)
        self._put(report)

    def restore_order(self, report: ExecutionReport) -> None:
        """One that was published meanwhile stays: if the restored one is newer, then so is a
        publication that is still to come."""
        if report.report_id not in self._published:
            self._put(report)

    def add_fill(self, fill: FillReport) -> bool:
        """Published or restored; whether it is a new one. Fills never change."""
        if fill.report_id in self.fills:
            return False
        self.fills[fill.report_id] = fill
        self._of_order.setdefault(fill.order_id, []).append(fill)
        return True

    def fills_of(self, report: ExecutionReport) -> List[FillReport]:
        return list(self._of_order.get(report.order_id, ())) if report.order_id else []

    def with_key(self, user_key1: str) -> List[ExecutionReport]:
        """The orders that bear this key, in the order in which they came: sliced orders have several."""
        return [self.orders[report_id] for report_id in self._of_key.get(user_key1, ())]

    def _put(self, report: ExecutionReport) -> None:
        self.orders[report.report_id] = report
        if report.user_key1:
            self._of_key.setdefault(report.user_key1, {})[report.report_id] = None


def carry_over(old: Book, new: Book) -> None:
    """The platform has not begun anew, so it knows what it knew: if it does not list it, then because it
    was away while it was asked."""
    for report_id, report in old.orders.items():
        if report_id not in new.orders:
            new.restore_order(report)
    for fill in old.fills.values():
        new.add_fill(fill)


def succeed(old: Book, new: Book) -> Tuple[List[Change], List[ExecutionReport]]:
    """What the new book of the same platform knows that the old one did not, orders before fills, and
    the orders that are gone. An order that is unchanged keeps its published form, which says more."""
    changes: List[Change] = []
    for report_id, report in new.orders.items():
        known = old.orders.get(report_id)
        if known is not None and _state(known) == _state(report):
            if report.restored and not known.restored:
                new.orders[report_id] = known
        else:
            changes.append(report)
    changes.extend(fill for key, fill in new.fills.items() if key not in old.fills)
    gone = [report for key, report in old.orders.items() if key not in new.orders]
    return changes, gone


def _state(report: ExecutionReport) -> Tuple[Any, ...]:
    """What tells two states of an order apart in either form."""
    return (
        report.order_id,
        report.order_qty,
        report.cum_qty,
        report.leaves_qty,
        report.exec_type,
        report.error_code,
        report.filled_orders_count,
        report.transact_date,
        report.transact_time,
        _six(report.price),
        _six(report.stop_price),
        _six(report.triggered_price),
    )


def _six(price: Optional[Decimal]) -> Optional[Decimal]:
    return None if price is None else price.quantize(_SIX_PLACES)


def newest(reports: Iterable[ExecutionReport]) -> Optional[ExecutionReport]:
    last = None
    for last in reports:
        pass
    return last
