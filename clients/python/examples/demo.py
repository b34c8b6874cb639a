#!/usr/bin/env python3
"""The demonstration: logs in, shows the accounts, places a market and a limit order for a stock, and
prints what goes over the wire meanwhile. Ends with 0 when every step gave what it should."""

import argparse
import os
import pathlib
import queue
import re
import sys
import time
from typing import Any, Dict, Set, Tuple

from halvane import Client, HalvaneError, NewOrder, Order, Side
from halvane.wire import parse

SYMBOL = "OV.S.PAPX.ALFA"
PATIENCE = 15.0
SETTLING = 1.0


def heading(text: str) -> None:
    bold = sys.stdout.isatty() and "NO_COLOR" not in os.environ
    print(f"\n\033[1m{text}\033[0m" if bold else f"\n{text}", flush=True)


def check(holds: object, what: str) -> None:
    if not holds:
        raise HalvaneError(what)


def port_in_log(path: str) -> int:
    """The request port that the gateway wrote into its log last: it moves when it is taken."""
    log = pathlib.Path(path).read_text(encoding="utf-8", errors="replace")
    ports = re.findall(r"\]  RepPort:(\d+)$", log, re.MULTILINE)
    check(ports, f"{path} names no request port")
    return int(ports[-1])


class Wire:
    """All that came and went, to be shown when its turn has come."""

    def __init__(self) -> None:
        kinds = ("request", "reply", "publication")
        self._messages: Dict[str, queue.SimpleQueue[bytes]] = {kind: queue.SimpleQueue() for kind in kinds}

    def tap(self, kind: str, message: bytes) -> None:
        self._messages[kind].put(message)

    def next(self, kind: str) -> Tuple[str, Dict[str, Any]]:
        """The next message of that kind, as text and as what it says."""
        try:
            message = self._messages[kind].get(timeout=PATIENCE)
        except queue.Empty:
            raise HalvaneError(f"there was no {kind} within {PATIENCE:g} s") from None
        text = message.rstrip(b"\0")
        return text.decode(), parse(text + b"\0")

    def show(self, kind: str, name: str) -> None:
        """The next request or reply of that name."""
        while True:
            text, message = self.next(kind)
            if message[kind.capitalize()] == name:
                return print(f"  {text}", flush=True)


def place(client: Client, wire: Wire, title: str, **wanted: Any) -> Order:
    order = client.place(NewOrder(SYMBOL, Side.BUY, 100, **wanted))
    heading(title)
    wire.show("request", "NEWORDER")
    wire.show("reply", "NEWORDER")
    return order


def follow(wire: Wire, orders: Dict[str, str], until_filled: str) -> None:
    """Shows publications until all orders are reported and one is filled."""
    reported: Set[str] = set()
    filled = False
    while reported != set(orders) or not filled:
        text, publication = wire.next("publication")
        report = publication.get("Report", {})
        key = report.get("UserKey1")
        heading(f"Published: {publication['DataType']}" + (f" of the {orders[key]}" if key in orders else ""))
        print(f"  {text}", flush=True)
        if publication["DataType"] == "EXECUTIONREPORT" and key in orders:
            reported.add(key)
            filled |= key == until_filled and report["CumQty"] == report["OrderQty"]


def demonstrate(system_name: str, service_key: str, port: int) -> None:
    wire = Wire()
    with Client.connect(system_name, service_key, port=port, tap=wire.tap) as client:
        heading(f"The gateway logs {system_name} in")
        wire.show("reply", "LOGIN")
        end = time.monotonic() + PATIENCE
        while not (accounts := client.accounts()):
            check(time.monotonic() < end, "there is no account")
        heading("The accounts")
        wire.show("reply", "ACCOUNTS")
        # The gateway learns of a subscription a moment after the connection stands. The client asks for what was
        # published before that; here it is to be seen as it comes.
        time.sleep(SETTLING)
        market = place(client, wire, "A market order", account=accounts[0])
        limit = place(client, wire, "A limit order", account=accounts[0], price="108.5")
        follow(wire, {market.id: "market order", limit.id: "limit order"}, market.id)
        check(market.wait("filled", PATIENCE).avg_price, "the market order has no price")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    where = parser.add_mutually_exclusive_group(required=True)
    where.add_argument("--port", type=int, help="the gateway's request port")
    where.add_argument("--log", help="the gateway's log file, which names the port")
    parser.add_argument("--system-name", default="DEMO")
    parser.add_argument("--service-key", default="demo-key")
    options = parser.parse_args()
    try:
        demonstrate(options.system_name, options.service_key, options.port or port_in_log(options.log))
    except (HalvaneError, OSError) as error:
        print(f"The demonstration failed: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
