"""Keeps a real gateway busy with clients of all kinds and with strangers who mean it ill, one attack after the
other, and tells what became of requests, publications, memory and descriptors. Ends with 1 when anything was
lost or wrong, or memory left its bound; docs/operations.md has the bounds.

    soak.py BINARIES SECONDS CLIENTS [ATTACK...] [--rate N] [--seed N]"""

import argparse
import collections
import json
import multiprocessing
import pathlib
import re
import sys
import time

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent.parent / "tests"))
from attacks import ATTACKS, HEAVY
from clients import KINDS, ORDER, honest, listen, mix
from running_gateway import SERVICE_KEY, Gateway, until

MARKET = {
    "start": "2026-11-18 10:00:00",  # when there are the options that clients combine
    "accounts": [{"brokerId": "PAPER", "account": "1000001", "balance": 100_000_000_000}],
    "exchanges": [{"exchange": "PAPX"}, {"exchange": "PAPF"}],
    "stocks": [{"security": name, "exchange": "PAPX", "price": 100, "tick": 0.05, "quoteSize": 1_000_000}
               for name in ("ALFA", "BETU", "CERU")],
    "futures": [{"security": "IDX", "exchange": "PAPF", "price": 20000, "tick": 1, "multiplier": 50}],
    "options": [{"future": "IDX", "strikes": [19000, 20000, 21000], "tick": 1}],
}  # fmt: skip
LISTS, TOPICS = "PaperStk:Stocks,PaperFut:Futures,PaperOpt:Options", "Corvinta"
REPORT = "EXECUTIONREPORT"
SETTLING = 1  # seconds without anything new, then what was sent has arrived everywhere
GOAL_MS = 20
MIB = 1 << 20

# What may be held, in bytes: replies that nobody reads, the log's queue, what is at work, a paper order, what any
# request leaves behind. Attacks tell how much of theirs may wait at the front.
UNREAD, LOG_QUEUE, AT_WORK, AN_ORDER, A_REQUEST = 256 * MIB, 64 * MIB, 512 * MIB, 1024, 16
ENOUGH = 500_000  # requests, fewer say nothing of what one leaves behind

SPAWN = multiprocessing.get_context("spawn")
COMPLAINT = re.compile(rb"\[(WARN |ERROR|FATAL)\]  ([^\r\n]{0,70})")


class Soaked(Gateway):
    """A gateway on a market that is always open, with STATUS."""

    def __init__(self, binaries, seed):
        super().__init__(binaries / "Halvane64")
        (self.folder / "Configs").mkdir()
        (self.folder / "Configs" / "ZMQ.ini").write_text("[Gateway]\nStatus=1\n")
        (self.folder / "market.json").write_text(json.dumps(MARKET | {"seed": seed}))
        self.complaints = collections.Counter()
        self.start(f"paper:{self.folder / 'market.json'}", self.system_name, SERVICE_KEY, LISTS, TOPICS)
        self.client = self.logged_in_client()
        self.where = {"port": self.client.port, "publish_port": int(self.client.publish_port),
                      "key": self.client.session_key, "system_name": self.system_name, "service_key": SERVICE_KEY}  # fmt: skip

    def published(self):
        counts = self.client.request("STATUS")["Publications"]
        return sum(int(each["Count"]) for each in counts if each["DataType"] == REPORT)

    def memory(self):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="ascii")
        return 1024 * int(status.partition("VmRSS:")[2].split()[0])

    def read_log(self, keep):
        """Counts what the log complains of, and removes what was read: it would fill the disk."""
        files = sorted(self.folder.glob("logs/*.log"), key=lambda file: (len(file.name), file.name))
        for file in files[: len(files) - keep]:
            for level, text in COMPLAINT.findall(file.read_bytes()):
                self.complaints[level.decode() + " " + re.sub(r"[0-9a-f]{8,}|\d+", "#", text.decode(errors="replace"))] += 1
            file.unlink()


