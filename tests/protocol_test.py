"""The protocol as data: the schema's files are what the tables give, the tables are the gateway's, and all
that goes over the wire in a day on paper is as the schema has it. Takes the path of the program as its last
argument; with --write as the first one the examples in docs/protocol are written anew."""

import json
import re
import sys
import unittest

from running_gateway import PATIENCE, ROOT, Gateway, take_paths, until

from halvane import __version__, fields, protocol, schema
from halvane import NewOrder, OrderRejected, Side, symbols_of
from halvane.lint import Lint
from halvane.margin import Margin
from halvane.position import Position
from halvane.records import Account, CombinationOrder, DetailPosition, ExecutionReport, FillReport
from halvane.tracker import TrackerRow

(PROGRAM,) = take_paths(1)
WRITE = "--write" in sys.argv and not sys.argv.remove("--write")
FOLDER = ROOT / "docs" / "protocol"
EXAMPLES = FOLDER / "examples.md"
KINDS = {"Request": "request", "Reply": "reply", "DataType": "publication"}
MESSAGES = {
    *(f"{kind}.{name}" for name in protocol.OPERATIONS for kind in ("request", "reply")),
    *(f"publication.{kind}" for kind in protocol.PUBLICATIONS),
}

SOURCES = "\n".join(
    path.read_text() for room in ("publish", "request") for path in sorted((ROOT / room).rglob("*.cpp"))
)
RECORDS = {"kAccount": Account, "kExecutionReport": ExecutionReport, "kFillReport": FillReport,
           "kMargin": Margin, "kPosition": Position, "kCombinationOrder": CombinationOrder,
           "kDetailPosition": DetailPosition}  # fmt: skip
WRITTEN = {"Long": fields.INTEGER, "RawLong": fields.WHOLE, "Price": fields.PRICE, "AsIs": fields.TEXT,
           "AveragePrice": fields.AVERAGE, "Amount": fields.AMOUNT, "SixDecimals": fields.SIX,
           "Absent": fields.ABSENT}  # fmt: skip
TRACKED = {"kCents": fields.CENTS, "kPrice": fields.PRICE, "kCount": fields.INTEGER, "kWhole": fields.INTEGER}
PUT = {"Int": protocol.NUMBER, "Int64": protocol.WIDE, "Price": protocol.PRICE_TEXT,
       "ScaledPrice": protocol.PRICE_TEXT}  # fmt: skip


def rows_of(table):
    """The rows of a table of the gateway's: key, source, and what else stands there."""
    body = re.search(rf"\b{table}\[\] = \{{(.*?)^\}};", SOURCES, re.DOTALL | re.MULTILINE)
    return [(row[1], row[2], row[3]) for row in re.finditer(r'^ *\{L"([^"]*)",\s*([\w:]+)(.*)$', body[1], re.M)]


def forms_of(source, rest):
    if source == "UserKeys":
        return fields.USER_KEYS, fields.USER_KEYS
    default = fields.INTEGER if source in ("Int", "NamedInt") else fields.TEXT
    written = [WRITTEN[name] for name in re.findall(r"Write::(\w+)", rest)] or [default]
    return written[0], written[-1]


