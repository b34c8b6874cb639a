"""A browser without a window, as tests drive it: Debian's Chromium, spoken to over a pipe."""

import base64
import itertools
import json
import os
import shutil
import subprocess
import tempfile
import time

PATIENCE = 60


class Browser:
    def __init__(self, width=1440, height=900, dark=False):
        self._home = tempfile.mkdtemp(prefix="browser")
        to_read, self._out = os.pipe()
        self._in, to_write = os.pipe()
        flags = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                 "--disable-background-networking", "--remote-debugging-pipe", "--hide-scrollbars",
                 f"--user-data-dir={self._home}", f"--window-size={width},{height}"]  # fmt: skip

        def fixed_descriptors():
            # The browser reads from 3 and writes to 4.
            high_read, high_write = os.dup(to_read), os.dup(to_write)
            os.dup2(high_read, 3)
            os.dup2(high_write, 4)

        self._process = subprocess.Popen(["chromium", *flags, "about:blank"], stdin=subprocess.DEVNULL,
                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                         preexec_fn=fixed_descriptors, close_fds=False)  # fmt: skip
        os.close(to_read)
        os.close(to_write)
        self._rest, self._numbers, self._session = b"", itertools.count(1), None
        self.messages = []  # what pages wrote to the console, and their faults
        target = self.command("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.command("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Network", "Log"):
            self.command(f"{domain}.enable")
        self.look(width, height, dark)

    def look(self, width, height, dark=False):
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                     mobile=False)  # fmt: skip
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        self.command("Emulation.setEmulatedMedia", features=[scheme])

    def command(self, method, **params):
        number = next(self._numbers)
        message = {"id": number, "method": method, "params": params}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._out, json.dumps(message).encode() + b"\0")
        while (answer := self._next()).get("id") != number:
            if answer.get("method") in ("Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded"):
                self.messages.append(answer["params"])
            if answer.get("method") == "Network.requestWillBeSent":
                self.messages.append({"asked": answer["params"]["request"]["url"]})
        if "error" in answer:
            raise AssertionError(f"{method}: {answer['error']}")
        return answer["result"]

    def _next(self):
        while b"\0" not in self._rest:
            block = os.read(self._in, 1 << 16)
            if not block:
                raise AssertionError("the browser has ended")
            self._rest += block
        message, _, self._rest = self._rest.partition(b"\0")
        return json.loads(message)

    def open(self, url):
        self.command("Page.navigate", url=url)

    def value(self, expression):
        """Of an expression in the page, promises included."""
        result = self.command("Runtime.evaluate", expression=expression, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in result:
            raise AssertionError(result["exceptionDetails"])
        return result["result"].get("value")

    def until(self, expression, patience=PATIENCE):
        guarded = f"(() => {{ try {{ return {expression}; }} catch {{ return null; }} }})()"  # while it loads
        end = time.monotonic() + patience
        while not (result := self.value(guarded)):
            if time.monotonic() > end:
                raise AssertionError(f"not within {patience} s: {expression}; the page: {self.text('body')}")
            time.sleep(0.02)
        return result

    def text(self, selector):
        return self.value(f"document.querySelector({json.dumps(selector)})?.innerText ?? ''")

    def press(self, *keys):
        """Keys by their names, or single characters."""
        for key in keys:
            text = {"Enter": "\r"}.get(key, key if len(key) == 1 else "")
            codes = {"Enter": 13, "Escape": 27, "Tab": 9}
            common = {"key": key, "windowsVirtualKeyCode": codes.get(key, 0)}
            self.command("Input.dispatchKeyEvent", type="keyDown", text=text, **common)
            self.command("Input.dispatchKeyEvent", type="keyUp", **common)

    def type(self, text):
        self.press(*text)

    def picture(self, path):
        data = self.command("Page.captureScreenshot", format="png")["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))

    def close(self):
        self._process.kill()
        self._process.wait()
        os.close(self._in)
        os.close(self._out)
        shutil.rmtree(self._home, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
