"""Ten lines: a client that buys, and says at which price."""

from halvane import Client, FillEvent

with Client.connect("DEMO", "demo-key", account="PAPER-1000001") as h:
    for account in h.accounts():
        print(account.account_mask, account.account_name)
    h.on_fill(lambda event: print(f"filled: {event.fill.matched_qty} at {event.fill.matched_price}"))
    order = h.buy("OV.S.PAPX.ALFA", 10)
    report = order.wait("filled", timeout=5)
    print(f"{order.id} is {order.status} at {report.avg_price}")
