"""Bytes and number texts of the protocol; nothing here reads or sends."""

from __future__ import annotations

import json
import math
from decimal import Decimal, InvalidOperation
from typing import Any, Dict, List, Mapping, Tuple, Union

from .errors import HalvaneError

Reply = Dict[str, Any]
Price = Union[Decimal, int, float, str]

_UNIT = 10**10  # the platform counts prices in units of 1e-10
_PLACES = 10
_encode = json.JSONEncoder(ensure_ascii=False, separators=(",", ":")).encode


def compose(name: str, session_key: str, members: Mapping[str, Any]) -> bytes:
    """The bytes of a request. LOGIN alone bears no session key."""
    request: Dict[str, Any] = {"Request": name}
    if session_key:
        request["SessionKey"] = session_key
    request.update(members)
    return _encode(request).encode()


def parse(message: bytes) -> Reply:
    """The object in a reply or a publication; of a member that occurs twice the last one counts."""
    document = json.loads(_text(message))
    if not isinstance(document, dict):
        raise HalvaneError(f"no object: {message[:80]!r}")
    return document


class Pairs(Dict[str, Any]):
    """An object that still knows its members in order, also those that occur twice."""

    def __init__(self, pairs: List[Tuple[str, Any]]) -> None:
        super().__init__(pairs)
        self.pairs = pairs


def parse_exactly(message: bytes) -> Any:
    """The same for who looks closely: every object is a `Pairs`."""
    return json.loads(_text(message), object_pairs_hook=Pairs)


def _text(message: bytes) -> bytes:
    if message[-1:] != b"\0":
        raise HalvaneError(f"not ended by a zero byte: {message[-80:]!r}")
    return message[:-1]


def as_decimal(price: Price) -> Decimal:
    """What the caller means by a price: a float means its shortest text."""
    try:
        value = Decimal(str(price))
    except InvalidOperation:
        raise ValueError(f"{price!r} is no price") from None
    if not value.is_finite():
        raise ValueError(f"{price!r} is no price")
    if value != value.quantize(Decimal(1).scaleb(-_PLACES)):
        raise ValueError(f"{price!r} has more than {_PLACES} places")
    return value


def new_price(price: Price) -> str:
    """A price for a new order. Texts that are no number, such as `B+5`, are the platform's own."""
    if isinstance(price, str) and not _is_number(price):
        return price
    return f"{as_decimal(price):f}"


def _is_number(text: str) -> bool:
    try:
        return Decimal(text).is_finite()
    except InvalidOperation:
        return False


def replace_price(price: Price) -> str:
    """The text that makes REPLACEORDER change a price to exactly this one. The gateway reads a
    double and cuts off what does not make a whole unit, and the double of 0.41 lies below 0.41. Half
    a unit more keeps it from losing one; where doubles are coarser than that, the next one may."""
    value = as_decimal(price)
    units = int(value * _UNIT)
    if units < 0:
        raise ValueError(f"an order cannot be replaced to the negative price {value}")
    plain = f"{value:.{_PLACES}f}"
    above = Decimal(math.nextafter(float(plain), math.inf))
    for text in (plain + "5", plain, f"{above:f}"):
        if int(float(text) * _UNIT) == units:
            return text
    raise ValueError(f"{price!r} is too large to be written exactly")
