"""The protocol as data: JSON Schema for every message, and an AsyncAPI document over them, made from the
record classes and the table of requests.

    python3 -m halvane.schema docs/protocol      writes both
"""

from __future__ import annotations

import json
import pathlib
import sys
import textwrap
from typing import Any, Dict, Iterable, List, Mapping, Optional, Type

from .fields import ABSENT, AMOUNT, AVERAGE, CENTS, INTEGER, PRICE, SIX, TEXT, USER_KEYS, WHOLE, Record
from .protocol import (
    ANY_TEXT,
    FUTURES_ORDER,
    NUMBER,
    OPERATIONS,
    PAGE,
    PRICE_TEXT,
    PUBLICATIONS,
    STOCK_ORDER,
    SWITCHES,
    WIDE,
    Operation,
    Publication,
)

Schema = Dict[str, Any]

SCHEMA_FILE, ASYNCAPI_FILE = "halvane.schema.json", "asyncapi.json"
ORDER = "x-order"  # the members in the order of the wire; one that stands there twice comes twice
MORE_KEYS = "UserKey*"  # in that order: those of UserKey2 to UserKey100 that there are

_USER_KEY = "^UserKey([1-9][0-9]?|100)$"
_STRING: Schema = {"type": "string"}


def _decimals(places: int) -> str:
    return rf"^(-?[0-9]+(\.[0-9]{{0,{places - 1}}}[1-9])?)?$"


_FORMS: Dict[str, Schema] = {
    TEXT: _STRING,
    INTEGER: {"type": "string", "pattern": "^(-?[0-9]+)?$", "description": "empty without a value"},
    WHOLE: {"type": "string", "pattern": "^-?[0-9]+$", "description": "-2147483648 without a value"},
    PRICE: {"type": "string", "pattern": _decimals(7)},
    AVERAGE: {"type": "string", "pattern": _decimals(8)},
    AMOUNT: {"type": "string", "pattern": _decimals(6)},
    CENTS: {"type": "string", "pattern": _decimals(2)},
    SIX: {"type": "string", "pattern": r"^-?[0-9]+\.[0-9]{6}$",
          "description": "-922337203.685478 without a value"},
    NUMBER: {"type": "string", "pattern": "^[+-]?[0-9]*$"},
    WIDE: {"type": "string", "pattern": "^[+-]?[0-9]*$", "description": "64 bits, not scaled"},
    PRICE_TEXT: {"type": "string", "description": "see Price texts in docs/protocol.md"},
}  # fmt: skip


def document() -> Schema:
    """The schema of all messages, each under its name in $defs."""
    defs: Dict[str, Schema] = {_form_name(form): schema for form, schema in _FORMS.items()}
    defs["instruments"] = _instruments()
    restored = {operation.record for operation in OPERATIONS.values() if operation.restored}
    for record in _records():
        defs[f"{record.__name__}.published"] = _record(record, restored=False)
        if record in restored:
            defs[f"{record.__name__}.restored"] = _record(record, restored=True)
    for operation in OPERATIONS.values():
        defs[f"request.{operation.name}"] = _request(operation)
        defs[f"reply.{operation.name}"] = _reply(operation)
    defs["reply.Req"] = _failure("Req")
    for publication in PUBLICATIONS.values():
        defs[f"publication.{publication.kind}"] = _publication(publication)
    return {
        "$schema": "https://json-schema.org/draft/2020-12/schema",
        "title": "Requests, replies and publications of Halvane",
        "description": f"{ORDER} lists the members in the order of the wire; one that is there twice comes "
                       "twice, and has the same form both times.",
        "anyOf": [_ref(name) for name in defs if name.startswith(("request.", "reply.", "publication."))],
        "$defs": defs,
    }  # fmt: skip


def _form_name(form: str) -> str:
    return f"form.{form.replace(' ', '-')}"


def _ref(name: str) -> Schema:
    return {"$ref": f"#/$defs/{name}"}


