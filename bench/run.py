"""Measures the gateway beside its own limits, in rounds that alternate, and prints medians, ranges and ratios.
docs/performance.md says what is measured and how to read it.

    run.py BINARIES [FILTER] [--rounds N] [--seconds N] [--orders N]

FILTER is a regular expression on the names of the groups, which are the functions of the table at the end;
--orders is how many there are where a page is to cost what it costs with a hundred."""

import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time

import zmq

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "tests"))
from running_gateway import SERVICE_KEY, Gateway, PlainClient, connect

STOCKS = 60
MARKET = {
    "accounts": [{"brokerId": "PAPER", "account": "1000001", "balance": 100_000_000_000}],
    "exchanges": [{"exchange": "PAPX"}],
    "stocks": [{"security": f"S{n:02}", "exchange": "PAPX", "price": 100, "tick": 0.05, "quoteSize": 1_000_000}
               for n in range(STOCKS)],
}  # fmt: skip
LINE = "| {:50} | {:8} | {:>9} | {:>9} | {:>9} | {:9} | {:>6} | {:8} |"
DELAY_MS = 2500
DELAYED = MARKET | {"incidents": [{"kind": "delayAnswers", "after": 0, "for": 86_400, "delayMs": DELAY_MS}]}

PONG = '{"Request":"PONG","SessionKey":"@"}'
LOG_IN = '{"Request":"LOGIN","Param":{"SystemName":"@SYSTEM","ServiceKey":"' + SERVICE_KEY + '"}}'
ORDER = ('{"Request":"NEWORDER","SessionKey":"@","Param":{"BrokerID":"PAPER","Account":"1000001",'
         '"Symbol":"OV.S.PAPX.S%02d","Side":"1","OrderType":"%d","Price":"95","TimeInForce":"1","OrderQty":"1"}}')  # fmt: skip
RESTING, FILLED = ORDER % (0, 2), 1  # the price is far below the market's; order type 1 is filled at once
PAGES = {  # of fifty rows, where there are so many
    "RESTOREREPORT": '"QryIndex":"0"',
    "RESTOREFILLREPORT": '"QryIndex":"0"',
    "POSITIONS": '"QryIndex":"0","AccountMask":"PAPER-1000001"',
    "MARGINS": '"AccountMask":"PAPER-1000001"',
    "POSITIONTRACKER": '"AccountMask":"PAPER-1000001"',
}


def page(name, members=None):
    return f'{{"Request":"{name}","SessionKey":"@",{members or PAGES[name]}}}'


def padded(size):
    return PONG[:-1] + ',"Padding":"' + "x" * (size - len(PONG) - 44) + '"}'


class Bare:
    """bench_echo, which ends with its input."""

    def __init__(self, bench, *words):
        words = [bench.binaries / "bench_echo", *words]
        self.process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.port = int(self.process.stdout.readline())
        self.key, self.system_name = "0" * 32, "BARE"

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()

    def __enter__(self):
        return self


class Paper(Gateway):
    """The gateway on a market of its own, with a session."""

    def __init__(self, bench, market=MARKET, feed=None):
        super().__init__(bench.binaries / "Halvane64")
        (self.folder / "market.json").write_text(json.dumps(market))
        if feed is not None:
            (self.folder / "Configs").mkdir()
            (self.folder / "Configs" / "Feed.ini").write_text(feed)

    def __enter__(self):
        self.start(f"paper:{self.folder / 'market.json'}", self.system_name, SERVICE_KEY)
        while not (port := re.search("RepPort:([0-9]+)", "".join(self.messages()))):
            time.sleep(0.001)
        with PlainClient(int(port[1])) as first:
            first.request("LOGOUT")
        self.served = time.monotonic()
        self.client = self.logged_in_client()
        self.port, self.key = int(port[1]), self.client.session_key
        return self

    def __exit__(self, *_):
        self.client.close()
        self.end()
        self.remove()


