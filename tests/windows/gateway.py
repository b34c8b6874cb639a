"""The Windows program as it is installed, run under Wine for tests, and the probe in the component's place,
which is told over a connection what to answer and says what it was asked (probe/Remote.h)."""

import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import tempfile
import time

import zmq

HERE = pathlib.Path(__file__).resolve().parent
RUN_WINE = HERE / "run-wine.sh"
PATIENCE = 60  # seconds until something that must happen counts as missing
LINE = re.compile(r"\d\d:\d\d:\d\d\.\d{3} [ \d]{5}\d  \[(?:DEBUG|TRACE|INFO |WARN |ERROR|FATAL)\]  ")


def until(condition, what):
    """Waits for a state that another process brings about."""
    end = time.monotonic() + PATIENCE
    while not (result := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"not within {PATIENCE} s: {what}")
        time.sleep(0.01)
    return result


def unique_name():
    return f"Wine-{os.getpid()}-{time.monotonic_ns():x}"


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def wine(*words):
    """Runs one of Wine's own programs."""
    subprocess.run([RUN_WINE, *words], stdin=subprocess.DEVNULL, capture_output=True, check=True)


class Probe:
    """The other end of the probe's connection."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.settimeout(PATIENCE)
        self.port = self.listener.getsockname()[1]
        self.connection = None

    def accept(self):
        self.connection, _ = self.listener.accept()
        self.connection.settimeout(PATIENCE)

    def tell(self, *fields):
        self.connection.sendall("\t".join(str(field) for field in fields).encode() + b"\n")
        answer = b""
        while not answer.endswith(b"\0"):
            part = self.connection.recv(65536)
            if not part:
                raise AssertionError(f"the probe is gone before it answered {fields}")
            answer += part
        return answer[:-1].decode()

    def calls(self):
        return self.tell("calls").splitlines()

    def close(self):
        for end in (self.connection, self.listener):
            if end:
                end.close()


class Gateway:
    """A platform's folder with the program in a folder of its own and, if one is named, a component."""

    def __init__(self, program, component=None, name="Halvane64"):
        self.name = name
        self.system_name = unique_name()
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="installed ", dir=program.parent))
        self.folder = self.home / "OvaroRelease" / "Gate Way"
        self.components = self.home / "OvaroRelease" / "Components"
        self.folder.mkdir(parents=True)
        self.components.mkdir()
        self.program = self.folder / f"{name}.exe"
        shutil.copy2(program, self.program)
        if component:
            shutil.copy2(component, self.components / "OVTradeAPI64.dll")
        self.process = None

    def start(self, *arguments, **environment):
        wine("cmd", "/c", "exit")  # the prefix and Wine's own services are no part of the start
        self.started = time.monotonic()
        # Its output goes nowhere: what Wine leaves running would keep a pipe open.
        self.process = subprocess.Popen(
            [RUN_WINE, self.program, *arguments],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            cwd=self.folder,
            env=os.environ | {key: str(value) for key, value in environment.items()},
        )

    def wait(self):
        return self.process.wait(PATIENCE)

    def lines(self):
        """The whole lines of the log."""
        files = sorted(self.folder.glob(f"logs/{self.name}-*.log"))
        text = b"".join(file.read_bytes() for file in files).decode("cp1252")
        return text.split("\r\n")[:-1]

    def messages(self):
        return [LINE.sub("", line, count=1) for line in self.lines()]

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

    def has_loaded_component(self):
        """Whether a process has the component's file in its memory."""
        needle = str(self.components)
        for maps in pathlib.Path("/proc").glob("[0-9]*/maps"):
            try:
                if needle in maps.read_text():
                    return True
            except OSError:
                pass  # ended, or another user's
        return False

    def remove(self):
        if self.process and self.process.poll() is None:
            self.process.terminate()
            self.process.wait()
        shutil.rmtree(self.home)


class Client:
    """Requests and publications of one gateway."""

    def __init__(self, gateway):
        self.context = zmq.Context.instance()
        self.requests = self.connect(zmq.REQ, gateway.port())
        self.key = ""
        self.publications = None

    def connect(self, kind, port):
        made = self.context.socket(kind)
        made.setsockopt(zmq.LINGER, 0)
        made.setsockopt(zmq.RCVTIMEO, PATIENCE * 1000)
        if kind == zmq.SUB:
            made.setsockopt(zmq.SUBSCRIBE, b"")
        made.connect(f"tcp://127.0.0.1:{port}")
        return made

    def ask(self, name, **members):
        self.requests.send(json.dumps({"Request": name, "SessionKey": self.key} | members).encode())
        reply = self.requests.recv()
        if reply[-1:] != b"\0":
            raise AssertionError(f"no zero byte ends {reply}")
        return json.loads(reply[:-1])

    def log_in(self, system_name, service_key):
        reply = self.ask("LOGIN", Param={"SystemName": system_name, "ServiceKey": service_key})
        self.key = reply.get("SessionKey", "")
        return reply

    def subscribe(self, port):
        self.publications = self.connect(zmq.SUB, port)

    def publication(self, kind):
        """The next publication of that kind."""
        while True:
            frame = self.publications.recv()
            document = json.loads(frame[:-1])
            if frame[-1:] == b"\0" and document["DataType"] == kind:
                return document

    def close(self):
        for each in (self.requests, self.publications):
            if each:
                each.close()
