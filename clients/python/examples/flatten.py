"""Flattens an account: cancels what works there, then closes every position at the market."""

import contextlib
import sys
from typing import List

from halvane import Client, Order, OrderRejected, TimedOut

SECONDS = 10.0


def flatten(h: Client) -> None:
    account = h.account()
    for report in h.orders():
        if report.works and (report.broker_id, report.account) == (account.broker_id, account.account):
            with contextlib.suppress(OrderRejected):  # it was filled meanwhile
                h.cancel(report.report_id)
    closing: List[Order] = []
    for row in h.positions():
        net = (row.sum_long_qty or 0) - (row.sum_short_qty or 0)
        if net:
            print(f"closing {net} {row.symbol}")
            closing.append((h.sell if net > 0 else h.buy)(row.symbol, abs(net)))
    for order in closing:
        order.wait("filled", timeout=SECONDS)


def main() -> int:
    with Client.connect("DEMO", "demo-key", account="PAPER-1000001") as h:
        try:
            flatten(h)
        except (OrderRejected, TimedOut) as error:
            print(f"not flat: {error}", file=sys.stderr)
            return 1
        print("flat")
    return 0


if __name__ == "__main__":
    sys.exit(main())
