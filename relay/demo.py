"""Shows the relay at work: an engine, three gateways on paper, the relay between them, and the fills of all three
arriving in one stream. Everything lies in one folder, which is made anew. With --exit it ends once it has seen a
fill of each desk; otherwise the desks go on trading a little until Ctrl-C."""

import argparse
import contextlib
import json
import os
import pathlib
import secrets
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time

from halvane import Client, HalvaneError

ROOT = pathlib.Path(__file__).resolve().parent
DESKS = ["alpha", "beta", "gamma"]
KEY = "demo-key"
USERS = ["relay", "reader", "trader"]
PATIENCE = 60  # seconds until every desk's fill is there


def start(*words, **options):
    """A program that ends with this one, whatever ends it."""
    return subprocess.Popen(["setpriv", "--pdeathsig", "TERM", *words], stdin=subprocess.DEVNULL, **options)


def start_engine(folder, port, passwords):
    text = (ROOT / "Configs" / "nats-server.conf").read_text(encoding="utf-8")
    text = text.replace("127.0.0.1:4222", f"127.0.0.1:{port}").replace("/var/lib/halvane-relay", f"{folder}/stream")
    (folder / "nats-server.conf").write_text(text, encoding="utf-8")
    variables = {f"{user.upper()}_PASSWORD": password for user, password in passwords.items()}
    return start("nats-server", "-c", folder / "nats-server.conf", "-l", folder / "nats-server.log",
                 env=os.environ | variables)  # fmt: skip


def start_gateway(folder, program, desk):
    home = folder / desk
    (home / "Configs").mkdir(parents=True)
    (home / "Configs" / "Feed.ini").write_text("[Feed]\nOn=1\n", encoding="utf-8")
    copy = shutil.copy2(program, home)  # it finds its folder through its file
    return start(copy, "paper:", f"RELAY-{desk}", KEY)


def write_settings(folder, port, passwords):
    """The relay's and a reader's."""
    for user in ("relay", "reader"):
        lines = ["[Nats]", f"Url=nats://127.0.0.1:{port}", f"User={user}", f"Password={passwords[user]}"]
        if user == "relay":
            for number, desk in enumerate(DESKS, 1):
                lines += [f"[Gateway{number}]", f"Desk={desk}", f"System=RELAY-{desk}", f"Key={KEY}"]
        file = folder / f"{user}.ini"
        file.touch(0o600)
        file.write_text("\n".join(lines) + "\n", encoding="utf-8")


def trade(desk, ended):
    """Buys one share now and then."""
    with Client.connect(f"RELAY-{desk}", KEY, account="PAPER-1000001", patience=PATIENCE) as client:
        while not ended.is_set():
            with contextlib.suppress(HalvaneError):  # the stream shows what becomes of it
                client.buy("OV.S.PAPX.ALFA", 1)
            ended.wait(2)


def show_fills(lines, wanted):
    """Prints fills as they arrive, until each of the desks that are wanted had one."""
    for line in lines:
        subject, header, publication = line.rstrip("\n").split("\t", 2)
        desk, fill = subject.split(".")[2], json.loads(publication)["Report"]
        print(f"  {desk:6} row {header.split()[0]:>3}  {fill['Symbol']}  {fill['MatchedQty']} at {fill['MatchedPrice']}",
              flush=True)  # fmt: skip
        wanted.discard(desk)
        if not wanted:
            return True
    return False


def wait_for_stream(folder, reader):
    """The relay makes it, once the engine is there."""
    end = time.monotonic() + PATIENCE
    words = [*reader, "--read", "halvane.feed.none"]
    while subprocess.run(words, stderr=subprocess.DEVNULL, check=False).returncode != 0:
        if time.monotonic() > end:
            sys.exit(f"no stream within {PATIENCE} s: see {folder}/relay.log and nats-server.log")
        time.sleep(0.2)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--exit", action="store_true")
    options = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(130))
    folder = options.folder.resolve()
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    with socket.create_server(("127.0.0.1", 0)) as free:
        port = free.getsockname()[1]
    passwords = {user: "p" + secrets.token_hex(16) for user in USERS}  # a digit begins a number there
    write_settings(folder, port, passwords)
    ended = threading.Event()
    programs = [start_engine(folder, port, passwords)]
    programs += [start_gateway(folder, options.bin / "Halvane64", desk) for desk in DESKS]
    with (folder / "relay.log").open("w", encoding="utf-8") as log:
        programs.append(start(options.bin / "HalvaneRelay", "--config", folder / "relay.ini", stdout=log, stderr=log))
    threads = [threading.Thread(target=trade, args=(desk, ended), daemon=True) for desk in DESKS]
    for thread in threads:
        thread.start()
    reader = [options.bin / "HalvaneRelay", "--config", folder / "reader.ini"]
    wait_for_stream(folder, reader)
    print(f"The engine listens on 127.0.0.1:{port}; fills of all desks in one stream:", flush=True)
    programs.append(start(*reader, "--read", "halvane.feed.*.FILLEDREPORT.>", "--follow",
                          stdout=subprocess.PIPE, text=True))  # fmt: skip
    timer = threading.Timer(PATIENCE, programs[-1].terminate)
    timer.start()
    complete = show_fills(programs[-1].stdout, set(DESKS))
    timer.cancel()
    if complete and not options.exit:
        print(f"Everything lies in {folder}. To read the stream:\n  {' '.join(map(str, reader))} --read --follow\n"
              "docs/relay.md has the rest. Ctrl-C ends it.", flush=True)  # fmt: skip
        with contextlib.suppress(KeyboardInterrupt):
            show_fills(programs[-1].stdout, {"nobody"})
    ended.set()
    for program in reversed(programs):
        program.terminate()
        program.wait()
    return 0 if complete else f"not every desk's fill came: see {folder}/relay.log"


if __name__ == "__main__":
    sys.exit(main())
