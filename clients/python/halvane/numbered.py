"""The numbered feed of a gateway that has one: every publication since a number or a time, once and in
order, whatever happens between. docs/feed.md tells what goes over the wire.
"""

from __future__ import annotations

import asyncio
import datetime
import json
import re
from collections import deque
from typing import Any, AsyncGenerator, Deque, List, Mapping, NamedTuple, Optional, Union



from .errors import FeedStale, NoFeed, RequestFailed, TimedOut
from .events import Event, GapEvent, event_of
from .link import LinkLost
from .session import PATIENCE, RETRY_AFTER, Link, Session
from .wire import Reply

Since = Union[int, str, datetime.datetime, datetime.time]

SILENCE = 10.0  # seconds without a beat, which comes every second, until the feed is made anew
_MOST_WAITING = 10_000
_GAP, _BEAT = "FEEDGAP", b"FEEDBEAT"


class Position(NamedTuple):
    """Where to begin: behind a number of a journal, or at a time; neither means from now on."""

    journal: str = ""
    number: Optional[int] = None
    since_ns: int = 0


def position_of(since: Optional[Since]) -> Position:
    """A number, a time of today such as "09:30" or "09:30:15", or a moment; without a zone it is this
    place's."""
    if since is None:
        return Position()
    if isinstance(since, bool) or (isinstance(since, int) and since < 1):
        raise ValueError(f"{since!r} is no number of the feed: they begin with 1")
    if isinstance(since, int):
        return Position(number=since - 1)
    if isinstance(since, str):
        since = _moment(since)
    if isinstance(since, datetime.time):
        since = datetime.datetime.combine(datetime.date.today(), since)
    seconds = int(since.replace(microsecond=0).timestamp())
    return Position(since_ns=seconds * 1_000_000_000 + since.microsecond * 1000)


def _moment(text: str) -> datetime.datetime:
    try:
        if re.fullmatch(r"\d\d:\d\d(:\d\d(\.\d+)?)?", text):
            return datetime.datetime.combine(datetime.date.today(), datetime.time.fromisoformat(text))
        return datetime.datetime.fromisoformat(re.sub("Z$", "+00:00", text))
    except ValueError:
        raise ValueError(f"{text!r} is no time; 09:30 and 2026-11-20T09:30:00+08:00 are") from None


class NumberedFeed:
    """One reader of the feed. `journal` and `number` say how far it has come."""

    def __init__(self, session: Session, begin: Position, to_end: bool = False) -> None:
        """With `to_end` it ends at what is the last number when it begins."""
        self._session, self._begin, self._to_end = session, begin, to_end
        self._last: Optional[int] = None  # where it ends
        self._loop = asyncio.get_running_loop()
        self._waiting: Deque[List[bytes]] = deque()
        self._news = asyncio.Event()
        self._heard_at = 0.0
        self.journal = begin.journal
        self.number = begin.number or 0

    async def batches(self) -> AsyncGenerator[List[Event], None]:
        """What has come, as often as something does, until the session is closed."""
        while link := await self._session.linked():
            try:
                async for events in self._over(link):
                    yield events
                    if self._last is not None and self.number >= self._last:
                        return
            except (LinkLost, TimedOut):
                await asyncio.sleep(RETRY_AFTER)

    async def _over(self, link: Link) -> AsyncGenerator[List[Event], None]:
        status = await self._ask(link, "FEEDSTATUS", {})
        events = self._take_up(status)
        self._waiting.clear()
        connection = self._session.subscribe(link, status["Port"], self._receive)
        try:
            await link.connected(connection)
            self._heard_at = self._loop.time()
            yield events  # also none: who keeps a position learns the first one
            async for events in self._replay(link):
                yield events
            while True:
                await self._wait(link)
                async for events in self._follow(link):
                    yield events
        finally:
            connection.close()

    def _take_up(self, status: Reply) -> List[Event]:
        """Fits the position to the journal that there is."""
        anew = bool(self.journal) and self.journal != status["Journal"]
        self.journal = status["Journal"]
        if anew:
            gap = GapEvent(self.number + 1, None, "the gateway's journal has begun anew")
            self.number = 0
            return [gap]
        if self._begin == Position():
            self.number = int(status["Last"])
        self._begin = self._begin._replace(number=self.number)
        if self._to_end and self._last is None:
            self._last = int(status["Last"])
        return []

    # --- what comes ------------------------------------------------------------------------------

    def _receive(self, frames: List[bytes]) -> None:
        self._heard_at = self._loop.time()
        if len(self._waiting) >= _MOST_WAITING:
            self._waiting.clear()  # what is missing then is asked for
        self._waiting.append(frames)
        self._news.set()

    async def _wait(self, link: Link) -> None:
        while not self._waiting:
            self._news.clear()
            if link.lost.done():
                raise LinkLost()
            try:
                await asyncio.wait_for(self._news.wait(), 1.0)
            except asyncio.TimeoutError:
                if self._loop.time() - self._heard_at > SILENCE:
                    raise FeedStale(f"the numbered feed was silent for {SILENCE:g} s") from None

    async def _follow(self, link: Link) -> AsyncGenerator[List[Event], None]:
        """All that waits. Where a number is missing the journal is asked."""
        events: List[Event] = []
        while self._waiting:
            frames = self._waiting.popleft()
            if len(frames) != 3:
                continue  # the first word on a connection
            topic, header, body = frames
            number, _, time_ns, origin = header.split(b" ")
            if int(number) > self.number + (topic != _BEAT):
                if events:
                    yield events
                    events = []
                async for missed in self._replay(link):
                    yield missed
            elif topic != _BEAT and int(number) == self.number + 1:
                publication = json.loads(body)
                events.append(self._event(int(number), int(time_ns), origin == b"recovered", publication))
        if events:
            yield events

    async def _replay(self, link: Link) -> AsyncGenerator[List[Event], None]:
        more = "1"
        while more == "1":
            since, self._begin = self._begin.since_ns, self._begin._replace(since_ns=0)
            members = {"Since": str(since)} if since else {"From": str(self.number + 1)}
            page = await self._ask(link, "FEEDREPLAY", members)
            events: List[Event] = []
            first, next_number = int(page["First"]), int(page["Next"])
            if not since and self.number + 1 < first:
                events.append(GapEvent(self.number + 1, first - 1, "the gateway keeps it no more"))
            for row in page["Events"]:
                events.append(self._event(int(row["Number"]), int(row["Time"]), row["Recovered"] == "1",
                                          row["Publication"]))  # fmt: skip
            self.number = max(self.number, next_number - 1)
            if events:
                yield events
            more = page["More"]

    def _event(self, number: int, time_ns: int, recovered: bool, publication: Mapping[str, Any]) -> Event:
        self.number = number
        if publication["DataType"] == _GAP:
            event: Event = GapEvent(int(publication["From"]), int(publication["To"]),
                                    "the gateway could not write it")  # fmt: skip
        else:
            event = event_of(publication, recovered)
        event.set_place(number, time_ns)
        return event

    async def _ask(self, link: Link, name: str, members: Mapping[str, Any]) -> Reply:
        reply = await self._session.ask(name, members, PATIENCE, only=link)
        if reply["Success"] == "OK":
            return reply
        if reply["Reply"] == "Req":
            raise NoFeed("this gateway has no numbered feed; Configs/Feed.ini turns it on")
        raise RequestFailed(name, reply.get("ErrMsg", ""))


