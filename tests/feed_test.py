"""The feed as a client sees it: it counts from 1 on while the gateway and the client itself are killed, again
and again, in the middle of orders, and afterwards nothing is missing and nothing is there twice; what a full
disk costs is said. Takes the path of the program as its last argument. HALVANE_FEED_ORDERS says how many orders
are placed, HALVANE_FEED_KILLS how often the gateway is killed; a third as often the client is."""

import json
import os
import pathlib
import random
import resource
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

import zmq

sys.path.append(str(pathlib.Path(__file__).resolve().parent / "windows"))
from running_gateway import SERVICE_KEY, PlainClient, Trader, make_gateway, take_paths, until

ORDERS = int(os.environ.get("HALVANE_FEED_ORDERS", "1500"))
KILLS = int(os.environ.get("HALVANE_FEED_KILLS", "4"))
STATE = ["Account", "Symbol", "Side", "OrderQty", "CumQty", "LeavesQty", "ExecType", "TransactTime", "UserKey1"]


class Follower:
    """Follows the feed and writes each publication, in order and once, as a line of a file; the last whole
    line is where it goes on when it is started again, after whatever has ended it. The other file tells the
    port of requests and the system's name, and is another one for each life of the gateway."""

    def __init__(self, place, kept):
        self.place, self.kept = pathlib.Path(place), pathlib.Path(kept)
        whole = self.kept.read_bytes() if self.kept.exists() else b""
        whole = whole[: whole.rfind(b"\n") + 1]
        self.kept.write_bytes(whole)
        self.last = json.loads(whole.splitlines()[-1])[0] if whole else 0
        self.file = self.kept.open("ab", buffering=0)

    def take(self, number, publication):
        if number <= self.last:
            return
        if publication["DataType"] == "FEEDGAP":
            assert int(publication["From"]) == self.last + 1 and int(publication["To"]) == number - 1, publication
        else:
            assert number == self.last + 1, (number, self.last)
        self.file.write(json.dumps([number, publication]).encode() + b"\n")
        self.last = number

    def catch_up(self, client):
        more = "1"
        while more == "1":
            page = client.request("FEEDREPLAY", From=str(self.last + 1))
            for event in page["Events"]:
                self.take(int(event["Number"]), event["Publication"])
            more = page["More"]

    def follow(self):
        """As long as that gateway lives."""
        place = self.place.read_text()
        port, system_name, _ = place.split()
        with PlainClient(port) as client:
            client._requests.setsockopt(zmq.RCVTIMEO, 3000)
            client.log_in(system_name, SERVICE_KEY)
            feed_port = client.request("FEEDSTATUS")["Port"]
            with zmq.Context.instance().socket(zmq.SUB) as feed:
                feed.setsockopt(zmq.SUBSCRIBE, b"")
                feed.connect(f"tcp://127.0.0.1:{feed_port}")
                while self.place.read_text() == place:
                    if not feed.poll(1500):
                        return
                    topic, *rest = feed.recv_multipart()
                    number = int(rest[0].split()[0]) if rest else 0
                    if topic == b"FEEDHELLO" or number > self.last + (topic != b"FEEDBEAT"):
                        self.catch_up(client)
                    elif topic != b"FEEDBEAT":
                        self.take(number, json.loads(rest[1]))

    def run(self):
        while True:
            try:
                self.follow()
            except (zmq.Again, KeyError, ValueError):  # the gateway is gone, or not there yet
                time.sleep(0.05)


class FeedCase(unittest.TestCase):
    def setUp(self):
        self.gateway = make_gateway(PROGRAM)
        self.addCleanup(self.gateway.remove)

    def configure(self, **options):
        (self.gateway.folder / "Configs").mkdir()
        lines = ["[Feed]", *(f"{key}={value}" for key, value in options.items()), ""]
        (self.gateway.folder / "Configs" / "Feed.ini").write_text("\n".join(lines))

    def rows(self, what="number, run, kind, recovered, json"):
        found = []
        for file in sorted(self.gateway.folder.glob("feed/feed-*.sqlite")):
            with sqlite3.connect(file) as journal:
                found += journal.execute(f"SELECT {what} FROM event ORDER BY number").fetchall()
        return found


