"""The commands."""

from __future__ import annotations

import contextlib
import sys
import time
from typing import Any, Dict, Iterator, List, Optional, Tuple

import click

from .. import __version__, events
from ..client import Client
from ..errors import HalvaneError, OrderEnded, OrderRejected, TimedOut
from ..lint import Lint
from ..numbered import Since, position_of
from ..orders import DONE, FILLED, REJECTED, REPORTED, WORKING, NewOrder, Side, TimeInForce
from ..queries import symbols_of
from ..records import ExecutionReport
from .completion import SHELLS, script
from .setup import (
    DIFFERS,
    INTERRUPTED,
    REFUSED,
    Where,
    event_line,
    exit_code,
    kind_of,
    print_json,
    read_config,
    show,
    show_rows,
    with_json,
    write_csv,
)

_ORDER_COLUMNS = ("report_id", "user_key1", "account", "symbol", "side", "order_qty", "cum_qty",
                  "leaves_qty", "price", "avg_price", "exec_type_text")  # fmt: skip
_FILL_COLUMNS = ("report_id", "order_id", "account", "symbol", "side", "matched_qty", "matched_price",
                 "transact_date", "transact_time")  # fmt: skip
_ACCOUNT_COLUMNS = ("account_mask", "account_name", "broker_name", "status", "account_type")
_POSITION_COLUMNS = ("account", "symbol", "sum_long_qty", "sum_short_qty", "avg_price", "market_price",
                     "unrealized_pl", "today_profit")  # fmt: skip
_MARGIN_COLUMNS = ("account", "currency_to_system", "total_equity", "excess_equity", "initial_margin_requirement",
                   "gross_pl", "commissions")  # fmt: skip
_TIMES = {"day": TimeInForce.DAY, "ioc": TimeInForce.IMMEDIATE_OR_CANCEL, "fok": TimeInForce.FILL_OR_KILL}
_KINDS = {kind_of(kind): kind for kind in events.Event.__subclasses__()}


def main() -> None:
    try:
        cli(prog_name="halvane", auto_envvar_prefix="HALVANE", standalone_mode=False)
    except click.ClickException as error:
        error.show()
        sys.exit(error.exit_code)
    except (click.Abort, KeyboardInterrupt):
        sys.exit(INTERRUPTED)
    except BrokenPipeError:
        sys.stderr.close()  # who read the output has left
        sys.exit(INTERRUPTED)
    except (HalvaneError, ValueError) as error:
        click.echo(f"halvane: {error}", err=True)
        sys.exit(exit_code(error))


@click.group(context_settings={"help_option_names": ["-h", "--help"]})
@click.option("--system", default="", help="The system name.")
@click.option("--key", default="", help="The service key.")
@click.option("--host", default="127.0.0.1", show_default=True)
@click.option("--port", default=0, help="The request port, if it is not the one that the system name gives.")
@click.option("--account", default="", help="The account, as <BrokerID>-<Account>.")
@click.option("--timeout", default=10.0, show_default=True, help="Seconds for a request.")
@click.option("--door", default="", help="The line that HalvanePair has printed, for a gateway elsewhere.")
@click.version_option(__version__)
@click.pass_context
def cli(context: click.Context, **where: Any) -> None:
    """Trade and look on a Halvane gateway. Each option may also be a variable (HALVANE_SYSTEM) or a line in
    the section [halvane] of the configuration file."""
    configured = read_config()
    for name in where:
        if context.get_parameter_source(name) is click.core.ParameterSource.DEFAULT and name in configured:
            where[name] = type(where[name])(configured[name])
    context.obj = Where(**where)


@contextlib.contextmanager
def connected(where: Where, **options: Any) -> Iterator[Client]:
    with where.connect(**options) as client:
        yield client


# --- orders ---------------------------------------------------------------------------------------


def _order_options(command: Any) -> Any:
    for option in reversed([
        click.argument("symbol"),
        click.argument("quantity", type=int),
        click.option("--price", help="A limit order at this price."),
        click.option("--stop", "stop_price", help="A stop order, with --price a stop-limit order."),
        click.option("--time", "time_in_force", type=click.Choice(sorted(_TIMES)), default="day"),
        click.option("--id", default="", help="Your own name for the order; it must be new."),
        click.option("--until", type=click.Choice([REPORTED, WORKING, FILLED, DONE]), default=REPORTED,
                     show_default=True, help="What to wait for."),
        click.option("--seconds", default=5.0, show_default=True, help="How long to wait."),
        with_json,
        click.pass_obj,
    ]):  # fmt: skip
        command = option(command)
    return command


@cli.command()
@_order_options
def buy(where: Where, **wanted: Any) -> None:
    """Buy; without --price at the market."""
    _place(where, Side.BUY, **wanted)


@cli.command()
@_order_options
def sell(where: Where, **wanted: Any) -> None:
    """Sell; without --price at the market."""
    _place(where, Side.SELL, **wanted)


