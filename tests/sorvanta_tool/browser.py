"""A headless browser, driven by the WebDriver protocol (W3C) over plain HTTP."""
import json
import pathlib
import re
import shutil
import subprocess
import tempfile
import time
import urllib.request

NEEDED = ("chromium", "chromedriver")
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the key of references to elements in answers
KEYS = {"Tab": "\ue004", "Enter": "\ue007", "Escape": "\ue00c", "Down": "\ue015", "Shift": "\ue008", "Ctrl": "\ue009"}


def is_there():
    return all(map(shutil.which, NEEDED))


class Browser:
    """Use with `with`: ends both programs."""

    def __init__(self, width=1100, height=800):
        self.folder = tempfile.TemporaryDirectory()
        # Its own group: what is started below it ends with it.
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, encoding="utf-8")
        port = next(found[1] for line in self.driver.stdout if (found := re.search(r"on port (\d+)\.$", line)))
        self.base = f"http://127.0.0.1:{port}"
        options = {"binary": shutil.which("chromium"), "args": ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
                   f"--window-size={width},{height}", f"--user-data-dir={self.folder.name}"]}
        asked = {"capabilities": {"alwaysMatch": {"goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}}}
        self.base += "/session/" + self.call("POST", "/session", asked)["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.call("DELETE", "")
        self.driver.terminate()
        self.driver.communicate(timeout=100)
        self.folder.cleanup()

    def call(self, method, path, body=None):
        request = urllib.request.Request(self.base + path, method=method, data=None if body is None else json.dumps(body).encode(),
                                         headers={"Content-Type": "application/json"})
        try:
            with urllib.request.urlopen(request, timeout=100) as response:
                return json.load(response)["value"]
        except urllib.error.HTTPError as error:
            raise AssertionError(error.read().decode()) from None

    def open(self, address):
        self.call("POST", "/url", {"url": address})

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": arguments})

    def wait(self, script, *arguments):
        """Until the script returns something true, which is returned."""
        for _ in range(3000):
            if value := self.run(script, *arguments):
                return value
            time.sleep(0.02)
        raise AssertionError(f"never came: {script}\n{self.run('return document.body.innerText')}")

    def press(self, *keys):
        """Types texts and keys ("Tab", "Shift Enter") as a keyboard does, at where the focus is."""
        actions = []
        for key in keys:
            names = key.split(" ")
            if all(name in KEYS or len(name) == 1 for name in names) and (len(names) > 1 or key in KEYS):
                codes = [KEYS.get(name, name) for name in names]
                actions += [("keyDown", code) for code in codes] + [("keyUp", code) for code in reversed(codes)]
            else:
                actions += [(kind, letter) for letter in key for kind in ("keyDown", "keyUp")]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keyboard", "actions": [{"type": t, "value": v} for t, v in actions]}]})

    def accessible(self, selector):
        """Role and name as a screen reader is told."""
        element = self.call("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]
        return tuple(self.call("GET", f"/element/{element}/computed{what}") for what in ("role", "label"))

    def problems(self):
        """What the page wrote to its console: faults of scripts, violations of its policy."""
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]

    def screenshot(self, file, selector):
        import base64
        element = self.call("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]
        pathlib.Path(file).write_bytes(base64.b64decode(self.call("GET", f"/element/{element}/screenshot")))