class Kills(FeedCase):
    def start(self):
        self.gateway.start_on_paper()
        self.place.write_text(f"{self.gateway.port()} {self.gateway.system_name} {time.monotonic_ns()}")
        with self.gateway.logged_in_client() as client:
            self.runs.append(until(lambda: client.request("FEEDSTATUS")["Run"], "a run"))

    def start_follower(self):
        words = [sys.executable, "-B", __file__, "follow", self.place, self.kept]
        self.follower = subprocess.Popen(words)

    def kill_follower(self):
        self.follower.kill()
        self.follower.wait()

    def test_whoever_counts_misses_nothing(self):
        self.configure(On=1)
        folder = tempfile.TemporaryDirectory(prefix="follower ")
        self.addCleanup(folder.cleanup)
        self.place, self.kept = (pathlib.Path(folder.name) / name for name in ("place", "kept"))
        self.place.write_text("")
        self.kept.touch()
        self.runs = []
        self.start()
        self.start_follower()
        self.addCleanup(self.kill_follower)
        answered = 0
        for kill in range(KILLS + 1):
            share = (ORDERS - answered) / (KILLS + 1 - kill)
            trader = Trader(self.gateway, int(share if kill == KILLS else 1.5 * share))  # some are left however fast it is
            if kill < KILLS:
                part = random.uniform(0.5, 1.5) * share
                until(lambda: trader.answered > part or trader.answered == trader.orders, "orders")
                if kill % 3 == 0:
                    self.kill_follower()
                    self.start_follower()
                kill_gateway(self.gateway)
                trader.stopped.set()
            trader.thread.join()
            answered += trader.answered
            if kill < KILLS:
                self.start()
        with self.gateway.logged_in_client() as client:
            last = self.last_number(client)
            until(lambda: self.kept.read_bytes().count(b"\n") >= last, f"number {last} at the follower")
            restored = [self.restored(client, name) for name in ("RESTOREREPORT", "RESTOREFILLREPORT")]
        self.assertEqual(self.gateway.end(), 0)
        self.check(last, *restored)
        print(f"{answered} orders answered, {last} publications, {KILLS} kills", file=sys.stderr)

    def last_number(self, client):
        """Once the platform has told all of what was ordered: it is quiet for three seconds."""
        last, quiet = 0, 0
        while quiet < 6:
            status = client.request("FEEDSTATUS")
            same = int(status["Last"]) == last and status["Waiting"] == "0"
            last, quiet = int(status["Last"]), quiet + 1 if same else 0
            time.sleep(0.5)
        return last

    def check(self, last, orders, fills):
        kept = [json.loads(line) for line in self.kept.read_text().splitlines()[:last]]  # more may come
        self.assertEqual([number for number, _ in kept], list(range(1, last + 1)))
        rows = self.rows()
        self.assertEqual([publication for _, publication in kept], [json.loads(row[4]) for row in rows[:last]])
        runs = dict.fromkeys(run for _, run, *_ in rows)
        self.assertEqual(list(runs), [run for run in self.runs if run in runs])  # one may be killed before it has written
        self.assertEqual(len(set(self.runs)), KILLS + 1)
        of_run = [json.loads(row[4]) for row in rows if row[1] == self.runs[-1]]
        book = {e["Report"]["ReportID"]: e["Report"] for e in of_run if e["DataType"] == "EXECUTIONREPORT"}
        self.assertEqual({key: [order[name] for name in STATE] for key, order in book.items()},
                         {order["ReportID"]: [order[name] for name in STATE] for order in orders})  # fmt: skip
        self.assertEqual(sorted(e["Report"]["ReportID"] for e in of_run if e["DataType"] == "FILLEDREPORT"),
                         sorted(fill["ReportID"] for fill in fills))  # fmt: skip

    def restored(self, client, request):
        rows = []
        while page := client.request(request, QryIndex=rows[-1]["QryIndex"] if rows else "0")["Orders"]:
            rows += page
        return rows