def _place(where: Where, side: Side, symbol: str, quantity: int, time_in_force: str, until: str,
           seconds: float, as_json: bool, **wanted: Any) -> None:  # fmt: skip
    with connected(where) as client:
        order = client.place(
            NewOrder(symbol, side, quantity, time_in_force=_TIMES[time_in_force], **wanted)
        )
        try:
            order.wait(until, seconds)
        except (TimedOut, OrderEnded, OrderRejected):
            _say_order(order.id, order.status, order.report, as_json)
            raise
        _say_order(order.id, order.status, order.report, as_json)
        if order.status == REJECTED:
            sys.exit(REFUSED)


def _say_order(id: str, status: str, report: Optional[ExecutionReport], as_json: bool) -> None:
    filled, price = (report.cum_qty, report.avg_price) if report else (0, None)
    if as_json:
        print_json({"id": id, "status": status, "report_id": report.report_id if report else None,
                    "filled": filled, "average_price": price and str(price)})  # fmt: skip
    else:
        click.echo(f"{id}  {status}" + (f"  {filled} at {price}" if price else ""))


def _find(client: Client, order: str) -> ExecutionReport:
    """By its own id or by its ReportID."""
    for report in client.orders():
        if order in (report.report_id, report.user_key1):
            return report
    raise HalvaneError(f"the gateway knows no order {order}")


@cli.command()
@click.argument("order")
@click.option("--price")
@click.option("--stop", "stop_price")
@click.option("--quantity", type=int)
@with_json
@click.pass_obj
def replace(where: Where, order: str, price: Optional[str], stop_price: Optional[str],
            quantity: Optional[int], as_json: bool) -> None:  # fmt: skip
    """Change the price or the quantity of ORDER, an id or a ReportID."""
    with connected(where) as client:
        report = _find(client, order)
        client.replace(report.report_id, quantity or report.order_qty or 0, price=price, stop_price=stop_price)
        _accepted([report], as_json)


@cli.command()
@click.argument("orders", nargs=-1)
@click.option("--all", "everything", is_flag=True, help="All orders that work, of --account if it is given.")
@with_json
@click.pass_obj
def cancel(where: Where, orders: Tuple[str, ...], everything: bool, as_json: bool) -> None:
    """Cancel ORDERS, by ids or ReportIDs."""
    with connected(where) as client:
        reports = _working(client, where) if everything else [_find(client, order) for order in orders]
        for report in reports:
            client.cancel(report.report_id)
        _accepted(reports, as_json)


def _accepted(reports: List[ExecutionReport], as_json: bool) -> None:
    ids = [report.report_id for report in reports]
    print_json({"accepted": ids}) if as_json else click.echo("\n".join(f"{id}  accepted" for id in ids))


def _working(client: Client, where: Where) -> List[ExecutionReport]:
    return [report for report in client.orders()
            if report.works and where.account in ("", f"{report.broker_id}-{report.account}")]  # fmt: skip


# --- what there is --------------------------------------------------------------------------------


@cli.command()
@click.option("--working", is_flag=True, help="Only those that work.")
@with_json
@click.pass_obj
def orders(where: Where, working: bool, as_json: bool) -> None:
    """All orders of the day."""
    with connected(where) as client:
        show(_working(client, where) if working else client.orders(), _ORDER_COLUMNS, as_json)


@cli.command()
@with_json
@click.pass_obj
def fills(where: Where, as_json: bool) -> None:
    """All fills of the day."""
    with connected(where) as client:
        show(client.fills(), _FILL_COLUMNS, as_json)


@cli.command()
@with_json
@click.pass_obj
def accounts(where: Where, as_json: bool) -> None:
    """The accounts that may be traded."""
    with connected(where) as client:
        show(client.accounts(), _ACCOUNT_COLUMNS, as_json)


@cli.command()
@with_json
@click.pass_obj
def positions(where: Where, as_json: bool) -> None:
    """The positions of --account, or of all."""
    with connected(where) as client:
        show([row for which in _masks(client, where) for row in client.positions(which)], _POSITION_COLUMNS, as_json)


@cli.command()
@with_json
@click.pass_obj
def margins(where: Where, as_json: bool) -> None:
    """The funds of --account, or of all."""
    with connected(where) as client:
        show([row for which in _masks(client, where) for row in client.margins(which)], _MARGIN_COLUMNS, as_json)


def _masks(client: Client, where: Where) -> List[str]:
    return [where.account] if where.account else [each.account_mask for each in client.accounts()]


@cli.command()
@click.argument("what")
@click.option("--date", default="", help="The list of that day, yyyymmdd.")
@with_json
@click.pass_obj
def instruments(where: Where, what: str, date: str, as_json: bool) -> None:
    """The contracts of a list (WHAT is its type), or all about one symbol (WHAT begins with OV)."""
    with connected(where) as client:
        if what.startswith("OV."):
            info = client.instrument(what)
            print_json(info) if as_json else show_rows(info.items(), ("", what))
            return
        symbols = symbols_of(client.instruments(what, date))
        print_json(symbols) if as_json else click.echo("\n".join(symbols))


# --- watching -------------------------------------------------------------------------------------