class Bench:
    def __init__(self, options, folder):
        self.__dict__.update(vars(options))
        self.folder = pathlib.Path(folder)

    def load(self, server, request, **options):
        """What bench_load tells of it."""
        file = self.folder / "request"
        file.write_text(request.replace("@SYSTEM", server.system_name).replace("@", server.key))
        options = {"port": server.port, "pid": server.process.pid, "seconds": self.seconds} | options
        words = [self.binaries / "bench_load", file, *(f"{name}={value}" for name, value in options.items())]
        done = subprocess.run(words, stdout=subprocess.PIPE, text=True)
        told = json.loads(done.stdout)
        if done.returncode:
            who = pathlib.Path(server.process.args[0]).name
            print(f"  {who}, {request[:60]}: {told['missing']} replies missing, {told['failed']} failed", flush=True)
        return told

    def compare(self, work, contenders, figures):
        """Runs the contenders, {who: a way to get figures}, in turn; the first is the limit of the others.
        `figures` are rows of key, unit and mark."""
        got = {who: [] for who in contenders}
        for number in range(self.rounds):
            for who in sorted(contenders, reverse=number % 2 == 1, key=list(contenders).index):
                got[who].append(contenders[who]())
        for key, unit, mark in figures:
            self.tell(f"{work}, {key}" if len(figures) > 1 else work, unit, mark,
                      {who: [float(each[key]) for each in values] for who, values in got.items()})  # fmt: skip

    def tell(self, work, unit, mark, values):
        """One row for each contender: the ratio is the median of those of the rounds."""
        limit = next(iter(values.values()))
        for who, figures in values.items():
            ratio = statistics.median(a / b for a, b in zip(figures, limit, strict=True) if b) if any(limit) else 0
            last = [f"{ratio:.2f}", mark] if figures is not limit else ["", ""]
            row = [work if figures is limit else "", who, *map(number_text, spread(figures)), unit, *last]
            print(LINE.format(*row), flush=True)


def spread(figures):
    return statistics.median(figures), min(figures), max(figures)


def number_text(value):
    return f"{value:,.0f}" if abs(value) >= 100 else f"{value:.3g}"


def requests(bench):
    """PONG under load, alone and at a steady rate; large ones."""
    with Bare(bench, "own") as own, Bare(bench, "full", bench.folder / "full.log") as full, Paper(bench) as gateway:
        servers = {"own": own, "full": full, "Halvane": gateway}

        def compare(work, request, figures, **load):
            ways = {who: lambda server=server: bench.load(server, request, **load) for who, server in servers.items()}
            bench.compare(work, ways, figures)

        times = [("p50", "us", "<= 1.15"), ("p99", "us", "<= 1.3")]
        loaded = [("rate", "/s", ">= 1.0"), ("cpu", "us", "<= 0.8")]
        compare("PONG, 4 clients x 64 under way", PONG, loaded, clients=4, window=64)
        compare("PONG alone", PONG, times)
        compare("PONG, 1,000 a second", PONG, times, clients=4, rate=1000)
        compare("requests of 300,000 bytes", padded(300_000), [("p50", "us", ""), ("max", "us", "<= 100ms")])
        compare("requests of 3,000,000 bytes", padded(3_000_000), [("p50", "us", ""), ("max", "us", "<= 15 ms")])


def orders_with_reports(bench, feed=None):
    with Paper(bench, feed=feed) as gateway:
        told = bench.load(gateway, RESTING, clients=4, window=64, reports=gateway.client.publish_port)
        if told["published"] != told["done"]:
            sys.exit(f"orders and reports differ: {told}")
        return told


def orders(bench):
    """NEWORDER with its report published, on a gateway without orders in each round."""
    with Bare(bench, "full", bench.folder / "full.log") as full:
        ways = {"full": lambda: bench.load(full, RESTING, clients=4, window=64), "Halvane": lambda: orders_with_reports(bench)}
        bench.compare("NEWORDER, report published", ways, [("rate", "/s", ">= 0.5"), ("cpu", "us", "")])


def pages(bench):
    """Pages of fifty rows beside an echo that logs the same bytes."""
    with Paper(bench) as gateway:
        for stock in range(STOCKS):
            bench.load(gateway, ORDER % (stock, FILLED), count=1)
        bench.load(gateway, RESTING, count=300 - STOCKS)
        time.sleep(1)  # the counts of rows are published
        for name in PAGES:
            request = page(name)
            reply = gateway.client._requests
            reply.send(request.replace("@", gateway.key).encode())
            bytes_sent = reply.recv()[:-1]
            file = bench.folder / name
            file.write_bytes(bytes_sent)
            with Bare(bench, "full", bench.folder / "page.log", file) as echo:
                ways = {who: lambda server=server: bench.load(server, request, clients=4, window=4, seconds=bench.seconds / 3)
                        for who, server in (("echo", echo), ("Halvane", gateway))}  # fmt: skip
                bench.compare(f"{name}, {len(bytes_sent):,} bytes", ways, [("rate", "/s", ">= 0.7"), ("cpu", "us", "")])


