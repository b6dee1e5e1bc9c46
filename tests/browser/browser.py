"""Drives a headless Chromium over a pair of pipes, by its own protocol."""

import base64
import itertools
import json
import os
import shutil
import subprocess

PROGRAM = os.environ.get("CHROMIUM") or shutil.which("chromium")
OPTIONS = ["--headless=new", "--remote-debugging-pipe", "--disable-gpu", "--no-first-run", "--hide-scrollbars",
           "--disable-background-networking", "--force-device-scale-factor=1"]


class Browser:
    """One process; its pages share it."""

    def __init__(self, folder):
        to_browser, self._out = os.pipe()
        self._in, from_browser = os.pipe()
        options = OPTIONS + ["--user-data-dir=" + folder] + (["--no-sandbox"] if os.geteuid() == 0 else [])
        # The shell puts the pipes where the browser looks for them.
        command = 'in=$1 out=$2; shift 2; eval "exec \\"\\$@\\" 3<&$in 4>&$out"'
        self._process = subprocess.Popen(["/bin/bash", "-c", command, "bash", str(to_browser), str(from_browser), PROGRAM, *options],
                                         pass_fds=(to_browser, from_browser), stdout=subprocess.DEVNULL,
                                         stderr=subprocess.DEVNULL, env={**os.environ, "HOME": folder, "LC_ALL": "C.UTF-8"})
        os.close(to_browser)
        os.close(from_browser)
        self._numbers = itertools.count(1)
        self._rest = b""
        self.events = []

    def close(self):
        self.call("Browser.close")
        self._process.wait(30)
        os.close(self._in)
        os.close(self._out)

    def call(self, method, session=None, **parameters):
        number = next(self._numbers)
        message = {"id": number, "method": method, "params": parameters, **({"sessionId": session} if session else {})}
        self._write(json.dumps(message).encode() + b"\0")
        while True:
            answer = self._read()
            if answer.get("id") != number:
                self.events.append(answer)
            elif "error" in answer:
                raise RuntimeError(method + ": " + answer["error"]["message"])
            else:
                return answer["result"]

    def wait_for(self, method, session):
        """The first such event that nobody has taken yet."""
        while True:
            for event in self.events:
                if event.get("method") == method and event.get("sessionId") == session:
                    self.events.remove(event)
                    return event["params"]
            self.events.append(self._read())

    def _write(self, data):
        while data:
            data = data[os.write(self._out, data):]

    def _read(self):
        while b"\0" not in self._rest:
            part = os.read(self._in, 1 << 20)
            if not part:
                raise RuntimeError("the browser has ended")
            self._rest += part
        message, self._rest = self._rest.split(b"\0", 1)
        return json.loads(message)


class Page:
    """A tab with a file in it."""

    def __init__(self, browser, width=1280, scripts=True, **media):
        self._browser = browser
        self.target = browser.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = browser.call("Target.attachToTarget", targetId=self.target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network", "Performance"):
            self.call(domain + ".enable")
        self._scripts = scripts
        if not scripts:
            self.call("Emulation.setScriptExecutionDisabled", value=True)
        self.resize(width)
        self.look(**media)

    def call(self, method, **parameters):
        return self._browser.call(method, self._session, **parameters)

    def open(self, path):
        self.call("Page.navigate", url="file://" + path)
        self._browser.wait_for("Page.loadEventFired", self._session)
        return self

    def close(self):
        self._browser.call("Target.closeTarget", targetId=self.target)

    def resize(self, width):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1, mobile=False)
        self._settle()

    def look(self, scheme="light", medium=""):
        self.call("Emulation.setEmulatedMedia", media=medium, features=[{"name": "prefers-color-scheme", "value": scheme}])
        self._settle()

    def _settle(self):
        """Waits until the page has drawn itself anew."""
        if self._scripts:
            self.value("new Promise(drawn => requestAnimationFrame(() => requestAnimationFrame(() => drawn(0))))")

    def value(self, expression):
        """What the expression, or the promise that it gives, comes to."""
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(str(result["exceptionDetails"]))
        return result["result"].get("value")

    def point(self, x, y, click=False):
        self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)
        if click:
            for kind in ("mousePressed", "mouseReleased"):
                self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", clickCount=1)

    def pdf(self):
        return base64.b64decode(self.call("Page.printToPDF", printBackground=True, preferCSSPageSize=True)["data"])

    def picture(self, path, height=None):
        """Of all of it, or of its upper part."""
        box = self.call("Page.getLayoutMetrics")["cssContentSize"]
        data = self.call("Page.captureScreenshot", captureBeyondViewport=True,
                         clip={"x": 0, "y": 0, "width": box["width"], "height": height or box["height"], "scale": 1})["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))

    def complaints(self):
        """What the page said that a page should not say, and what it asked the network for."""
        self.value("0")  # what was on its way is here then
        mine = [event for event in self._browser.events if event.get("sessionId") == self._session]
        found = [str(event["params"]) for event in mine if event["method"] == "Runtime.exceptionThrown"]
        found += [str(event["params"]) for event in mine
                  if event["method"] == "Log.entryAdded" and event["params"]["entry"]["level"] == "error"]
        found += [str(event["params"]) for event in mine
                  if event["method"] == "Runtime.consoleAPICalled" and event["params"]["type"] in ("error", "warning", "assert")]
        asked = [event["params"]["request"]["url"] for event in mine if event["method"] == "Network.requestWillBeSent"]
        return found + [url for url in asked if not url.startswith(("file:", "data:"))]

    def task_seconds(self):
        """What its main thread has done since it was made."""
        metrics = {each["name"]: each["value"] for each in self.call("Performance.getMetrics")["metrics"]}
        return metrics["TaskDuration"]
