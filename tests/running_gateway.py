"""A running gateway as its tests see it from outside: what it logs, where it listens, how it ends."""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import zmq

ROOT = pathlib.Path(__file__).resolve().parent.parent
PACKAGE = ROOT / "clients" / "python"
sys.path.append(str(PACKAGE))
from halvane import Client, LoginRefused
from halvane.protocol import port_of
from halvane.wire import compose, parse

SERVICE_KEY = "wire-key"
EXPORTS = """ILogger_Create ILogger_Destroy ILogger_GetErrorDesc ILogger_GetLogLevelDesc StringSplit CreateFolder
    DeleteFolder GetFileNameList RegisterNotification UnregisterNotification SendNotification GetDataFromTopic
    SetTopic _ZN10CppUtility8BaseData14CreateInstanceEv _ZN10CppUtility8BaseData7ReleaseEv _ZN13CStaticLoggerC1Ei
    _ZN13CStaticLoggerD1Ev _ZN13CStaticLogger5ResetEP7ILogger""".split()  # what other modules look for
FOUND = {23: "lost memory", 66: "a race"}  # its exit codes under sanitizers, tests/leaks/LeaksAtExit.cpp
PATIENCE = 60  # seconds until something that must happen counts as missing
# It is noon wherever tests begin: at midnight the paper market ends its day and logs go on in another file.
os.environ["TZ"] = f"NOON{time.gmtime().tm_hour - 12:+}"
time.tzset()
LINE = re.compile(r"\d\d:\d\d:\d\d\.\d{3} [ \d]{5}\d  \[(?:DEBUG|TRACE|INFO |WARN |ERROR|FATAL)\]  ")


def take_paths(count):
    """The last arguments of the command, which its tests do not see then."""
    paths = [pathlib.Path(word).resolve() for word in sys.argv[-count:]]
    del sys.argv[-count:]
    return paths


def until(condition, what):
    """Waits for a state that another process brings about."""
    end = time.monotonic() + PATIENCE
    while not (result := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"not within {PATIENCE} s: {what}")
        time.sleep(0.01)
    return result


def connect(kind, port, host="127.0.0.1"):
    """A socket of that kind; one of subscriptions gets everything, however long it waits there."""
    made = zmq.Context.instance().socket(kind)
    made.setsockopt(zmq.LINGER, 0)
    made.setsockopt(zmq.RCVTIMEO, PATIENCE * 1000)
    if kind == zmq.SUB:
        made.setsockopt(zmq.RCVHWM, 0)
        made.setsockopt(zmq.SUBSCRIBE, b"")
    made.connect(f"tcp://{host}:{port}")
    return made


class PlainClient:
    """One request after the other and no help, for tests of what the gateway itself does."""

    def __init__(self, port):
        self.port, self.session_key, self.publish_port = port, "", ""
        self._requests = connect(zmq.REQ, port)
        self._publications = None

    def close(self):
        for each in (self._requests, self._publications):
            if each:
                each.close(0)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def compose(self, name, **members):
        return compose(name, self.session_key, members)

    def exchange(self, request):
        self._requests.send(request)
        return parse(self._requests.recv())

    def request(self, name, **members):
        return self.exchange(self.compose(name, **members))

    def log_in(self, system_name, service_key):
        self.session_key = ""
        reply = self.request("LOGIN", Param={"SystemName": system_name, "ServiceKey": service_key})
        if reply["Success"] != "OK":
            raise LoginRefused(str(reply))
        self.session_key, self.publish_port = reply["SessionKey"], reply["SubPort"]
        return reply

    def subscribe(self):
        self._publications = connect(zmq.SUB, self.publish_port)

    def publications(self, seconds):
        end = time.monotonic() + seconds
        while self._publications.poll(max(0, (end - time.monotonic()) * 1000)):
            yield parse(self._publications.recv())


class Trader:
    """Orders as fast as replies come, half of them filled at once and half resting."""

    window = 32  # orders under way
    order = {"BrokerID": "PAPER", "Symbol": "OV.S.PAPX.ALFA", "Side": "1", "OrderQty": "1", "TimeInForce": "1"}

    def __init__(self, gateway, orders):
        self.orders, self.answered, self.stopped = orders, 0, threading.Event()
        with gateway.logged_in_client() as client:
            self.key = client.session_key
        self.endpoint = f"tcp://127.0.0.1:{gateway.port()}"
        self.thread = threading.Thread(target=self.trade)
        self.thread.start()

    def trade(self):
        with zmq.Context.instance().socket(zmq.DEALER) as requests:
            requests.setsockopt(zmq.LINGER, 0)
            requests.connect(self.endpoint)
            sent = 0
            while self.answered < self.orders and not self.stopped.is_set():
                while sent < min(self.orders, self.answered + self.window):
                    kind = {"OrderType": "1"} if sent % 2 else {"OrderType": "2", "Price": "110.5"}
                    order = self.order | kind | {"Account": f"100000{1 + sent % 3 // 2}", "UserKey1": f"key {sent}"}
                    requests.send_multipart([b"", compose("NEWORDER", self.key, {"Param": order})])
                    sent += 1
                if requests.poll(100):
                    self.answered += "Reply" in parse(requests.recv_multipart()[1])