class Tables(unittest.TestCase):
    def test_the_files_are_made_from_the_tables(self):
        for name, text in schema.files(__version__).items():
            self.assertEqual((FOLDER / name).read_text(encoding="utf-8"), text,
                             f"{name} is old: python3 -m halvane.schema docs/protocol")  # fmt: skip

    def test_the_version_is_the_gateways(self):
        self.assertIn(f"project(Halvane VERSION {__version__} ", (ROOT / "CMakeLists.txt").read_text())

    def test_the_records_are_the_gateways(self):
        for table, record in RECORDS.items():
            expected = [(key, *forms_of(source, rest)) for key, source, rest in rows_of(table)]
            self.assertEqual([(row.key, row.published, row.restored) for row in record.fields], expected, table)
        tracked = [(key, TRACKED[mode]) for key, mode, _ in rows_of("kTracker")]
        self.assertEqual([(row.key, row.published) for row in TrackerRow.fields[4:]], tracked)
        signal = re.search(r"kSignalKeys\[\] = \{(.*?)\}", SOURCES, re.DOTALL)[1]
        keys = [row.key for row in protocol.PUBLICATIONS["CorvintaSignal"].record.fields]
        self.assertEqual(keys, re.findall(r'L"(\w+)"', signal))

    def test_the_requests_are_the_gateways(self):
        for table, members in [("kStockOrder", protocol.STOCK_ORDER), ("kFutOptOrder", protocol.FUTURES_ORDER),
                               ("kReplaceOrder", protocol.REPLACEMENT)]:  # fmt: skip
            rows = {key: PUT.get(put[5:], protocol.ANY_TEXT) for key, put, rest in rows_of(table)
                    if key and not key.startswith("UserKey") and put != "Put::PriceReset"}  # fmt: skip
            self.assertEqual(members, rows, table)
        self.assertEqual({row[0] for row in rows_of("kOperations")}, protocol.OPTIONAL.keys() | protocol.OPERATIONS.keys())

    def test_attributes_follow_from_keys(self):
        for record in [*RECORDS.values(), TrackerRow]:
            for row in record.fields:
                name = "user_keys" if row.key == "UserKey1" else fields.attribute_name(row.key)
                self.assertIn(row.name, (name, f"{name}_again"))

    def test_differences_are_named(self):
        account = {key: "1" for key in ("BrokerID", "Account", "UserName", "AccountMask", "AccountName",
                   "BrokerName", "Status", "AccountType", "OrderExchange", "Level", "AccountReleated",
                   "Region")}  # fmt: skip
        fill = {"ReportID": "F", "Account": "", "BrokerID": "", "Symbol": "", "Side": "1", "OrderID": "",
                "MatchedPrice": "1.5", "MatchedQty": "1", "PositionEffect": "", "TransactDate": "",
                "TransactTime": "", "UserKey1": "", "UserKey2": "", "UserKey7": ""}  # fmt: skip
        wrong_order = dict(sorted(account.items()))

        def accounts(row):
            return {"DataType": "ACCOUNTS", "Accounts": [account, row]}

        def filled(**changes):
            return {"DataType": "FILLEDREPORT", "Report": fill | changes}

        twice = json.dumps(accounts(account))[:-3] + ',"Region":"1"}]}'
        rows = [
            ("publication", accounts(account), None),
            ("publication", accounts(account | {"Status": "x"}), "Accounts[1].Status"),
            ("publication", accounts(account | {"Colour": "x"}), "Colour"),
            ("publication", accounts({"BrokerID": "1"}), "'Region' is a required"),
            ("publication", accounts(wrong_order), "Account stands where BrokerID should"),
            ("publication", twice, None),
            ("publication", filled(), None),
            ("publication", filled(MatchedPrice="1.50"), "Report.MatchedPrice"),
            ("publication", filled(UserKey2=7), "Report.UserKey2"),
            ("publication", {"DataType": "NEWS"}, "NEWS"),
            ("reply", {"Reply": "PONG", "Success": "Fail", "SessionKey": "", "ErrMsg": ""}, None),
            ("reply", {"Reply": "PONG", "Success": "Fail", "ErrCode": "1"}, "ErrMsg"),
            ("reply", {"Reply": "NEWORDER", "Success": "Fail", "ErrCode": "x"}, "ErrCode"),
            ("reply", {"Reply": "Req", "Success": "Fail", "SessionKey": "", "ErrMsg": "Undefined"}, None),
            ("reply", {"Success": "OK", "Reply": "PONG"}, "order of the members"),
            ("reply", "[1]", "Reply"),
        ]
        lint = Lint()
        for kind, message, expected in rows:
            text = message if isinstance(message, str) else json.dumps(message)
            found = lint.differences(kind, text.encode() + b"\0")
            if message == twice:
                self.assertRegex(found[0], "too many")
            elif expected is None:
                self.assertEqual(found, [], text)
            else:
                self.assertIn(expected, " ".join(found), text)
        self.assertEqual(len(lint.differences("reply", b'{"Reply":"PONG","Success":"OK"}')), 1)


MARKET = {
    "speed": 20,
    "start": "2026-11-18 10:00:00",
    "accounts": [{"brokerId": "PAPER", "account": "1000001", "balance": 10000000}],
    "exchanges": [{"exchange": "PAPX"}, {"exchange": "PAPF"}],
    "stocks": [{"security": "ALFA", "exchange": "PAPX", "price": 120, "tick": 0.05}],
    "futures": [{"security": "IDX", "exchange": "PAPF", "price": 20000, "tick": 1, "multiplier": 50,
                 "expiries": ["2026-11-18", "2026-12-16"]}],
    "options": [{"future": "IDX", "tick": 1, "months": 2, "strikes": [19000, 20000, 21000]}],
    "incidents": [{"kind": "rollDay", "after": 200}],
}  # fmt: skip


