"""What a record is made of. A record class lists its fields in the order of the wire, and this list
is the one that everything else is made from: the attributes here, the JSON Schemas in docs/protocol,
and the check that the gateway's own tables say the same.

An attribute is read from the raw record when it is asked for. Numbers come as int or Decimal, None
where the platform has no value; texts come as they are, empty where there is none.
"""

from __future__ import annotations

import re
from decimal import Decimal
from typing import Any, ClassVar, Dict, Generic, Mapping, Optional, Tuple, Type, TypeVar, Union, overload

T = TypeVar("T")

# The written forms, as docs/protocol.md names them.
TEXT, INTEGER, WHOLE, ABSENT, USER_KEYS = "text", "integer", "whole", "absent", "user keys"
PRICE, AVERAGE, AMOUNT, CENTS, SIX = "price", "average", "amount", "cents", "six"

# What stands for a missing value where the form has no empty text for it.
_MISSING = frozenset(["", "-2147483648", "-922337203.685478"])


def attribute_name(key: str) -> str:
    """The attribute for a key of the wire: `OrderQty` is order_qty, and keys that are no identifiers
    are spoken: `1%Td$Gamma` is one_percent_td_dollar_gamma."""
    spoken = key.replace("1%", "OnePercent").replace("$", "Dollar").replace("PnL", "Pnl")
    spoken = re.sub(r"([a-z0-9])([A-Z])", r"\1_\2", spoken)
    return re.sub(r"([A-Z])([A-Z][a-z])", r"\1_\2", spoken).lower()


class Field(Generic[T]):
    """One member of a record, its written form where it is published and, if that differs, where it
    is restored."""

    published = TEXT

    def __init__(self, key: str, published: str = "", restored: str = "") -> None:
        self.key = key
        self.published = published or self.published
        self.restored = restored or self.published
        self.name = ""

    def __set_name__(self, owner: Type[Record], name: str) -> None:
        self.name = name

    @overload
    def __get__(self, record: None, owner: Type[Record]) -> Field[T]:
        ...

    @overload
    def __get__(self, record: Record, owner: Type[Record]) -> T:
        ...

    def __get__(self, record: Optional[Record], owner: Type[Record]) -> Union[Field[T], T]:
        return self if record is None else self.read(record.raw)

    def read(self, raw: Mapping[str, Any]) -> T:
        raise NotImplementedError

    def form(self, restored: bool) -> str:
        return self.restored if restored else self.published


class Text(Field[str]):
    def read(self, raw: Mapping[str, Any]) -> str:
        return str(raw.get(self.key, ""))


class PublishedText(Field[Optional[str]]):
    """A text that restored records lack: None there."""

    def __init__(self, key: str) -> None:
        super().__init__(key, TEXT, ABSENT)

    def read(self, raw: Mapping[str, Any]) -> Optional[str]:
        return raw.get(self.key)


class RestoredText(Field[Optional[str]]):
    """A text that published records lack: None there."""

    def __init__(self, key: str) -> None:
        super().__init__(key, ABSENT, TEXT)

    def read(self, raw: Mapping[str, Any]) -> Optional[str]:
        return raw.get(self.key)


class Integer(Field[Optional[int]]):
    published = INTEGER

    def read(self, raw: Mapping[str, Any]) -> Optional[int]:
        text = raw.get(self.key, "")
        return None if text in _MISSING else int(text)


class Number(Field[Optional[Decimal]]):
    def read(self, raw: Mapping[str, Any]) -> Optional[Decimal]:
        text = raw.get(self.key, "")
        return None if text in _MISSING else Decimal(text)


class Price(Number):
    published = PRICE


class Average(Number):
    published = AVERAGE


class Amount(Number):
    published = AMOUNT


class Cents(Number):
    published = CENTS


class UserKeys(Field[Dict[int, str]]):
    """`UserKey1`, `UserKey2` and whichever more the order had, by their numbers."""

    published = USER_KEYS

    def read(self, raw: Mapping[str, Any]) -> Dict[int, str]:
        return {int(key[7:]): value for key, value in raw.items() if key.startswith("UserKey")}


class Record:
    """A row of the gateway. `raw` holds its members as they came, by the keys of the wire."""

    __slots__ = ("raw",)
    fields: ClassVar[Tuple[Field[Any], ...]] = ()

    def __init__(self, raw: Mapping[str, Any]) -> None:
        self.raw = raw

    def __init_subclass__(cls) -> None:
        cls.fields = tuple(field for field in vars(cls).values() if isinstance(field, Field))

    def as_dict(self) -> Dict[str, Any]:
        """The values by the names of their attributes; those that this form lacks are None."""
        return {field.name: field.read(self.raw) for field in self.fields}

    def __eq__(self, other: object) -> bool:
        return type(self) is type(other) and self.raw == other.raw  # type: ignore[attr-defined]

    def __hash__(self) -> int:
        return hash(tuple(self.raw.items()))

    def __repr__(self) -> str:
        members = ", ".join(f"{key}={value!r}" for key, value in self.raw.items() if value)
        return f"{type(self).__name__}({members})"
