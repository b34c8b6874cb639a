"""Events on their way to those who read them."""

from __future__ import annotations

import asyncio
import inspect
from collections import deque
from typing import Any, Awaitable, Callable, Deque, List, Optional, Tuple, Type, Union

from .errors import FeedGap
from .events import Event

Callback = Callable[[Any], Union[None, Awaitable[None]]]

_MOST_UNREAD = 100_000


class Reader:
    """Hands out the events of some kinds, in order, from its beginning on; ends with its client. When
    too many lie unread they are dropped, and FeedGap is raised in their place."""

    def __init__(self, kinds: Tuple[Type[Event], ...]) -> None:
        self._kinds = kinds or (Event,)
        self._unread: Deque[Event] = deque()
        self._news = asyncio.Event()
        self._dropped = 0
        self._ended = False

    def offer(self, event: Event) -> None:
        if isinstance(event, self._kinds) and not self._ended:
            if len(self._unread) >= _MOST_UNREAD:
                self._dropped += len(self._unread)
                self._unread.clear()
            self._unread.append(event)
            self._news.set()

    def end(self) -> None:
        self._ended = True
        self._news.set()

    async def next(self) -> Optional[Event]:
        """None at the end."""
        await self._wait()
        return self._unread.popleft() if self._unread else None

    async def some(self) -> List[Event]:
        """All that have come; none at the end."""
        await self._wait()
        events = list(self._unread)
        self._unread.clear()
        return events

    async def _wait(self) -> None:
        while not self._unread and not self._ended:
            self._news.clear()
            await self._news.wait()
        if self._dropped:
            dropped, self._dropped = self._dropped, 0
            raise FeedGap(f"{dropped} events were dropped unread")

    async def call(self, callback: Callback) -> None:
        """Calls it with one event after the other. What it raises is shown and harms nobody else."""
        while True:
            try:
                event = await self.next()
                if event is None:
                    return
                result = callback(event)
                if inspect.isawaitable(result):
                    await result
            except Exception as error:
                note = {"message": "a callback for events failed", "exception": error}
                asyncio.get_running_loop().call_exception_handler(note)
