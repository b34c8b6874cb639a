"""What all commands share: where the gateway is, how things are shown, which exit codes there are."""

from __future__ import annotations

import configparser
import csv
import json
import os
import pathlib
import sys
from decimal import Decimal
from typing import Any, Callable, Dict, Iterable, List, Mapping, NamedTuple, Optional, Sequence, Tuple, Type
from typing import TypeVar

import click
from rich.console import Console
from rich.table import Table

from .. import errors
from ..client import Client
from ..fields import Record
from ..link import Tap
from ..protocol import port_of
from ..session import Settings

F = TypeVar("F", bound=Callable[..., Any])

# Documented in docs/python.md.
FAILED, NOT_CONNECTED, LOGIN_REFUSED, REFUSED, UNKNOWN, TIMED_OUT, DIFFERS = 1, 3, 4, 5, 6, 7, 8
INTERRUPTED = 130
_ABOUT = ("number", "at", "event", "recovered", "account", "symbol")  # columns of an export of all kinds
EXIT_CODES: List[Tuple[Type[Exception], int]] = [
    (errors.LoginRefused, LOGIN_REFUSED),
    (errors.NotLetIn, LOGIN_REFUSED),
    (errors.OrderRejected, REFUSED),
    (errors.OutcomeUnknown, UNKNOWN),
    (errors.TimedOut, TIMED_OUT),
    (errors.NotConnected, NOT_CONNECTED),
    (Exception, FAILED),
]


class Where(NamedTuple):
    """The gateway that a command is for."""

    system: str
    key: str
    host: str
    port: int
    account: str
    timeout: float
    door: str = ""

    def settings(self) -> Settings:
        if not self.system or not self.key:
            raise click.UsageError("which gateway? --system and --key, HALVANE_SYSTEM and HALVANE_KEY, or "
                                   f"the file {config_path()} say so")  # fmt: skip
        port = self.port or port_of(self.system)
        return Settings(self.system, self.key, self.host, port, self.timeout, None)

    def connect(self, tap: Optional[Tap] = None, patience: Optional[float] = -1) -> Client:
        self.settings()
        patience = self.timeout if patience == -1 else patience
        return Client.connect(self.system, self.key, host=self.host, port=self.port, account=self.account,
                              timeout=self.timeout, patience=patience, tap=tap, door=self.door)  # fmt: skip


def config_path() -> pathlib.Path:
    named = os.environ.get("HALVANE_CONFIG")
    if named:
        return pathlib.Path(named)
    base = os.environ.get("APPDATA") if sys.platform == "win32" else os.environ.get("XDG_CONFIG_HOME")
    return pathlib.Path(base or pathlib.Path.home() / ".config") / "halvane" / "config.ini"


def read_config() -> Dict[str, str]:
    """The section [halvane] of the file, if there is one."""
    parser = configparser.ConfigParser(interpolation=None)
    parser.read(config_path(), encoding="utf-8")
    return dict(parser["halvane"]) if parser.has_section("halvane") else {}


def exit_code(error: BaseException) -> int:
    return next(code for kind, code in EXIT_CODES if isinstance(error, kind))


def with_json(command: F) -> F:
    return click.option("--json", "as_json", is_flag=True, help="Print JSON instead of a table.")(command)


def plain(value: Any) -> Any:
    return str(value) if isinstance(value, Decimal) else value


def row(record: Record) -> Dict[str, Any]:
    return {name: plain(value) for name, value in record.as_dict().items()}


def print_json(value: Any) -> None:
    click.echo(json.dumps(value, ensure_ascii=False, default=str))


def show(records: Sequence[Record], columns: Sequence[str], as_json: bool) -> None:
    """A table of some columns, or everything as JSON."""
    if as_json:
        print_json([row(record) for record in records])
    else:
        show_rows([[getattr(record, column) for column in columns] for record in records], columns)


def show_rows(rows: Iterable[Sequence[Any]], columns: Sequence[str]) -> None:
    # What is not a terminal has no width; nothing may be cut off there.
    console = Console(soft_wrap=True) if sys.stdout.isatty() else Console(width=1000)
    console.print(table(rows, columns))


def table(rows: Iterable[Sequence[Any]], columns: Sequence[str], title: str = "") -> Table:
    made = Table(box=None, pad_edge=False, title=title or None, title_justify="left")
    numbers: List[bool] = []
    body = [list(cells) for cells in rows]
    for index, column in enumerate(columns):
        numbers.append(any(isinstance(cells[index], (int, Decimal)) for cells in body))
        made.add_column(column.replace("_", " "), justify="right" if numbers[-1] else "left", no_wrap=True)
    for cells in body:
        made.add_row(*("" if cell is None else str(cell) for cell in cells))
    return made


def event_line(event: Any) -> Mapping[str, Any]:
    """An event as a JSON object: its kind and what it holds."""
    line: Dict[str, Any] = {"event": kind_of(type(event))}
    for name, value in vars(event).items():
        if name == "order":
            continue
        if isinstance(value, Record):
            value = row(value)
        elif isinstance(value, list):
            value = [row(item) for item in value]
        line[name] = value
    return line


def write_csv(lines: Iterable[Mapping[str, Any]], one_kind: bool) -> None:
    """A column for each member when all are of one kind; else what they are about, and all of it as JSON."""
    writer = csv.writer(sys.stdout)
    head: List[str] = []
    for line in lines:
        values: Dict[str, Any] = {key: line[key] for key in ("number", "at", "event")}
        for key, value in line.items():
            values.update(value if isinstance(value, dict) else {key: value})
        if not one_kind:
            whole = json.dumps(line, ensure_ascii=False, default=str)
            values = {**{key: values.get(key, "") for key in _ABOUT}, "json": whole}
        if not head:
            head = list(values)
            writer.writerow(head)
        writer.writerow([values.get(key, "") for key in head])


def kind_of(kind: Type[Any]) -> str:
    """FillEvent is `fill`."""
    return kind.__name__.replace("Event", "").lower()