class Wire(unittest.TestCase):
    def setUp(self):
        self.lint, self.seen, self.found = Lint(), {}, []

    def look(self, kind, message):
        content = json.loads(message.rstrip(b"\0"))
        name = f"{kind}.{next(content[key] for key in KINDS if key in content)}"
        # The fullest one is the best example.
        if content.get("Success") != "Fail" and len(message) > len(self.seen.get(name, b"")):
            self.seen[name] = message
        self.found += self.lint.differences(kind, message)

    def test_a_day_on_paper_is_as_the_schema_has_it(self):
        gateway = Gateway(PROGRAM)
        self.addCleanup(gateway.remove)
        market = gateway.home / "market.json"
        market.write_text(json.dumps(MARKET))
        gateway.start(f"paper:{market}", gateway.system_name, "wire-key", "PaperStk,PaperOpt", "Corvinta")
        gateway.logged("[PublishWorker]working...")
        with gateway.connect(account="PAPER-1000001", tap=self.look) as client:
            self.ask_everything(client)
            last = {"request.LOGOUT", "reply.LOGOUT"}
            until(lambda: MESSAGES - last <= self.seen.keys(), "all publications")
        self.assertEqual((self.found, MESSAGES - self.seen.keys()), ([], set()))
        self.assertEqual(gateway.end(), 0)
        if WRITE:
            EXAMPLES.write_text(example_page(self.seen), encoding="utf-8")

    def ask_everything(self, client):
        client.ping()
        until(client.accounts, "accounts")
        order = client.buy("OV.S.PAPX.ALFA", 100, id="mine", keys={2: "strategy", 7: "g;h"})
        order.wait("filled", PATIENCE)
        resting = client.buy("OV.S.PAPX.ALFA", 100, price="110.05")
        resting.wait("working", PATIENCE)
        resting.replace(price="110.1", quantity=50)
        resting.cancel()
        refusals = [lambda: client.buy("OV.S.PAPX.NONE", 1), lambda: client.cancel("R0"), lambda: client.replace("R0", 1)]  # fmt: skip
        for refused in refusals:
            self.assertRaises(OrderRejected, refused)
        client.strategy("SIMPLE", {"BrokerID": "PAPER", "Account": "1000001", "Symbol": "OV.S.PAPX.ALFA",
                                   "Side": "2", "OrderQty": 50, "OrderType": "1"})  # fmt: skip
        client.instruments("PaperStk")
        options = symbols_of(client.instruments("PaperOpt"))[-2:]
        for side, symbol in zip((Side.BUY, Side.SELL), options):
            client.place(NewOrder(symbol, side, 1)).wait("filled", PATIENCE)
        client.combine(*options, 1, 9)
        until(client.combination_orders, "the combination")
        client.combination_positions()
        client.message("@desk", "a message")
        client.instrument("OV.S.PAPX.ALFA")
        for query in (client.positions, client.margins, client.tracker, client.restore_reports, client.restore_fills):
            query()

    def test_the_examples_are_whole_and_right(self):
        seen = set()
        for text in re.findall(r"^    (\{.*\})$", EXAMPLES.read_text(encoding="utf-8"), re.MULTILINE):
            self.look(KINDS[re.match(r'\{"(\w+)"', text)[1]], text.encode() + b"\0")
        self.assertEqual(self.found, [])
        self.assertEqual(MESSAGES - self.seen.keys(), seen)


def example_page(seen):
    """Requests and publications in the order of the tables, as they went over the wire."""
    key = json.loads(seen["request.PONG"])["SessionKey"].encode()
    page = ["# Every message, as it went over the wire\n",
            "Made by `tests/protocol_test.py --write` from a day on the paper platform, checked by that test",
            "against [halvane.schema.json](halvane.schema.json). [protocol.md](../protocol.md) tells what they mean.",
            "The zero byte at the end of replies and publications is left out.\n"]  # fmt: skip

    def show(name):
        text = seen[name].rstrip(b"\0").replace(key, b"57f44d5a13f273b7a725c9c181ffff8e").decode()
        return "    " + re.sub("Wire-[^\"]*\",\"ServiceKey\":\"wire-key", "DEMO\",\"ServiceKey\":\"demo-key", text)

    for name in protocol.OPERATIONS:
        page += [f"## {name}\n", show(f"request.{name}"), show(f"reply.{name}") + "\n"]
    page.append("# Publications\n")
    for kind in protocol.PUBLICATIONS:
        page += [f"## {kind}\n".replace("## ACCOUNTS", "## ACCOUNTS, published")
                 .replace("## POSITIONTRACKER", "## POSITIONTRACKER, published"),
                 show(f"publication.{kind}") + "\n"]  # fmt: skip
    return "\n".join(page).rstrip() + "\n"


if __name__ == "__main__":
    unittest.main()