def _records() -> List[Type[Record]]:
    rows = {operation.record for operation in OPERATIONS.values()}
    rows |= {publication.record for publication in PUBLICATIONS.values()}
    return sorted((row for row in rows if row), key=lambda row: row.__name__)


def _object(properties: Mapping[str, Schema], order: Optional[Iterable[str]] = None) -> Schema:
    """An object with exactly these members."""
    return {
        "type": "object",
        "properties": dict(properties),
        "required": list(properties),
        "additionalProperties": False,
        ORDER: list(properties if order is None else order),
    }


def _record(record: Type[Record], restored: bool) -> Schema:
    properties: Dict[str, Schema] = {}
    order: List[str] = []
    keyed = False
    for field in record.fields:
        form = field.form(restored)
        if form == ABSENT:
            continue
        order.append(field.key)
        if form == USER_KEYS:
            keyed = True
            order.append(MORE_KEYS)
            properties["UserKey1"] = _STRING
        else:
            properties[field.key] = _ref(_form_name(form))
    schema = _object(properties, order)
    if keyed:
        schema["patternProperties"] = {_USER_KEY: _STRING}
    return schema


def _request(operation: Operation) -> Schema:
    properties: Dict[str, Schema] = {"Request": {"const": operation.name}}
    if operation.name != "LOGIN":
        properties["SessionKey"] = _STRING
    required = list(properties)
    properties.update({key: _member(form) for key, form in operation.members.items()})
    if operation.param is not None:
        required.append("Param")
        properties["Param"] = _param(operation)
    return {"type": "object", "properties": properties, "required": required}


def _member(form: str) -> Schema:
    return _STRING if form == ANY_TEXT else _ref(_form_name(form))


def _param(operation: Operation) -> Schema:
    """Members that are missing read as empty, those that are not known are ignored."""
    if operation.name != "NEWORDER":
        members = {key: _member(form) for key, form in (operation.param or {}).items()}
        return {"type": "object", "properties": members}
    kinds = [("a stock order", r"\.S\.", STOCK_ORDER), ("a futures or options order", r"\.[FO]\.",
             {**FUTURES_ORDER, **SWITCHES})]  # fmt: skip
    return {"anyOf": [
        {"title": title, "type": "object",
         "properties": {**{key: _member(form) for key, form in members.items()},
                        "Symbol": {"type": "string", "pattern": pattern}},
         "patternProperties": {_USER_KEY: _STRING}}
        for title, pattern, members in kinds]}  # fmt: skip


def _reply(operation: Operation) -> Schema:
    begin: Dict[str, Schema] = {"Reply": {"const": operation.name}}
    more: Dict[str, Schema] = {key: _STRING for key in operation.reply}
    if operation.name == "QUERYALLINSTRUMENT":
        more = {"Instruments": _ref("instruments")}
    elif operation.name == "QUERYINSTRUMENTINFO":
        more = {"Info": {"type": "object"}}
    elif operation.coded:
        begin.update(more)
        more = {}
    if operation.record:
        more[operation.rows] = _rows(operation.record, operation.restored, "QryIndex" in operation.members)
    forms = [_object({**begin, "Success": {"const": "OK"}, **more}), _failure(operation.name)]
    if operation.coded:
        forms.append(_object({**begin, "Success": {"const": "Fail"}, "ErrCode": _ref(_form_name(WHOLE))}))
    return {"oneOf": forms}


def _rows(record: Type[Record], restored: bool, paged: bool = False) -> Schema:
    form = "restored" if restored else "published"
    rows: Schema = {"type": "array", "items": _ref(f"{record.__name__}.{form}")}
    return {**rows, "maxItems": PAGE} if paged else rows


def _failure(name: str) -> Schema:
    return _object({"Reply": {"const": name}, "Success": {"const": "Fail"}, "SessionKey": _STRING,
                    "ErrMsg": _STRING})  # fmt: skip


def _publication(publication: Publication) -> Schema:
    properties: Dict[str, Schema] = {"DataType": {"const": publication.kind}}
    if publication.record and publication.listed:
        properties[publication.member] = _rows(publication.record, restored=False)
    elif publication.record:
        properties[publication.member] = _ref(f"{publication.record.__name__}.published")
    return _object(properties)


