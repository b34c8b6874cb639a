"""Whether messages are as the schema has them, member by member. It needs jsonschema."""

from __future__ import annotations

import importlib
from typing import Any, Dict, Iterator, List

from .errors import HalvaneError
from .schema import MORE_KEYS, ORDER, document
from .wire import Pairs, parse_exactly

_NAMED_BY = {"request": "Request", "reply": "Reply", "publication": "DataType"}


class Lint:
    """Says of each message what differs, as `path: what`."""

    def __init__(self) -> None:
        jsonschema = importlib.import_module("jsonschema")
        plain = jsonschema.Draft202012Validator
        self._error = jsonschema.ValidationError
        self._kind = jsonschema.validators.extend(plain, {ORDER: self._check_order})
        self._document = document()
        self._validators: Dict[str, Any] = {}

    def differences(self, kind: str, message: bytes) -> List[str]:
        """`kind` is request, reply or publication."""
        try:
            content = parse_exactly(message if kind != "request" else message.rstrip(b"\0") + b"\0")
        except (HalvaneError, ValueError) as error:
            return [f"{kind}: {error}"]
        name = content.get(_NAMED_BY[kind]) if isinstance(content, dict) else None
        if f"{kind}.{name}" not in self._document["$defs"]:
            return [f"{kind}: {_NAMED_BY[kind]} is {name!r}, which nobody knows"]
        validator = self._validator(f"{kind}.{name}", content)
        return [f"{kind} {name}: {self._say(error)}" for error in validator.iter_errors(content)]

    def _validator(self, name: str, content: Dict[str, Any]) -> Any:
        """Of a reply's forms the one that was meant tells best what is wrong."""
        definition, where = self._document["$defs"][name], f"#/$defs/{name}"
        if "oneOf" in definition:
            meant = 0 if content.get("Success") == "OK" else 2 if "ErrCode" in content else 1
            where += f"/oneOf/{min(meant, len(definition['oneOf']) - 1)}"
        if where not in self._validators:
            self._validators[where] = self._kind({"$ref": where, "$defs": self._document["$defs"]})
        return self._validators[where]

    def _say(self, error: Any) -> str:
        path = "".join(f"[{step}]" if isinstance(step, int) else f".{step}" for step in error.absolute_path)
        return f"{path.lstrip('.') or 'the message'}: {error.message}"

    def _check_order(self, _: Any, order: List[str], content: Any, schema: Any) -> Iterator[Any]:
        if not isinstance(content, Pairs):
            return
        keys = [key for key, _ in content.pairs]
        expected = list(order)
        if MORE_KEYS in expected:
            at = expected.index(MORE_KEYS)
            more = [key for key in keys if key.startswith("UserKey") and key != "UserKey1"]
            expected[at : at + 1] = sorted(more, key=lambda key: int(key[7:]))
        if keys != expected and set(keys) == set(expected):
            wrong = [pair for pair in zip(keys, expected) if pair[0] != pair[1]]
            where = f"{wrong[0][0]} stands where {wrong[0][1]} should" if wrong else "too many or too few"
            yield self._error(f"the order of the members: {where}")
