"""The Windows program as it is installed, run under Wine for tests, and the probe in the component's place,
which is told over a connection what to answer and says what it was asked (probe/Remote.h)."""

import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.append(str(HERE.parent))
from running_gateway import PATIENCE, Gateway

RUN_WINE = HERE / "run-wine.sh"


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def wine(*words):
    """Runs a program and gives what it says."""
    ran = subprocess.run([RUN_WINE, *words], stdin=subprocess.DEVNULL, capture_output=True, check=True)
    return ran.stdout.decode().strip()


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

    def say(self, *fields):
        """Does not wait for the answer."""
        self.connection.sendall("\t".join(str(field) for field in fields).encode() + b"\n")

    def tell(self, *fields):
        self.say(*fields)
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


class InstalledGateway(Gateway):
    """The program in a folder of its own below a platform's folder and, if one is named, a component."""

    runner = (RUN_WINE,)
    encoding = "cp1252"
    last_signal = signal.SIGTERM  # which the runner passes on to the program

    def __init__(self, program, component=None, name=""):
        # Who ends it names it: other tests have programs in the same Windows, and all of that name end.
        own = f"Halvane64 {name} {os.getpid()}" if name else "Halvane64"
        super().__init__(program, own, below="OvaroRelease/Gate Way")
        components = self.home / "OvaroRelease" / "Components"
        components.mkdir()
        if component:
            shutil.copy2(component, components / "OVTradeAPI64.dll")

    def start(self, *arguments, **environment):
        # Its output goes nowhere: what Wine leaves running would keep a pipe open.
        nowhere = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        environment = os.environ | {key: str(value) for key, value in environment.items()}
        super().start(*arguments, cwd=self.folder, env=environment, **nowhere)

    def end(self):
        """Closes its window, which is found by the program's name, and gives its exit code."""
        wine("taskkill", "/im", self.program.name)
        return self.wait()