def growth(bench):
    """What pages cost behind a hundred orders and behind many, requests with one session and with many."""
    alike = [("p50", "us", "~ 1"), ("cpu", "us", "~ 1")]

    def compare(work, request_of, prepare, few, many, **load):
        with Paper(bench) as small, Paper(bench) as large:
            prepare(small, few), prepare(large, many)
            ways = {f"{number:,}": lambda server=server, number=number: bench.load(server, request_of(number), **load)
                    for server, number in ((small, few), (large, many))}  # fmt: skip
            bench.compare(work, ways, alike)

    def put_orders(gateway, number):
        bench.load(gateway, RESTING, count=number, clients=4, window=64)

    def log_in(gateway, number):
        bench.load(gateway, LOG_IN, count=number, clients=4, window=64)

    def last_page(number):
        return page("RESTOREREPORT", f'"QryIndex":"{number - 50}"')

    compare("RESTOREREPORT, the last page of so many orders", last_page, put_orders, 100, bench.orders)
    compare("PONG alone, so many sessions", lambda _: PONG, log_in, 1, 10_000)


def resident(gateway):
    pages_of = pathlib.Path(f"/proc/{gateway.process.pid}/statm").read_text().split()[1]
    return int(pages_of) * 4096


def memory(bench):
    """What an order that rests in the market keeps. One gateway, which gets more and more of them."""
    with Paper(bench) as gateway:
        number = 3 * bench.orders

        def one():
            before = resident(gateway)
            bench.load(gateway, RESTING, count=number, clients=4, window=64)
            return {"bytes": (resident(gateway) - before) / number}

        one()  # the log's memory grows first
        bench.compare("memory of one paper order", {"Halvane": one}, [("bytes", "bytes", "")])


def start(bench):
    """From the program's start to its first reply."""

    def one():
        gateway = Paper(bench)
        began = time.monotonic()
        with gateway:
            return {"ms": (gateway.served - began) * 1000}

    bench.compare("start to serving on paper (< 150 ms)", {"Halvane": one}, [("ms", "ms", "")])


def held(bench):
    """How many requests of others wait while workers are blocked: of a burst of 400 and of 200 at one each 5 ms,
    and how many of ten clients that ask again after each reply. One round."""
    with Paper(bench, DELAYED) as gateway:
        time.sleep(1)  # the incident begins with a tick
        for blocked in (1, 2, 3):
            for size in (100, 1000):
                request = padded(size).replace("@", gateway.key).encode()
                for work, count in (("a burst of 400", still_held_burst), ("200, one each 5 ms", still_held_paced),
                                    ("ten clients", still_held_desk)):  # fmt: skip
                    blocker = connect(zmq.DEALER, gateway.port)
                    for _ in range(blocked):
                        blocker.send_multipart([b"", RESTING.replace("@", gateway.key).encode()])
                        time.sleep(0.03)
                    figure = float(count(gateway.port, request))
                    for _ in range(blocked):
                        blocker.recv_multipart()
                    bench.tell(f"held by {blocked} blocked, {size} bytes: {work}", "", "", {"Halvane": [figure]})


def answered(sockets, until):
    poller, replies = zmq.Poller(), 0
    for each in sockets:
        poller.register(each, zmq.POLLIN)
    while (left := until - time.monotonic()) > 0:
        for ready, _ in poller.poll(left * 1000):
            ready.recv_multipart()
            replies += 1
    return replies


def still_held_burst(port, request):
    clients = [connect(zmq.DEALER, port) for _ in range(4)]
    for number in range(400):
        clients[number % 4].send_multipart([b"", request])
    return 400 - answered(clients, time.monotonic() + 1)


def still_held_paced(port, request):
    clients, replies = [connect(zmq.DEALER, port) for _ in range(4)], 0
    for number in range(200):
        clients[number % 4].send_multipart([b"", request])
        replies += answered(clients, time.monotonic() + 0.005)
    return 200 - replies - answered(clients, time.monotonic() + 0.3)


def still_held_desk(port, request):
    clients = [connect(zmq.DEALER, port) for _ in range(10)]
    waiting, end = set(clients), time.monotonic() + 1
    for each in clients:
        each.send_multipart([b"", request])
    poller, last = zmq.Poller(), dict.fromkeys(clients, 0.0)
    for each in clients:
        poller.register(each, zmq.POLLIN)
    while (left := end - time.monotonic()) > 0:
        for ready, _ in poller.poll(left * 1000):
            ready.recv_multipart()
            last[ready] = time.monotonic()
            ready.send_multipart([b"", request])
    return sum(moment < end - 0.3 for moment in last.values()) if waiting else 0


