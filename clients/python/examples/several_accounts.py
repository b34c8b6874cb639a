"""One idea for several accounts: the quantity is divided by what each has free, orders go out at once,
and every fill is told under its account."""

import asyncio
from collections import Counter
from decimal import Decimal
from typing import Counter as Tally
from typing import Dict

from halvane import AsyncClient, FillEvent

SYMBOL, QUANTITY = "OV.S.PAPX.BETU", 30


async def shares(h: AsyncClient) -> Dict[str, int]:
    """How much each account gets, by its mask; the first takes what does not divide."""
    free: Dict[str, Decimal] = {}
    for account in await h.accounts():
        rows = await h.margins(account)
        free[account.account_mask] = sum((row.excess_equity or Decimal(0) for row in rows), Decimal(0))
    total = sum(free.values())
    parts = {mask: int(QUANTITY * part / total) for mask, part in free.items()}
    parts[next(iter(parts))] += QUANTITY - sum(parts.values())
    return {mask: part for mask, part in parts.items() if part}


async def main() -> None:
    async with AsyncClient.connect("DEMO", "demo-key") as h:
        filled: Tally[str] = Counter()

        def count(event: FillEvent) -> None:
            filled[event.fill.account] += event.fill.matched_qty or 0

        h.on_fill(count)
        parts = await shares(h)
        orders = await asyncio.gather(*(h.buy(SYMBOL, part, account=mask) for mask, part in parts.items()))
        await asyncio.gather(*(order.wait("filled", timeout=10) for order in orders))
        await asyncio.sleep(0.1)  # a report comes before its fills
        for account, quantity in filled.items():
            print(f"{account}: {quantity} {SYMBOL}")


if __name__ == "__main__":
    asyncio.run(main())