class Disk(FeedCase):
    def test_what_a_full_disk_costs_is_said(self):
        self.configure(On=1, QueueMegabytes=1)
        self.gateway.start_on_paper()
        with self.gateway.logged_in_client() as client:
            self.limit(0)
            Trader(self.gateway, 4000).thread.join()  # more than the queue and the writer hold
            status = until(lambda: int((now := client.request("FEEDSTATUS"))["Lost"]) > 0 and now, "a loss")
            self.assertNotEqual(status["Failure"], "")
            self.limit(resource.RLIM_INFINITY)
            status = until(lambda: not (now := client.request("FEEDSTATUS"))["Failure"] and now["Waiting"] == "0" and now,
                           "the journal")  # fmt: skip
            page = client.request("FEEDREPLAY", From="1", Kinds="FEEDGAP")
            self.check_replay(client, int(status["Last"]))
        gaps = [json.loads(row[4]) for row in self.rows() if row[2] == "FEEDGAP"]
        self.assertEqual([event["Publication"] for event in page["Events"]], gaps)
        self.assertEqual(sum(int(gap["To"]) - int(gap["From"]) + 1 for gap in gaps), int(status["Lost"]))
        self.assertEqual(len(self.rows()) + int(status["Lost"]), int(status["Last"]))
        self.assertEqual(self.gateway.end(), 0)

    def check_replay(self, client, last):
        """Pages of all there is, and what cannot be told."""
        numbers, page = [], {"Next": "0", "More": "1"}
        while page["More"] == "1":
            page = client.request("FEEDREPLAY", From=page["Next"])
            numbers += [int(event["Number"]) for event in page["Events"]]
        self.assertEqual((numbers, int(page["Next"]) > last), ([row[0] for row in self.rows()], True))
        self.assertEqual(client.request("FEEDREPLAY", Since="9" * 19)["Events"], [])
        for member, value in (("From", "x"), ("From", "1" * 20), ("Since", "-1")):
            self.assertIn(f"{member} is no", client.request("FEEDREPLAY", **{member: value})["ErrMsg"])
        (day,) = self.gateway.folder.glob("feed/feed-*.sqlite")
        day.rename(day.with_suffix(".away"))
        day.mkdir()
        self.assertEqual(client.request("FEEDREPLAY", From="1")["ErrMsg"], "the journal cannot be read")
        day.rmdir()
        day.with_suffix(".away").rename(day)

    def limit(self, size):
        """No file of the gateway grows beyond that."""
        resource.prlimit(self.gateway.process.pid, resource.RLIMIT_FSIZE, (size, resource.RLIM_INFINITY))


class Off(FeedCase):
    def test_without_the_file_nothing_is_there(self):
        self.gateway.start_on_paper()
        with self.gateway.logged_in_client() as client:
            for name in ("FEEDSTATUS", "FEEDREPLAY"):
                self.assertEqual(client.request(name)["ErrMsg"], "Undefined")
        self.assertFalse((self.gateway.folder / "feed").exists())


def kill_gateway(gateway):
    if PROGRAM.suffix == ".exe":
        from gateway import wine
        wine("taskkill", "/f", "/im", gateway.program.name)
    else:
        gateway.process.kill()
    gateway.process.wait()


if sys.argv[1] == "follow":
    Follower(*sys.argv[2:]).run()
(PROGRAM,) = take_paths(1)
if PROGRAM.suffix == ".exe":
    del Disk  # Windows has no such limit

if __name__ == "__main__":
    unittest.main()
