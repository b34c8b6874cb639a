"""A bracket: an entry, and once it is filled a profit target and a stop loss, of which one cancels the
other. Prices follow from the entry's and are rounded to ticks."""

import asyncio
from decimal import Decimal

from halvane import AsyncClient, AsyncOrder, OrderEnded, OrderRejected

SYMBOL, QUANTITY = "OV.S.PAPX.ALFA", 10
TARGET, LOSS = Decimal("0.10"), Decimal("0.10")  # away from the entry


async def bracket(h: AsyncClient) -> AsyncOrder:
    """The one of the two that was filled."""
    entry = await h.buy(SYMBOL, QUANTITY)
    price = (await entry.wait("filled", timeout=10)).avg_price
    assert price is not None
    tick = Decimal((await h.instrument(SYMBOL))["TickSize"])
    above, below = (round((price + away) / tick) * tick for away in (TARGET, -LOSS))
    print(f"entered at {price}, target {above}, stop {below}")
    target = await h.sell(SYMBOL, QUANTITY, price=above)
    stop = await h.sell(SYMBOL, QUANTITY, stop_price=below)
    waits = {asyncio.ensure_future(leg.wait("filled")): leg for leg in (target, stop)}
    done, pending = await asyncio.wait(waits, return_when=asyncio.FIRST_COMPLETED)
    for wait in pending:
        wait.cancel()
        try:
            await waits[wait].cancel()
            await waits[wait].wait("cancelled", timeout=5)
        except (OrderRejected, OrderEnded):
            print("both were filled: the market was faster")
    return waits[done.pop()]


async def main() -> None:
    async with AsyncClient.connect("DEMO", "demo-key", account="PAPER-1000001") as h:
        order = await bracket(h)
        print(f"left at {order.average_price} by {order}")


if __name__ == "__main__":
    asyncio.run(main())
