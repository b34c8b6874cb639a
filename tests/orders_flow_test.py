"""Eight clients order at once what there is to order on the paper platform: stocks, futures, options and
spreads, at all prices and for all times, with replacements, cancellations and nonsense between, while one
thing after another goes wrong on the platform. After it, what was published, what is restored and what the
accounts hold have to agree to the unit. Takes the path of the program as its last argument;
HALVANE_FLOW_ORDERS says how many requests are sent."""

import collections
import json
import os
import random
import threading
import time
import unittest
import uuid

import zmq

from running_gateway import SERVICE_KEY, Gateway, connect, take_paths, until

from halvane import FillEvent, OrderEvent, ResetEvent, symbols_of

(PROGRAM,) = take_paths(1)
ORDERS = int(os.environ.get("HALVANE_FLOW_ORDERS", "10000"))
CLIENTS, IN_FLIGHT = 8, 12
PAUSE = 5 * CLIENTS / ORDERS  # after each request, so that few orders, too, meet several rounds of faults
BUY, SELL = "1", "2"
MARKET, LIMIT, STOP = "1", "2", "3"
ACCOUNTS = ["1000001", "1000002"]
LISTS = ["PaperStk", "PaperFut", "PaperOpt"]
AWAY, MARKET_CLOSED, REJECTED_ON_DEMAND = "101", "145", "146"

# What goes wrong in each round, which takes a second here and ten in the market.
ROUND, ROUNDS = 10, 300
FAULTS = [
    {"kind": "delayAnswers", "after": 1, "for": 2, "delayMs": 20},
    {"kind": "rejectOrders", "after": 2, "for": 3, "every": 5},
    {"kind": "refuseRows", "after": 4, "for": 2, "every": 3},
    {"kind": "resetReports", "after": 5},
    {"kind": "disconnect", "after": 6, "for": 1},
    {"kind": "closeMarket", "after": 8, "for": 1, "exchange": "PAPF"},
]
MARKET_FILE = {
    "speed": 10,
    "start": "2026-11-18 10:00:00",
    "accounts": [{"brokerId": "PAPER", "account": account, "balance": 10000000} for account in ACCOUNTS],
    "exchanges": [{"exchange": "PAPX"}, {"exchange": "PAPF"}],
    "stocks": [
        {"security": "ALFA", "exchange": "PAPX", "price": 120, "tick": 0.05, "commission": 0.001},
        {"security": "DOLI", "exchange": "PAPX", "price": 18.3, "tick": 0.01, "commission": 0.001425},
    ],
    "futures": [
        {"security": "IDX", "exchange": "PAPF", "price": 20000, "tick": 1, "quoteSize": 30, "multiplier": 50,
         "margin": 0.06, "carry": 0.0005, "commissionPerLot": 2, "volatility": 0.15},
        {"security": "ORE", "exchange": "PAPF", "price": 1850, "tick": 0.1, "quoteSize": 20, "multiplier": 100},
    ],
    "options": [{"future": "IDX", "tick": 1, "quoteSize": 30, "strikes": [19000, 20000, 21000]}],
}  # fmt: skip


class Recorder:
    """Keeps all that is published, as the package tells it. What it finds out afterwards does not count."""

    def __init__(self, client):
        self.reports = collections.defaultdict(list)  # by report id, in order
        self.report_ids = collections.defaultdict(list)  # by the client's key, as they appear
        self.fills = []
        self.resets = 0
        self.working = {}  # report id to its newest report
        client.on(OrderEvent, self.note)
        client.on(FillEvent, lambda event: self.fills.append(event.fill.raw))
        client.on(ResetEvent, self.note_reset)

    def note_reset(self, _):
        self.resets += 1

    def note(self, event):
        report, identity = event.report.raw, event.report.report_id
        if event.recovered:
            return
        if identity not in self.reports:
            self.report_ids[report["UserKey1"]].append(identity)
        self.reports[identity].append(report)
        if event.report.works:
            self.working[identity] = report
        else:
            self.working.pop(identity, None)


