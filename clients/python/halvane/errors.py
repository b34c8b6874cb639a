"""What can go wrong, by what it means for the caller."""

from __future__ import annotations

from typing import TYPE_CHECKING, Optional

if TYPE_CHECKING:
    from .orders import OrderCore


class HalvaneError(Exception):
    """Everything that this package raises by itself."""


class NotConnected(HalvaneError):
    """There is no gateway at the moment. Nothing was sent, so nothing is in doubt."""


class LoginRefused(HalvaneError):
    """The platform does not know this system name with this key."""


class NotLetIn(HalvaneError):
    """The gateway's encrypted door does not know this key, or not any more, or not from here."""


class SessionExpired(HalvaneError):
    """The gateway has dropped the session, and dropped the next one too."""


class RequestFailed(HalvaneError):
    """The gateway answered with a failure, whose words are `text`."""

    def __init__(self, name: str, text: str) -> None:
        super().__init__(f"{name}: {text or 'failed without a reason'}")
        self.name, self.text = name, text


class OrderRejected(RequestFailed):
    """The platform refuses an order or a change of one. `code` is the platform's, empty when the
    gateway itself refused it."""

    def __init__(self, name: str, code: str, text: str, order: Optional[OrderCore] = None) -> None:
        super().__init__(name, f"{text} (code {code})" if text and code else text or f"code {code}")
        self.code, self.text, self.order = code, text, order


class OrderEnded(HalvaneError):
    """The order has ended, but not in the way that was waited for: `status` says how."""

    def __init__(self, order: OrderCore, status: str) -> None:
        super().__init__(f"order {order.id} is {status}")
        self.order, self.status = order, status


class OutcomeUnknown(HalvaneError):
    """A request that changes something was sent and not answered: it may have been carried out. A
    report of the order settles it. Asking again may do it twice."""

    def __init__(self, name: str, order: Optional[OrderCore] = None) -> None:
        super().__init__(f"{name} was sent and not answered" + (f", order {order.id}" if order else ""))
        self.name, self.order = name, order


class TimedOut(HalvaneError, TimeoutError):
    """A question was not answered, or what was waited for did not happen, in time."""


class NoFeed(HalvaneError):
    """The gateway has no numbered feed."""


class FeedStale(TimedOut):
    """What was waited for did not happen, and no publication could tell of it: the feed is dead."""


class FeedGap(HalvaneError):
    """The reader of these events fell so far behind that some were dropped; the book has them."""