class Gateway:
    """A program in a folder of its own, which holds its logs."""

    runner = ()  # what runs the program
    encoding = "utf-8"  # of the log
    last_signal = signal.Signals["SIG" + os.environ.get("HALVANE_LAST_SIGNAL", "KILL")]  # whatever it is doing

    def __init__(self, program, name="Halvane64", below=""):
        self.name = name
        self.system_name = f"Wire-{os.getpid()}-{time.monotonic_ns():x}"
        if port_of(self.system_name) % 2 == 0:  # those the system gives whoever connects, also while this one is restarted
            self.system_name += "y"
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="installed ", dir=program.parent))
        self.folder = self.home / below
        self.folder.mkdir(parents=True, exist_ok=True)
        # The program finds its folder through its file, so a symbolic link would not do.
        self.program = self.folder / (name + program.suffix)
        shutil.copy2(program, self.program)
        self.process = None

    def start(self, *arguments, **options):
        """Options are those of Popen."""
        self.started = arguments, options
        self.old_lines = len(self.lines())
        words = [*self.runner, self.program, *arguments]
        self.process = subprocess.Popen(words, stdin=subprocess.DEVNULL, **{"cwd": "/"} | options)

    def start_on_paper(self, *arguments):
        self.start("paper:", self.system_name, SERVICE_KEY, *arguments)

    def start_again(self):
        """As before and at the same port, where clients look for it: somebody else may have that for a moment, or
        have had one that it would rather have."""
        port, (arguments, options) = self.port(), self.started

        def is_there():
            with contextlib.ExitStack() as taken:
                for lower in range(port_of(self.system_name), port):
                    with contextlib.suppress(OSError):
                        taken.enter_context(socket.create_server(("127.0.0.1", lower)))
                Gateway.start(self, *arguments, **options)
                if self.port() != port:
                    self.process.kill()
                    self.process.wait()
            return self.process.poll() is None

        until(is_there, f"port {port}")

    def wait(self):
        """Its exit code, once it has ended."""
        return self.process.wait(PATIENCE)

    def processor_time(self):
        """In seconds, of all its threads."""
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def end(self):
        """Tells it to end and gives its exit code."""
        self.process.terminate()
        return self.wait()

    def remove(self):
        if self.process:
            self.process.send_signal(self.last_signal)
            self.process.wait()
        shutil.rmtree(self.home)
        if self.process and self.process.returncode in FOUND:
            raise AssertionError(f"{FOUND[self.process.returncode]}; the sanitizer's words stand above")

    def lines(self):
        """The whole lines of the log."""
        whole = b""
        for file in sorted(self.folder.glob(f"logs/{self.name}-*.log")):
            with contextlib.suppress(FileNotFoundError):  # LogKeepDays may take an old one away
                whole += file.read_bytes()
        return whole.decode(self.encoding).split("\r\n")[:-1]

    def messages(self):
        """What it has logged since its start, without time, thread and level."""
        return [LINE.sub("", line, count=1) for line in self.lines()[self.old_lines :]]

    def logged(self, prefix):
        """The rest of the first message that begins so, once there is one."""

        def find():
            ended = self.process.poll() is not None
            found = [line for line in self.messages() if line.startswith(prefix)]
            if not found and ended:
                raise AssertionError(f"ended ({self.process.returncode}) without {prefix}: {self.lines()}")
            return found

        return until(find, f"a log line {prefix}")[0][len(prefix) :]

    def port(self):
        return int(self.logged("RepPort:"))

    def client(self):
        return PlainClient(self.port())

    def logged_in_client(self):
        """A plain client that is logged in, once the gateway publishes."""
        client = self.client()
        until(lambda: client.log_in(self.system_name, SERVICE_KEY)["SubPort"], "a publish port")
        return client

    def slowest_large_request(self):
        """How many seconds the slowest of 1,000 requests of 300,000 bytes takes."""
        with self.client() as client:
            request = client.compose("PONG", Padding="x" * 300_000)

            def seconds():
                started = time.monotonic()
                client.exchange(request)
                return time.monotonic() - started

            return max(seconds() for _ in range(1000))

    def connect(self, **options):
        """The package's client, with what connect() takes."""
        return Client.connect(self.system_name, SERVICE_KEY, port=self.port(), patience=PATIENCE, **options)

    def run_demo(self, *where):
        """Runs the demonstration, with the words that say where the gateway is."""
        demo = [sys.executable, "-B", PACKAGE / "examples" / "demo.py", *where]
        names = ["--system-name", self.system_name, "--service-key", SERVICE_KEY]
        return subprocess.run([*demo, *names], capture_output=True, text=True, timeout=PATIENCE,
                              env=os.environ | {"PYTHONPATH": str(PACKAGE)})  # fmt: skip


def make_gateway(program, name="alone"):
    """As the program's system has it installed; those that run at the same time have different names."""
    if program.suffix != ".exe":
        return Gateway(program)
    sys.path.append(str(ROOT / "tests" / "windows"))
    from gateway import InstalledGateway
    return InstalledGateway(program, name=name)