class Trader(threading.Thread):
    """Sends requests, several at a time, and keeps what each was answered with."""

    def __init__(self, gateway, number, requests, recorder):
        super().__init__()
        self.number, self.requests, self.recorder = number, requests, recorder
        self.dice = random.Random(number)
        self.client = gateway.logged_in_client()
        self.socket = connect(zmq.DEALER, gateway.port())
        self.waiting = {}  # envelope to what was asked for
        self.answers = []  # (what was asked for, reply)
        self.fault = None

    def read_market(self):
        lists = [self.client.request("QUERYALLINSTRUMENT", Type=name)["Instruments"] for name in LISTS]
        self.symbols = [symbols_of(each) for each in lists]
        self.infos = {symbol: self.info(symbol) for symbols in self.symbols for symbol in symbols}

    def info(self, symbol):
        ask = self.client.request
        return until(lambda: ask("QUERYINSTRUMENTINFO", Symbol=symbol).get("Info"), f"prices of {symbol}")

    def run(self):
        try:
            self.read_market()
            for number in range(self.requests):
                key = f"{self.number}-{number}"
                name, param = self.draw(key)
                self.send(key, name, {"Param": param} if param else {})
                time.sleep(PAUSE)
            while self.waiting:
                self.receive()
        except Exception as fault:  # shown by the test
            self.fault = fault
        finally:
            self.socket.close(0)
            self.client.close()

    def send(self, key, name, members):
        self.waiting[key] = name
        request = self.client.compose(name, **members)
        self.socket.send_multipart([key.encode(), b"", request])
        if len(self.waiting) >= IN_FLIGHT:
            self.receive()

    def receive(self):
        envelope, _, reply = self.socket.recv_multipart()
        key = envelope.decode()
        self.answers.append((key, self.waiting.pop(key), json.loads(reply[:-1])))

    def draw(self, key):
        kind = self.dice.random()
        if kind < 0.07:
            return "CANCELORDER", {"ReportID": self.some_report(), "Key": ""}
        if kind < 0.14:
            quantity = str(self.dice.randint(0, 12))
            return "REPLACEORDER", {"ReportID": self.some_report(), "OrderQty": quantity}
        if kind < 0.18:
            return "NEWORDER", self.nonsense(key)
        if kind < 0.28:
            return "NEWORDER", self.spread(key)
        if kind < 0.32:
            return "NEWSTRATEGYORDER", self.strategy(key)
        if kind < 0.34:
            return "ACCOUNTS", None
        return "NEWORDER", self.order(key)

    def some_report(self):
        working = list(self.recorder.working)
        return self.dice.choice(working) if working else "none"

    def common(self, key):
        dice = self.dice
        return {"BrokerID": "PAPER", "Account": dice.choice(ACCOUNTS), "Side": dice.choice([BUY, SELL]),
                "OrderQty": str(dice.randint(1, 5)), "OrderType": MARKET,
                "TimeInForce": dice.choice(["", "0", "1", "2", "3"]), "UserKey1": key}  # fmt: skip

    def near(self, symbol):
        """A price a few ticks around what was asked for at the start."""
        info = self.infos[symbol]
        ticks = round(float(info["Ask"]) / float(info["TickSize"])) + self.dice.randint(-6, 6)
        return f"{max(ticks, 1) * float(info['TickSize']):.4f}"

    def order(self, key):
        symbol = self.dice.choice(self.dice.choices(self.symbols, [4, 3, 3])[0])
        param = self.common(key) | {"Symbol": symbol}
        kind = self.dice.random()
        if kind < 0.6:
            param |= {"OrderType": LIMIT, "Price": self.near(symbol)}
        elif kind < 0.65:
            param |= {"OrderType": STOP, "StopPrice": self.near(symbol)}
        return param

    def spread(self, key):
        future = [symbol for symbol in self.symbols[1] if ".IDX." in symbol]
        legs = self.dice.choice([future, self.dice.sample(self.symbols[2], 2), [future[0], self.symbols[2][0]]])
        param = self.common(key) | {"Symbol": legs[0], "SymbolA": legs[0], "SymbolB": legs[1]}
        if self.dice.random() < 0.3:
            param |= {"Side2": param["Side"]}
        if self.dice.random() < 0.5:
            net = float(self.infos[legs[0]]["Ask"]) - float(self.infos[legs[1]]["Ask"])
            param |= {"OrderType": LIMIT, "Price": str(round(net) + self.dice.randint(-20, 20))}
        return param

    def strategy(self, key):
        symbol = self.dice.choice(self.symbols[1])
        kind = self.dice.choice(["SIMPLE", "ICEBERG", "UNHEARD-OF"])
        return self.common(key) | {"StrategyType": kind, "Symbol": symbol, "OrderType": LIMIT,
                                   "TimeInForce": "1", "Price": self.near(symbol), "DiscloseQty": 2}  # fmt: skip

    def nonsense(self, key):
        return self.order(key) | self.dice.choice([
            {"Symbol": "OV.S.PAPX.NONE"},
            {"Symbol": "no symbol"},
            {"Account": "1"},
            {"Side": "x"},
            {"OrderQty": "-1"},
            {"OrderType": "9"},
            {"OrderType": LIMIT, "Price": "1.2.3"},
            {"TouchPrice": "100", "TouchCondition": "1"},
        ])  # fmt: skip


