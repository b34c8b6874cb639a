#!/usr/bin/env python3
"""The demonstration: logs in, shows the accounts, places a market and a limit order for a stock, and
prints what the gateway replies and publishes, as it came over the wire. Ends with 0 when every step
gave what it should."""

import argparse
import os
import re
import sys
import time
import uuid

from halvane import Client, HalvaneError

SYMBOL = "OV.S.PAPX.ALFA"
BUY, MARKET, LIMIT = "1", "1", "2"


def heading(text):
    bold = sys.stdout.isatty() and "NO_COLOR" not in os.environ
    print(f"\n\033[1m{text}\033[0m" if bold else f"\n{text}", flush=True)


def show(text):
    print(f"  {text}", flush=True)


def check(holds, what):
    if not holds:
        raise HalvaneError(what)


def port_in_log(path):
    """The request port that the gateway wrote into its log last: it moves when it is taken."""
    with open(path, encoding="utf-8", errors="replace") as log:
        ports = re.findall(r"\]  RepPort:(\d+)$", log.read(), re.MULTILINE)
    check(ports, f"{path} names no request port")
    return int(ports[-1])


def log_in(client, system_name, service_key, seconds=30):
    """The gateway serves before its platform is ready, and publishes a little later still."""
    end = time.monotonic() + seconds
    while True:
        try:
            reply = client.log_in(system_name, service_key)
            if reply["SubPort"]:
                break
            client.log_out()
            problem = "the gateway does not publish"
        except HalvaneError as error:
            problem = error
        check(time.monotonic() < end, f"{problem}, also after {seconds} s")
        time.sleep(0.1)
    heading(f"The gateway logs {system_name} in")
    show(reply.text)
    check(re.fullmatch("[0-9a-f]{32}", reply["SessionKey"]), "the session key is none")


def accounts(client):
    reply = client.request("ACCOUNTS")
    heading("The accounts")
    show(reply.text)
    check(reply["Success"] == "OK" and reply["Accounts"], "there is no account")
    return reply["Accounts"]


def order(account, user_key, **fields):
    """What an order for some shares needs."""
    return {
        "BrokerID": account["BrokerID"],
        "Account": account["Account"],
        "Symbol": SYMBOL,
        "Side": BUY,
        "OrderQty": "100",
        "UserKey1": user_key,
    } | fields


def place(client, title, param):
    """Sends the order and shows request and reply; what becomes of it is published."""
    request = client.compose("NEWORDER", Param=param)
    heading(title)
    show(request.decode())
    reply = client.exchange(request)
    show(reply.text)
    check(reply["Success"] == "OK", "the order was not accepted")


def follow_reports(client, market_key, limit_key, seconds=15):
    """Shows publications until both orders are reported and the market order is filled."""
    titles = {market_key: "market order", limit_key: "limit order"}
    reported, filled = set(), False
    for publication in client.publications(seconds):
        report = publication.get("Report", {})
        key = report.get("UserKey1")
        of = f" of the {titles[key]}" if key in titles else ""
        heading(f"Published: {publication['DataType']}{of}")
        show(publication.text)
        if publication["DataType"] == "EXECUTIONREPORT" and key in titles:
            reported.add(key)
            filled |= key == market_key and report["CumQty"] == report["OrderQty"]
        if reported == set(titles) and filled:
            return
    missing = [titles[key] for key in titles if key not in reported]
    check(not missing, f"no report of the {' and the '.join(missing)} within {seconds} s")
    check(filled, f"the market order was not filled within {seconds} s")


def demonstrate(client, system_name, service_key):
    log_in(client, system_name, service_key)
    client.subscribe()
    account = accounts(client)[0]
    mark = f"demo-{uuid.uuid4().hex[:8]}"
    market_key, limit_key = f"{mark}-market", f"{mark}-limit"
    place(client, "A market order", order(account, market_key, OrderType=MARKET))
    place(client, "A limit order", order(account, limit_key, OrderType=LIMIT, Price="108.5"))
    follow_reports(client, market_key, limit_key)
    client.log_out()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    where = parser.add_mutually_exclusive_group(required=True)
    where.add_argument("--port", type=int, help="the gateway's request port")
    where.add_argument("--log", help="the gateway's log file, which names the port")
    parser.add_argument("--system-name", default="DEMO")
    parser.add_argument("--service-key", default="demo-key")
    options = parser.parse_args()
    try:
        port = options.port or port_in_log(options.log)
        with Client(port, timeout=5) as client:
            demonstrate(client, options.system_name, options.service_key)
    except (HalvaneError, OSError) as error:
        print(f"The demonstration failed: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
