"""A book of all orders and fills that a gateway knows, kept up to date by its publications.

    with BookClient(50834) as client:
        client.start("DEMO", "demo-key")
        while True:
            client.follow(1)                     # or for ever: client.follow()
            print(len(client.book.orders), "orders,", len(client.book.fills), "fills")

It can be started at any time, also while orders are traded. docs/protocol.md tells why it misses
nothing and counts nothing twice.
"""

import time

from halvane import Client, HalvaneError

PAGE = 50
SILENCE = 50  # seconds: a heartbeat comes every 20
NO_VALUE = {"-2147483648", "-922337203.685478"}  # the restored form of what is published as ""


def as_published(record):
    """A restored record with its numbers in the published form, as far as it has the decimals."""
    report = {key: "" if value in NO_VALUE else value for key, value in record.items()}
    for key in ("Price", "StopPrice", "TriggeredPrice", "AvgPrice"):
        if "." in report.get(key, ""):
            report[key] = report[key].rstrip("0").rstrip(".")
    report.pop("QryIndex", None)
    return report


class Book:
    """The orders by ReportID and the fills by their own. Publications and restored records may come
    in between each other in any way, as long as the publications themselves are in order and a
    restore begins with begin_restore()."""

    def __init__(self):
        self.orders, self.fills = {}, {}
        self.resets = 0
        self._published = set()  # since the restore began

    def begin_restore(self):
        """What is read from now on is newer than what was published so far."""
        self._published.clear()

    def publish(self, publication):
        kind = publication["DataType"]
        if kind == "EXECUTIONREPORT":
            report = publication["Report"]
            self.orders[report["ReportID"]] = report
            self._published.add(report["ReportID"])
        elif kind == "FILLEDREPORT":
            fill = publication["Report"]
            self.fills[fill["ReportID"]] = fill
        elif kind == "REPORTRESET":
            self.orders, self.fills = {}, {}
            self._published.clear()
            self.resets += 1

    def restore_orders(self, records):
        """A report that was published meanwhile stays: if the restored one is newer, then so is a
        publication that is still to come."""
        for record in map(as_published, records):
            if record["ReportID"] not in self._published:
                self.orders[record["ReportID"]] = record

    def restore_fills(self, records):
        """Fills never change, so one that is there already is the same one."""
        for record in map(as_published, records):
            self.fills.setdefault(record["ReportID"], record)


class BookClient:
    """A client that does nothing but keep a book. It belongs to one thread."""

    def __init__(self, port, host="127.0.0.1", timeout=10.0):
        self.book = Book()
        # Whether nothing can be missing: the restore began when publications came in already.
        self.complete = False
        self._client = Client(port, host, timeout)
        self._heard = None  # when the last publication came

    def close(self):
        self._client.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def start(self, system_name, service_key):
        """Logs in, subscribes, and reads what there is so far."""
        self._client.log_in(system_name, service_key)
        self._client.subscribe()
        self._restore()

    def follow(self, seconds=None):
        """Keeps the book up to date for so many seconds, or for ever. Raises when the gateway has
        fallen silent: then only a new start helps."""
        end = None if seconds is None else time.monotonic() + seconds
        while end is None or time.monotonic() < end:
            self._take(1 if end is None else min(1, max(0, end - time.monotonic())))

    def _take(self, seconds):
        resets = self.book.resets
        self._merge_publications(seconds)
        if self.book.resets != resets or (self._heard is not None and not self.complete):
            self._restore()
        if self._heard is not None and time.monotonic() - self._heard > SILENCE:
            raise HalvaneError(f"nothing was published for {SILENCE} s")

    def _merge_publications(self, seconds):
        """Waits so long for a publication, and takes all that have come by then."""
        for publication in self._client.publications(seconds):
            self._merge(publication)
            break
        for publication in self._client.publications(0):
            self._merge(publication)

    def _merge(self, publication):
        self._heard = time.monotonic()
        self.book.publish(publication)

    def _restore(self):
        """Reads all pages, merging what is published meanwhile; after a reset once more."""
        resets = None
        while resets != self.book.resets:
            resets = self.book.resets
            heard = self._heard is not None
            self.book.begin_restore()
            self._restore_pages("RESTOREREPORT", self.book.restore_orders)
            self._restore_pages("RESTOREFILLREPORT", self.book.restore_fills)
            self.complete = self.complete or heard

    def _restore_pages(self, name, merge):
        index, records = "0", [None] * PAGE
        resets = self.book.resets
        while len(records) == PAGE and self.book.resets == resets:
            reply = self._client.request(name, QryIndex=index)
            if reply["Success"] != "OK":
                raise HalvaneError(f"nothing was restored: {reply.text}")
            records = reply["Orders"]
            merge(records)
            if records:
                index = records[-1]["QryIndex"]
            self._merge_publications(0)