class Flow(unittest.TestCase):
    def setUp(self):
        self.gateway = Gateway(PROGRAM)
        self.addCleanup(self.gateway.remove)
        rounds = [fault | {"after": fault["after"] + ROUND * number} for number in range(ROUNDS) for fault in FAULTS]
        path = self.gateway.home / "market.json"
        path.write_text(json.dumps(MARKET_FILE | {"incidents": rounds}))
        self.gateway.start(f"paper:{path}", self.gateway.system_name, SERVICE_KEY, ",".join(LISTS), "none")
        self.client = self.gateway.connect(account=f"PAPER-{ACCOUNTS[0]}")
        self.addCleanup(self.client.close)
        self.probes = set()  # keys of orders that the recorder may have missed
        self.recorder = Recorder(self.client)

    def send(self, name, **param):
        return self.client.request(name, {"Param": param})

    def restore(self, name, least):
        """All rows. While the platform is away it has none: there must be at least so many."""
        rows = []

        def page():
            found = self.client.request(name, {"QryIndex": str(len(rows))})["Orders"]
            rows.extend(found)
            return found or len(rows) >= least

        while until(page, f"{least} rows of {name}") is not True:
            pass
        return rows

    def positions(self, account):
        return [row.raw for row in self.client.positions(f"PAPER-{account}")]

    def wait_for_the_recorder(self):
        """Sends orders that are refused by the market until the recorder hears of one."""

        def heard():
            key = uuid.uuid4().hex
            self.probes.add(key)
            self.send("NEWORDER", BrokerID="PAPER", Account=ACCOUNTS[0], Symbol="OV.S.PAPX.ALFA", Side=BUY,
                      OrderType=LIMIT, OrderQty="1", Price="10000", UserKey1=key)  # fmt: skip
            return key in self.recorder.report_ids

        until(heard, "a publication")

    def bring_to_rest(self):
        """Cancels what works until nothing does."""

        def at_rest():
            for identity in list(self.recorder.working):
                self.send("CANCELORDER", ReportID=identity, Key="")
            return not self.recorder.working

        until(at_rest, "no order works any more")

    def trade(self):
        traders = [
            Trader(self.gateway, number, ORDERS // CLIENTS, self.recorder) for number in range(CLIENTS)
        ]
        for trader in traders:
            trader.start()
        for trader in traders:
            trader.join()
            if trader.fault:
                raise trader.fault
            self.assertEqual(len(trader.answers), ORDERS // CLIENTS)
        return [answer for trader in traders for answer in trader.answers]

    def check_answers(self, answers):
        """Orders that were accepted have reports, those that were refused have none."""
        kinds = collections.Counter()
        for key, name, reply in answers:
            self.assertEqual(reply["Reply"], name)
            reports = len(self.recorder.report_ids.get(key, []))
            if name == "ACCOUNTS":
                self.assertEqual([row["Account"] for row in reply["Accounts"]], ACCOUNTS)
                continue
            kinds[name, reply["Success"]] += 1
            kinds[name, reply.get("ErrCode")] += 1
            if name == "NEWORDER":
                self.assertEqual(reports, reply["Success"] == "OK", reply)
            if name == "NEWSTRATEGYORDER":  # answered alike when the platform is away
                kinds[name, reports > 0] += 1
        for name in ("NEWORDER", "REPLACEORDER", "CANCELORDER"):
            for what in ("OK", "Fail", AWAY):
                self.assertGreater(kinds[name, what], 0, (name, what))
        # Of one kind of three that never has reports there would be half as many.
        self.assertGreater(kinds["NEWSTRATEGYORDER", True], 2 * kinds["NEWSTRATEGYORDER", False])

    def check_reports(self):
        """None is missing: the last one of an order lists them all, and it is what is restored."""
        published = self.recorder.reports
        for reports in published.values():
            history = reports[-1]["ExecHis"].split(";")
            self.assertEqual([report["ExecType"] for report in reports], history)
            self.assertEqual(reports[-1]["LeavesQty"], "0")
        rows = self.restore("RESTOREREPORT", len(published))
        missed = self.probes - self.recorder.report_ids.keys()
        restored = {row["ReportID"]: row for row in rows if row["UserKey1"] not in missed}
        self.assertCountEqual(restored, published)
        for identity, row in restored.items():
            last = published[identity][-1]
            for name in ("Account", "Symbol", "Side", "OrderID", "OrderQty", "CumQty", "LeavesQty",
                         "ExecType", "ErrorCode", "FilledOrdersCount", "UserKey1"):  # fmt: skip
                self.assertEqual(row[name], last[name], name)

    def check_fills(self):
        """They are the restored ones and add up to what the orders' reports say."""
        restored = self.restore("RESTOREFILLREPORT", len(self.recorder.fills))
        for row in restored:
            row.pop("QryIndex")
        published = {fill["ReportID"]: fill for fill in self.recorder.fills}
        self.assertEqual(len(published), len(self.recorder.fills))
        self.assertEqual({row["ReportID"]: row for row in restored}, published)
        of_order = collections.defaultdict(list)
        for fill in restored:
            of_order[fill["OrderID"]].append(fill)
        for reports in self.recorder.reports.values():
            self.check_fills_of(reports[-1], of_order.pop(reports[-1]["OrderID"], []))
        self.assertFalse(of_order)
        return restored

    def check_fills_of(self, report, fills):
        self.assertEqual(int(report["FilledOrdersCount"]), len(fills))
        quantities, amounts = collections.Counter(), collections.Counter()
        for fill in fills:
            quantities[fill["Symbol"]] += int(fill["MatchedQty"])
            sign = 1 if fill["Side"] == report["Side"] or "^" not in report["Symbol"] else -1
            amounts[fill["Symbol"]] += sign * int(fill["MatchedQty"]) * float(fill["MatchedPrice"])
        legs = 2 if "^" in report["Symbol"] else 1
        self.assertIn(len(quantities), (0, legs))
        if not fills:
            self.assertEqual((report["CumQty"], report["AvgPrice"]), ("0", ""))
            return
        self.assertEqual(set(quantities.values()), {int(report["CumQty"])})
        average = sum(amounts.values()) / int(report["CumQty"])
        self.assertAlmostEqual(average, float(report["AvgPrice"]), 5)

    def check_positions(self, fills):
        held = collections.Counter()
        bought, sold = collections.Counter(), collections.Counter()
        for fill in fills:
            where = fill["Account"], fill["Symbol"]
            (bought if fill["Side"] == BUY else sold)[where] += int(fill["MatchedQty"])
        for where in bought.keys() | sold.keys():
            held[where] = bought[where] - sold[where]
        for account in ACCOUNTS:
            expected = {symbol: net for (whose, symbol), net in held.items() if whose == account}
            until(lambda: len(self.positions(account)) == len(expected), "the counts of the positions")
            for row in self.positions(account):
                where = account, row["Symbol"]
                net = int(row["SumLongQty"]) - int(row["SumShortQty"])
                self.assertEqual(net, expected.pop(row["Symbol"]), where)
                self.assertEqual((int(row["TdBuyQty"]), int(row["TdSellQty"])), (bought[where], sold[where]))
                self.assertEqual((row["WorkingLong"], row["WorkingShort"]), ("0", "0"))
            self.assertFalse(expected)

    def check_faults(self):
        codes = collections.Counter(reports[-1]["ErrorCode"] for reports in self.recorder.reports.values())
        self.assertGreater(codes[MARKET_CLOSED], 0)
        self.assertGreater(codes[REJECTED_ON_DEMAND], 0)
        self.assertGreater(self.recorder.resets, 0)

    def test_everything_agrees_to_the_unit(self):
        self.wait_for_the_recorder()
        answers = self.trade()
        accepted = [key for key, name, reply in answers if name == "NEWORDER" and reply["Success"] == "OK"]
        until(lambda: all(key in self.recorder.report_ids for key in accepted), "reports of all orders")
        self.bring_to_rest()
        self.check_answers(answers)
        self.check_reports()
        fills = self.check_fills()
        self.check_positions(fills)
        self.check_faults()
        spreads = [r for r in self.recorder.reports.values() if "^" in r[-1]["Symbol"] and r[-1]["CumQty"] != "0"]
        self.assertGreater(len(fills), len(answers) // 4)
        self.assertGreater(len(spreads), 0)
        self.client.close()
        self.assertEqual(self.gateway.end(), 0)


if __name__ == "__main__":
    unittest.main()
