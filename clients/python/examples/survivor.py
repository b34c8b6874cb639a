"""A strategy that survives restarts, its own and the gateway's. It keeps no file: its orders bear ids
that follow from what it wants, so that after a restart it finds in the book what it has done already.

It keeps one buy order below the market at each of three distances. Start it twice: the second time it
places nothing."""

import sys
from decimal import Decimal
from typing import List

from halvane import Client, NewOrder, NotConnected, OutcomeUnknown, ResyncedEvent, Side, StaleEvent

NAME, SYMBOL, QUANTITY = "ladder", "OV.S.PAPX.ALFA", 5
STEPS = (Decimal("0.5"), Decimal("1"), Decimal("1.5"))
_LIVING = ("unknown", "sent", "working", "partly filled")


def missing(h: Client) -> List[int]:
    """The steps without an order that lives. One in doubt counts as living: nothing is placed twice."""
    living = set()
    for report in h.orders():
        if report.works and report.user_key1.startswith(f"{NAME}/"):
            living.add(int(report.user_key1.split("/")[1]))
    return [step for step in range(len(STEPS)) if step not in living and not in_doubt(h, step)]


def in_doubt(h: Client, step: int) -> bool:
    order = h.order(order_id(h, step))
    return order is not None and order.status in _LIVING


def order_id(h: Client, step: int) -> str:
    """The next one that was not used yet."""
    used = sum(report.user_key1.startswith(f"{NAME}/{step}/") for report in h.orders())
    return f"{NAME}/{step}/{used}"


def place(h: Client) -> None:
    info = h.instrument(SYMBOL)
    bid, tick = Decimal(info["Bid"]), Decimal(info["TickSize"])
    for step in missing(h):
        price = (bid - STEPS[step]) // tick * tick
        try:
            order = h.place(NewOrder(SYMBOL, Side.BUY, QUANTITY, price=price, id=order_id(h, step)))
            print(f"{order.id}: {QUANTITY} at {price}")
        except (OutcomeUnknown, NotConnected) as error:
            print(error)  # the next look at the book tells what is missing


def main() -> None:
    seconds = float(sys.argv[1]) if len(sys.argv) > 1 else None
    with Client.connect("DEMO", "demo-key", account="PAPER-1000001", patience=None) as h:
        place(h)
        for event in h.events(seconds=seconds):
            if isinstance(event, StaleEvent):
                print(f"waiting: {event.reason}")
            elif isinstance(event, ResyncedEvent):
                print(f"back, {len(event.gone)} orders are gone")
                place(h)
            elif not h.stale_reason:
                place(h)


if __name__ == "__main__":
    main()