class Helper:
    """Work in a process of its own until it is told to stop; the work is given the event that tells it."""

    def __init__(self, work, *arguments, asked=False):
        self.pipe, theirs = SPAWN.Pipe()
        self.stop = SPAWN.Event()
        arguments = (self.stop, *arguments, *([theirs] if asked else []))
        SPAWN.Process(target=run_helper, args=(theirs, work, arguments), daemon=True).start()

    def ask(self):
        self.pipe.send("?")
        return self.pipe.recv()

    def result(self):
        self.stop.set()
        return self.pipe.recv()


def run_helper(pipe, work, arguments):
    try:
        pipe.send(work(*arguments))
    except Exception as error:
        pipe.send({"examples": [f"{work.__name__}: {type(error).__name__}: {error}"], "wrong": 1})


def share(times, part):
    return sorted(times)[int(part * (len(times) - 1))] * 1000 if times else 0.0


class Soak:
    def __init__(self, options):
        self.options = options
        self.gateway = Soaked(options.binaries, options.seed)
        self.totals = collections.Counter()  # sent, lost, wrong, orders
        self.replies, self.troubles = collections.Counter(), []
        self.most = self.most_descriptors = self.waiting = 0

    def run(self):
        """Whether all held."""
        gateway, options = self.gateway, self.options
        self.listener = Helper(listen, gateway.where, asked=True)
        until(self.hears_a_report, "a report heard")
        unheard = self.unheard()
        self.first, self.begun = (gateway.memory(), gateway.descriptors()), time.monotonic()
        steady = self.grow(options.seconds / 3)
        print("| attack | what was tried | PONGs | p50 ms | p99 ms | slowest | no report for ms | MiB at most | calm after s | |\n"
              "|---|---|---:|---:|---:|---:|---:|---:|---:|---|")  # fmt: skip
        for name in options.attacks:
            self.attack(name, options.seconds * 2 / 3 / len(options.attacks))
        missing = self.unheard() - unheard
        self.listener.result()
        bounded = self.tell_memory()
        self.tell(missing, code := gateway.end())
        return steady and bounded and not (missing or code or self.totals["lost"] or self.totals["wrong"])

    def hears_a_report(self):
        self.gateway.client.request("NEWORDER", Param=ORDER)
        time.sleep(0.1)
        return self.listener.ask()[0]

    def unheard(self):
        """How many reports have not come to the listener, once nothing comes any more."""
        counts, since = None, time.monotonic()
        while time.monotonic() < since + SETTLING:
            now = self.gateway.published(), self.listener.ask()[0]
            if now != counts:
                counts, since = now, time.monotonic()
            time.sleep(0.1)
        return counts[0] - counts[1]

    def watch(self, seconds):
        """The most memory within that time."""
        end, most = time.monotonic() + seconds, 0
        while time.monotonic() < end and self.gateway.process.poll() is None:
            most = max(most, self.gateway.memory())
            self.most_descriptors = max(self.most_descriptors, self.gateway.descriptors())
            self.gateway.read_log(keep=1)
            time.sleep(0.1)
        self.most = max(self.most, most)
        return most

    def settle(self, told):
        self.replies.update(told.get("replies", {}))
        self.troubles += told.get("examples", [])
        self.waiting = max(self.waiting, told.get("waiting", 0))
        for what in ("sent", "lost", "wrong", "orders"):
            self.totals[what] += told.get(what, 0)
        return told

    def grow(self, seconds):
        """What requests leave behind that the platform keeps nothing of, as many as go."""

        def ask(duration):
            helper = Helper(mix, self.gateway.where, self.options.clients, 0, self.options.seed, False)
            self.watch(duration)
            return self.settle(helper.result())["sent"]

        ask(seconds / 2)  # until the log's queue has been as full as it gets
        before = self.gateway.memory()
        done = ask(seconds / 2)
        grown = self.gateway.memory() - before
        print(f"{done:,} requests left {grown:,} bytes behind, {grown / max(1, done):.1f} each", flush=True)
        return self.options.unbounded or done < ENOUGH or grown <= A_REQUEST * done

    def attack(self, name, seconds):
        where, options = self.gateway.where, self.options
        attacker = Helper({**ATTACKS, **HEAVY}[name], where)
        others = Helper(mix, where, options.clients, options.rate, options.seed)
        time.sleep(1)  # until they are at it
        client = Helper(honest, where)
        self.listener.ask()
        most = self.watch(seconds)
        pause = self.listener.ask()[1] * 1000
        times = self.settle(client.result()).get("times", [])
        tried = self.settle(attacker.result()).get("tried", "failed")
        ended = time.monotonic()
        self.settle(others.result())
        while self.gateway.client.request("STATUS")["UnderWay"] != "1":
            time.sleep(0.1)
        p50, p99, slowest = (share(times, part) for part in (0.5, 0.99, 1))
        over = "" if p99 < GOAL_MS else f"not within {GOAL_MS} ms"
        print(f"| {name} | {tried} | {len(times):,} | {p50:.2f} | {p99:.2f} | {slowest:.1f} | {pause:.0f} | {most / MIB:.0f} "
              f"| {time.monotonic() - ended:.1f} | {over} |", flush=True)  # fmt: skip

    def tell_memory(self):
        (memory, descriptors), now = self.first, (self.gateway.memory(), self.gateway.descriptors())
        hours = (time.monotonic() - self.begun) / 3600
        bound = memory + UNREAD + LOG_QUEUE + AT_WORK + self.waiting
        bound += AN_ORDER * self.totals["orders"] + A_REQUEST * self.totals["sent"]
        print(f"memory: {memory / MIB:.0f} MiB at first, {self.most / MIB:.0f} at most of {bound / MIB:.0f}, {now[0] / MIB:.0f} at last"
              f" ({(now[0] - memory) / MIB / hours:+,.0f} an hour), {self.totals['orders']:,} orders in it")  # fmt: skip
        print(f"descriptors: {descriptors} at first, {self.most_descriptors} at most, {now[1]} at last"
              f" ({(now[1] - descriptors) / hours:+,.0f} an hour)")  # fmt: skip
        return self.options.unbounded or self.most <= bound

    def tell(self, missing, code):
        totals = self.totals
        print(f"requests: {totals['sent']:,}, lost {totals['lost']}, wrong {totals['wrong']}; reports not heard: {missing}; "
              f"exit code {code}")  # fmt: skip
        print("replies: " + ", ".join(f"{kind} {self.replies[kind]:,}" for kind in (*KINDS, "Req")))
        self.gateway.read_log(keep=0)
        for line, count in sorted(self.gateway.complaints.items()):
            print(f"log: {count:,} x {line}")
        for trouble in self.troubles[:20]:
            print(f"trouble: {trouble}")


def main():
    parser = argparse.ArgumentParser(prog="./dev soak", description="Keeps a real gateway busy and tells what was lost.")
    parser.add_argument("binaries", type=lambda path: pathlib.Path(path).resolve(), help=argparse.SUPPRESS)
    parser.add_argument("seconds", type=float)
    parser.add_argument("clients", type=int, help="of the mix, beside an honest one, a subscriber and the attackers")
    names = ", ".join((*ATTACKS, *HEAVY))
    parser.add_argument("attacks", nargs="*", help=f"of {names}; all but the last {len(HEAVY)} without a word")
    parser.add_argument("--rate", type=float, default=500, help="requests a second of the mix during attacks")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--unbounded", action="store_true", help="memory is the sanitizer's")
    options = parser.parse_args()
    options.attacks = options.attacks or list(ATTACKS)
    soak = Soak(options)
    try:
        return 0 if soak.run() else 1
    finally:
        soak.gateway.remove()


if __name__ == "__main__":
    sys.exit(main())