class _SinceType(click.ParamType):
    name = "number or time"

    def convert(self, value: Any, param: Any, context: Any) -> Since:
        since: Since = int(value) if str(value).isdigit() else value
        try:
            position_of(since)
        except ValueError as error:
            self.fail(str(error), param, context)
        return since


_since = click.option("--since", type=_SinceType(), help="A number of the feed, a time of today such as 09:30, "
                                                         "or a moment such as 2026-11-20T09:30.")  # fmt: skip


@cli.command()
@click.option("--kind", "kinds", multiple=True, type=click.Choice(sorted(_KINDS)), help="Only these.")
@click.option("--seconds", type=float, help="End after so long.")
@_since
@with_json
@click.pass_obj
def tail(where: Where, kinds: Tuple[str, ...], seconds: Optional[float], since: Optional[Since],
         as_json: bool) -> None:  # fmt: skip
    """What is published, as it comes; with --since what was published before, too, if the gateway has a
    numbered feed."""
    with connected(where) as client:
        for event in client.events(*(_KINDS[kind] for kind in kinds), seconds=seconds, since=since):
            line = event_line(event)
            if as_json:
                print_json(line)
            else:
                values = " ".join(f"{key}={value}" for key, value in _flat(line) if value not in (None, ""))
                at = event.at.astimezone().strftime("%H:%M:%S") if event.at else time.strftime("%H:%M:%S")
                click.echo(f"{at}  {line['event']:8}  {values}")


def _flat(line: Any) -> Iterator[Tuple[str, Any]]:
    for key, value in line.items():
        if isinstance(value, dict):
            yield from value.items()
        elif key not in ("event", "at"):
            yield key, value


@cli.command()
@click.option("--seconds", type=float, help="End after so long.")
@with_json
@click.pass_obj
def top(where: Where, seconds: Optional[float], as_json: bool) -> None:
    """Orders, positions, profit and rates, live; with --json a line each second."""
    from .top import Top

    Top(where, as_json).run(seconds)


@cli.group()
def journal() -> None:
    """What the gateway's numbered feed has kept."""


@journal.command()
@click.option("--csv", "as_csv", is_flag=True, help="Comma-separated values; else a line of JSON for each event.")
@click.option("--kind", type=click.Choice(sorted(_KINDS)), help="Only this, with a column for each member.")
@_since
@click.pass_obj
def export(where: Where, as_csv: bool, kind: Optional[str], since: Optional[Since]) -> None:
    """Everything that was published until now, or since a number or a time."""
    with connected(where) as client:
        told = client.history(*([_KINDS[kind]] if kind else []), since=1 if since is None else since)
        lines = (event_line(event) for event in _without_gaps(told))
        if as_csv:
            write_csv(lines, one_kind=kind is not None)
        else:
            for line in lines:
                print_json(line)


def _without_gaps(told: Iterator[Any]) -> Iterator[Any]:
    """What is missing belongs into no table, and has to be seen all the same."""
    for event in told:
        if isinstance(event, events.GapEvent):
            last = "?" if event.last is None else event.last
            click.echo(f"halvane: missing are {event.first} to {last}: {event.reason}", err=True)
        else:
            yield event


@cli.command()
@click.pass_obj
def metrics(where: Where) -> None:
    """How the gateway is, in the text format of Prometheus. It must have STATUS."""
    from .metrics import text

    click.echo(text(where.settings()), nl=False)


@cli.command()
@click.option("--count", default=3, show_default=True)
@with_json
@click.pass_obj
def ping(where: Where, count: int, as_json: bool) -> None:
    """How long the gateway takes to answer."""
    with connected(where) as client:
        for _ in range(count):
            begin = time.perf_counter()
            client.ping()
            took = (time.perf_counter() - begin) * 1000
            print_json({"milliseconds": round(took, 3)}) if as_json else click.echo(f"{took:.2f} ms")


@cli.command()
@click.option("--seconds", default=25.0, show_default=True, help="How long to listen.")
@with_json
@click.pass_obj
def lint(where: Where, seconds: float, as_json: bool) -> None:
    """Check live traffic against the schema. Asks everything that changes nothing, and listens."""
    checker = Lint()
    found: List[str] = []
    checked: Dict[str, int] = {"request": 0, "reply": 0, "publication": 0}

    def look(kind: str, message: bytes) -> None:
        checked[kind] += 1
        for difference in checker.differences(kind, message):
            found.append(difference)
            print_json({"difference": difference}) if as_json else click.echo(difference)

    with connected(where, tap=look) as client:
        for account in client.accounts():
            for ask in (client.margins, client.positions, client.combination_orders,
                        client.combination_positions, client.tracker):  # fmt: skip
                ask(account.account_mask)
        client.restore_reports()
        client.restore_fills()
        for _ in client.events(seconds=seconds):
            pass
    said = {**checked, "differences": len(found)}
    print_json(said) if as_json else click.echo(", ".join(f"{key} {value}" for key, value in said.items()))
    if found:
        sys.exit(DIFFERS)


@cli.command()
@click.argument("shell", type=click.Choice(SHELLS))
def completion(shell: str) -> None:
    """The script that makes SHELL complete `halvane`; docs/python.md tells where to put it."""
    click.echo(script(cli, shell))
