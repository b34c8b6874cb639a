"""What STATUS and FEEDSTATUS say, in the text format of Prometheus."""

from __future__ import annotations

import asyncio
import datetime
from typing import Any, Dict, Iterator, List, Mapping, Optional, Tuple

import zmq

from ..errors import HalvaneError, LoginRefused, NotConnected, RequestFailed, TimedOut
from ..link import LinkLost
from ..session import Link, Settings
from ..wire import Reply, compose, parse

Labels = Dict[str, str]
Sample = Tuple[str, Labels, float]

_QUANTILES = {"0.5": "P50Us", "0.9": "P90Us", "0.99": "P99Us", "1": "MaxUs"}
_HELP = {
    "up": ("gauge", "Whether the gateway answers."),
    "info": ("gauge", "Which program serves which platform."),
    "start_time_seconds": ("gauge", "When the gateway started."),
    "memory_bytes": ("gauge", "How much of it lies in the machine's memory."),
    "log_lines_lost_total": ("counter", "Log lines that are in no file."),
    "platform_connected": ("gauge", "Whether the platform took the connection."),
    "platform_last_event_time_seconds": ("gauge", "When the platform last told anything."),
    "sessions": ("gauge", "Clients that are logged in."),
    "requests_under_way": ("gauge", "Requests that the workers are at."),
    "longest_request_seconds": ("gauge", "How long the oldest of these has run."),
    "requests_total": ("counter", "Requests that were answered."),
    "request_failures_total": ("counter", "Of these, answered with a failure or refused."),
    "request_duration_seconds": ("gauge", "How long requests took since the start, at most an eighth too high."),
    "publications_total": ("counter", "What was published."),
    "feed_last_number": ("gauge", "The number of the last row of the feed."),
    "feed_lost_total": ("counter", "Publications of this run that are in no row."),
    "feed_failing": ("gauge", "Whether the journal cannot be written."),
}


async def ask(settings: Settings, names: List[str]) -> Dict[str, Reply]:
    """The replies to these requests, in a session for them alone. It reads no book."""
    context: zmq.Context[zmq.Socket[bytes]] = zmq.Context()
    link = Link(context, settings)

    async def one(name: str, members: Mapping[str, Any]) -> Reply:
        body = compose(name, link.session_key, members)
        return parse(await link.light.send(body, settings.timeout))

    try:
        await asyncio.wait_for(link.connected(link.light.connection), settings.timeout)
        who = {"SystemName": settings.system_name, "ServiceKey": settings.service_key}
        reply = await one("LOGIN", {"Param": who})
        if reply["Success"] != "OK":
            raise LoginRefused(f"the gateway refuses to log {settings.system_name} in")
        link.session_key = reply["SessionKey"]
        replies = {name: await one(name, {}) for name in names}
        await one("LOGOUT", {})
        return replies
    except asyncio.TimeoutError:
        raise TimedOut(f"the gateway does not answer within {settings.timeout:g} s") from None
    except LinkLost:
        raise NotConnected("the connection was lost") from None
    finally:
        link.lose("done")
        context.destroy(linger=0)


def text(settings: Settings) -> str:
    """One scrape. A gateway that cannot be asked is down, and says so in a metric."""
    try:
        replies = asyncio.run(ask(settings, ["STATUS", "FEEDSTATUS"]))
    except HalvaneError:
        return _format([("up", {}, 0)])
    status, feed = replies["STATUS"], replies["FEEDSTATUS"]
    if status["Success"] != "OK":
        raise RequestFailed("STATUS", "this gateway has none; Status=1 in [Gateway] of Configs/ZMQ.ini turns it on")
    return _format([*_of_status(status, settings), *(_of_feed(feed) if feed["Success"] == "OK" else ())])


def _of_status(status: Reply, settings: Settings) -> Iterator[Sample]:
    platform = status["Platform"]
    yield "up", {}, 1
    labels = {"version": status["Version"], "system": settings.system_name, "address": platform["Address"],
              "paper": platform["Paper"]}  # fmt: skip
    yield "info", labels, 1
    yield "start_time_seconds", {}, _seconds(status["Started"]) or 0
    yield "memory_bytes", {}, int(status["MemoryBytes"])
    yield "log_lines_lost_total", {}, int(status["LogLinesLost"])
    yield "platform_connected", {}, int(platform["Connected"])
    heard = _seconds(platform["LastEvent"])
    if heard is not None:
        yield "platform_last_event_time_seconds", {}, heard
    yield "sessions", {}, len(status["Sessions"]) - 1  # its own is not of interest
    yield "requests_under_way", {}, int(status["UnderWay"]) - 1
    yield "longest_request_seconds", {}, int(status["LongestMs"]) / 1000
    for row in status["Operations"]:
        of = {"request": row["Request"]}
        yield "requests_total", of, int(row["Count"])
        yield "request_failures_total", of, int(row["Failures"])
        for quantile, member in _QUANTILES.items():
            yield "request_duration_seconds", {**of, "quantile": quantile}, int(row[member]) / 1e6
    for row in status["Publications"]:
        yield "publications_total", {"kind": row["DataType"]}, int(row["Count"])


def _of_feed(feed: Reply) -> Iterator[Sample]:
    yield "feed_last_number", {}, int(feed["Last"])
    yield "feed_lost_total", {}, int(feed["Lost"])
    yield "feed_failing", {}, int(bool(feed["Failure"]))


def _seconds(moment: str) -> Optional[float]:
    return datetime.datetime.fromisoformat(moment.replace("Z", "+00:00")).timestamp() if moment else None


def _format(samples: List[Sample]) -> str:
    lines: List[str] = []
    for name, (kind, meaning) in _HELP.items():
        found = [(labels, value) for of, labels, value in samples if of == name]
        if found:
            lines += [f"# HELP halvane_{name} {meaning}", f"# TYPE halvane_{name} {kind}"]
        for labels, value in found:
            said = ",".join(f'{key}="{_escaped(label)}"' for key, label in labels.items())
            lines.append(f"halvane_{name}{{{said}}} {value:.15g}" if said else f"halvane_{name} {value:.15g}")
    return "\n".join(lines) + "\n"


def _escaped(label: str) -> str:
    return label.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n")
