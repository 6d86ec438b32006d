"""Headless Chromium, spoken to through a pipe (the DevTools protocol)."""

import base64
import json
import os
import shutil
import subprocess


class Chromium:
    """One browser with a profile of its own. `*.example` leads to this machine."""

    def __init__(self, folder, *options):
        from_us, to_browser = os.pipe()
        from_browser, to_us = os.pipe()
        command = [
            "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
            "--no-first-run", "--disable-background-networking", "--disable-component-update",
            "--disable-sync", "--ignore-certificate-errors", "--remote-debugging-pipe",
            "--host-resolver-rules=MAP *.example 127.0.0.1", f"--user-data-dir={folder}", *options,
        ]
        # The protocol wants 3 for what it reads and 4 for what it writes.
        self._process = subprocess.Popen(
            ["bash", "-c", f'exec "$@" 3<&{from_us} 4>&{to_us}', "bash", *command],
            pass_fds=(from_us, to_us), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(from_us)
        os.close(to_us)
        self._out = os.fdopen(to_browser, "wb", buffering=0)
        self._in = os.fdopen(from_browser, "rb")
        self._number = 0

    def call(self, method, session=None, **parameters):
        self._number += 1
        message = {"id": self._number, "method": method, "params": parameters}
        if session:
            message["sessionId"] = session
        self._out.write(json.dumps(message).encode() + b"\0")
        while True:
            answer = json.loads(self._read())
            if answer.get("id") == self._number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]

    def _read(self):
        message = bytearray()
        while True:
            byte = self._in.read(1)
            if not byte:
                raise RuntimeError("the browser has gone")
            if byte == b"\0":
                return bytes(message)
            message += byte

    def run_in_page(self, url, script):
        """The value of the script's promise, in a page of that address."""
        page = Page(self)
        page.go(url)
        value = page.run(script)
        page.close()
        return value

    def permit(self, origin, name, setting):
        self.call("Browser.setPermission", permission={"name": name}, setting=setting,
                  origin=origin)

    def close(self):
        try:
            self.call("Browser.close")
        except (OSError, RuntimeError):
            pass
        try:
            self._process.wait(20)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()


class Page:
    """A page of a Chromium."""

    def __init__(self, browser):
        self._browser = browser
        self._target = browser.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = browser.call("Target.attachToTarget", targetId=self._target,
                                     flatten=True)["sessionId"]
        self.call("Page.enable")

    def call(self, method, **parameters):
        return self._browser.call(method, self._session, **parameters)

    def go(self, url):
        self.call("Page.navigate", url=url)
        self.run("new Promise(go => document.readyState === 'complete' ? go() "
                 ": addEventListener('load', go))")

    def show(self):
        """Brings its tab to the front; the others are hidden then."""
        self._browser.call("Target.activateTarget", targetId=self._target)

    def run(self, script):
        """The value of the script's promise, or the text of what it threw."""
        result = self.call("Runtime.evaluate", expression=script, awaitPromise=True,
                           returnByValue=True)
        if "exceptionDetails" in result:
            return json.dumps(result["exceptionDetails"])[:600]
        return result["result"].get("value")

    def press(self, key, modifiers=0):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key, modifiers=modifiers,
                      windowsVirtualKeyCode={"Tab": 9, "Enter": 13}[key])

    def look(self, width, height, scheme):
        """As a screen of that size shows it to somebody who prefers "light" or "dark"."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=1, mobile=width < 600)
        self.call("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": scheme}])

    def picture(self):
        """All of the page, as PNG."""
        size = self.call("Page.getLayoutMetrics")["cssContentSize"]
        clip = {"x": 0, "y": 0, "width": size["width"], "height": size["height"], "scale": 1}
        return base64.b64decode(self.call("Page.captureScreenshot", clip=clip,
                                          captureBeyondViewport=True)["data"])

    def close(self):
        self._browser.call("Target.closeTarget", targetId=self._target)


def where_there_is_chromium(check):
    """The check, or nothing but a word where there is no browser."""
    def checked(checks, options):
        if shutil.which("chromium") is None:
            checks.skip("there is no Chromium here")
        else:
            check(checks, options)
    return checked