def publications(bench):
    """From the platform's event to the frame at the subscribers, beside bare publishing with a line in the log."""

    def ways(subscribers, rate):
        words = [str(subscribers), str(rate), str(bench.seconds), bench.folder / "publish"]
        return {who: lambda who=who: told_by(bench.binaries / "bench_publish", who.lower(), *words)
                for who in ("bare", "Halvane")}  # fmt: skip

    for subscribers in (1, 10, 100):
        figures = [("p50", "us", "<= 1.15"), ("p99", "us", "")]
        bench.compare(f"report to {subscribers} subscribers, 1,000/s", ways(subscribers, 1000), figures)
    bench.compare("reports to one subscriber, as many as go", ways(1, 0), [("rate", "/s", ">= 0.5"), ("cpu", "us", "")])


def journal(bench):
    """What the feed costs the publish socket: the publisher alone, and with the journal behind it."""

    def ways(rate, seconds):
        words = ["1", str(rate), str(seconds), bench.folder / "publish"]
        return {who: lambda who=who: told_by(bench.binaries / "bench_publish", who.lower(), *words)
                for who in ("Halvane", "journal")}  # fmt: skip

    for rate in (1000, 10_000):
        bench.compare(f"report with the journal, {rate:,}/s", ways(rate, bench.seconds), [("p50", "us", "<= 1.05"), ("p99", "us", "")])
    ways_of_orders = {"Halvane": lambda: orders_with_reports(bench), "journal": lambda: orders_with_reports(bench, "[Feed]\nOn=1\n")}
    bench.compare("NEWORDER with the journal, report published", ways_of_orders, [("rate", "/s", ">= 0.9"), ("cpu", "us", "")])
    bench.compare("reports with the journal, as many as go", ways(0, bench.seconds), [("rate", "/s", ">= 0.9"), ("cpu", "us", "")])


def told_by(*words):
    return json.loads(subprocess.run(words, stdout=subprocess.PIPE, text=True, check=True).stdout)


def inside(bench):
    """Google Benchmark's, named <work>/<who>; of one work the first is the limit."""
    marks = {"ns/member": "<= 2.5", "lines/s": ">= 0.6", "p99 ns": "< 10 us"}
    for program in ("inside_bench", "paper_bench"):
        words = [bench.binaries / program, f"--benchmark_repetitions={bench.rounds}", "--benchmark_format=json",
                 "--benchmark_min_time=0.05", "--benchmark_enable_random_interleaving=true"]  # fmt: skip
        works = {}
        runs = told_by(*words)["benchmarks"]  # in random order
        for run in sorted(runs, key=lambda each: each["family_index"]):
            if run["run_type"] == "iteration":
                work, _, who = run["run_name"].removesuffix("/real_time").rpartition("/")
                unit = next((key for key in ("lines/s", "items_per_second", "ns/member", "speed") if key in run), None)
                keys = [unit] if unit else ["cpu_time"]
                for key in [*keys, *(key for key in ("p99 ns",) if key in run)]:
                    label = run["time_unit"] if key == "cpu_time" else key
                    works.setdefault((work or who, label), {}).setdefault(who, []).append(run[key])
        for (work, unit), values in works.items():
            bench.tell(work, unit, "25 ns" if work.startswith("number") else marks.get(unit, ""), values)


GROUPS = (requests, orders, pages, growth, memory, start, publications, journal, held, inside)


def main():
    parser = argparse.ArgumentParser(prog="./dev bench", description="Measures the gateway beside its own limits.")
    parser.add_argument("binaries", type=lambda path: pathlib.Path(path).resolve(), help=argparse.SUPPRESS)
    parser.add_argument("filter", nargs="?", default=".", help=f"of {', '.join(each.__name__ for each in GROUPS)}")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=float, default=1, help="of one load")
    parser.add_argument("--orders", type=int, default=10_000)
    options = parser.parse_args()
    head = ("work", "who", "median", "least", "most", "unit", "ratio", "mark")
    print(LINE.format(*head) + "\n|---|---|---:|---:|---:|---|---:|---|")
    with tempfile.TemporaryDirectory(prefix="bench-") as folder:
        for group in GROUPS:
            if re.search(options.filter, group.__name__):
                group(Bench(options, folder))


if __name__ == "__main__":
    main()
