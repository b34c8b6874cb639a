"""Named positions in the numbered feed, each a small file: a program that begins again goes on where it
was."""

from __future__ import annotations

import os
import pathlib
import re
import sys

from types import TracebackType
from typing import Iterator, List, Optional, Tuple, Type

from .errors import HalvaneError
from .events import Event, GapEvent
from .numbered import NumberedFeed, Position, Since, position_of
from .session import Session

_SIZE = 64  # bytes: one write changes the whole


def state_folder() -> pathlib.Path:
    named = os.environ.get("HALVANE_STATE")
    if named:
        return pathlib.Path(named)
    base = os.environ.get("LOCALAPPDATA") if sys.platform == "win32" else os.environ.get("XDG_STATE_HOME")
    return pathlib.Path(base or pathlib.Path.home() / ".local" / "state") / "halvane"


class Reading:
    """One reader of the numbered feed, and its named position if it has one."""

    def __init__(self, session: Session, system_name: str, kinds: Tuple[Type[Event], ...],
                 since: Optional[Since], consumer: str, to_end: bool = False) -> None:  # fmt: skip
        begin = position_of(since)
        self._kinds = (*kinds, GapEvent) if kinds else (Event,)
        self._consumer = Consumer(system_name, consumer) if consumer else None
        if self._consumer and (kept := self._consumer.position()) != Position():
            begin = kept
        self.feed = NumberedFeed(session, begin, to_end)

    def take(self, batch: List[Event]) -> Iterator[Event]:
        """Those that are wanted. An event's turn is over when the next one is asked for: then the
        position moves behind it."""
        for event in batch:
            if isinstance(event, self._kinds):
                yield event
                self._save(event.number)
        self._save(self.feed.number)

    def _save(self, number: Optional[int]) -> None:
        if self._consumer and number is not None:
            self._consumer.save(self.feed.journal, number)

    def __enter__(self) -> Reading:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:  # fmt: skip
        if self._consumer:
            self._consumer.close()


class Consumer:
    """The position of one program. No other one may have it at the same time."""

    def __init__(self, system_name: str, name: str) -> None:
        folder = state_folder()
        folder.mkdir(parents=True, exist_ok=True)
        plain = re.sub(r"[^\w-]", lambda mark: f"%{ord(mark[0]):x}", f"{system_name}.{name}")
        self.path = folder / f"{plain}.position"
        self._file = os.open(self.path, os.O_RDWR | os.O_CREAT | getattr(os, "O_BINARY", 0), 0o600)
        try:
            _lock(self._file)
        except OSError:
            os.close(self._file)
            raise HalvaneError(f"another program reads the feed as {name!r}: {self.path}") from None

    def position(self) -> Position:
        """That of nobody when it is new."""
        os.lseek(self._file, 0, os.SEEK_SET)
        words = os.read(self._file, _SIZE).decode().split()
        return Position(words[0], int(words[1])) if len(words) == 2 else Position()

    def save(self, journal: str, number: int) -> None:
        os.lseek(self._file, 0, os.SEEK_SET)
        os.write(self._file, f"{journal} {number}".ljust(_SIZE - 1).encode() + b"\n")

    def close(self) -> None:
        os.close(self._file)


def _lock(file: int) -> None:
    if sys.platform == "win32":
        import msvcrt

        os.lseek(file, _SIZE, os.SEEK_SET)  # behind the text, which stays readable
        msvcrt.locking(file, msvcrt.LK_NBLCK, 1)
    else:
        import fcntl

        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