def _instruments() -> Schema:
    """A list of the platform, handed through: nodes within nodes."""
    texts = {"type": "array", "items": _STRING}
    return {"type": "object", "properties": {"Node": {"type": "array", "items": _ref("instruments")},
                                             "Contracts": texts, "InstrumentID": texts,
                                             "ExpirationDate": texts, "TradeingDays": texts}}  # fmt: skip


# --- AsyncAPI ---------------------------------------------------------------------------------------


def asyncapi(version: str) -> Schema:
    names = [*OPERATIONS]
    requests = {name: _message(f"request.{name}") for name in names}
    replies = {f"{name}.reply": _message(f"reply.{name}") for name in names}
    published = {kind: _message(f"publication.{kind}") for kind in PUBLICATIONS}
    operations: Schema = {
        name: {
            "action": "send",
            "channel": {"$ref": "#/channels/requests"},
            "messages": [{"$ref": f"#/channels/requests/messages/{name}"}],
            "reply": {"channel": {"$ref": "#/channels/requests"},
                      "messages": [{"$ref": f"#/channels/requests/messages/{name}.reply"}]},
        }
        for name in names
    }  # fmt: skip
    operations["publications"] = {"action": "receive", "channel": {"$ref": "#/channels/publications"}}
    return {
        "asyncapi": "3.0.0",
        "info": {"title": "Halvane", "version": version, "description":
                 "Seen from a client. Every reply and publication ends with one zero byte, which is part "
                 "of the message."},
        "defaultContentType": "application/json",
        "servers": {
            "requests": {"host": "127.0.0.1:{RepPort}", "protocol": "zmq", "description": "ROUTER",
                         "variables": {"RepPort": {"description": "follows from the system name"}}},
            "publications": {"host": "127.0.0.1:{SubPort}", "protocol": "zmq", "description": "PUB",
                             "variables": {"SubPort": {"description": "from the reply to LOGIN"}}},
        },
        "channels": {
            "requests": {"servers": [{"$ref": "#/servers/requests"}], "messages": {**requests, **replies}},
            "publications": {"servers": [{"$ref": "#/servers/publications"}], "messages": published},
        },
        "operations": operations,
    }  # fmt: skip


def _message(name: str) -> Schema:
    return {"payload": {"schemaFormat": "application/schema+json;version=2020-12",
                        "schema": {"$ref": f"{SCHEMA_FILE}#/$defs/{name}"}}}  # fmt: skip


# --- files ------------------------------------------------------------------------------------------


def dump(value: Any, indent: str = "", width: int = 110) -> str:
    """JSON with what fits into a line on one line, so that a record reads as a table."""
    line = json.dumps(value, ensure_ascii=False)
    if len(indent) + len(line) <= width or not isinstance(value, (dict, list)) or not value:
        return line
    inner = indent + "  "
    if isinstance(value, list) and all(isinstance(item, str) for item in value):
        lines = textwrap.wrap(line[1:-1], width, initial_indent=inner, subsequent_indent=inner)
        return "\n".join(["[", *lines, f"{indent}]"])
    if isinstance(value, dict):
        items = [f"{json.dumps(key)}: {dump(item, inner, width)}" for key, item in value.items()]
        return "{\n" + ",\n".join(inner + item for item in items) + f"\n{indent}}}"
    return "[\n" + ",\n".join(inner + dump(item, inner, width) for item in value) + f"\n{indent}]"


def files(version: str) -> Dict[str, str]:
    return {SCHEMA_FILE: dump(document()) + "\n", ASYNCAPI_FILE: dump(asyncapi(version)) + "\n"}


def main(folder: str) -> None:
    from . import __version__

    pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
    for name, text in files(__version__).items():
        (pathlib.Path(folder) / name).write_bytes(text.encode())


if __name__ == "__main__":
    main(sys.argv[1])
