"""As much of a browser as the checks of pages need: Chromium, driven by the WebDriver protocol."""
import json
import subprocess
import sys
import time
import urllib.error
import urllib.request

SWITCHES = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync", "--hide-scrollbars",
            "--allow-file-access-from-files=false"]


class Browser:
    def __init__(self, folder, port):
        self.port = port
        self.driver = subprocess.Popen(["chromedriver", "--port=%d" % port], stdout=subprocess.DEVNULL)
        self.session = ""
        self._wait()
        options = {"args": SWITCHES + ["--user-data-dir=" + folder], "perfLoggingPrefs": {"enableNetwork": True}}
        wanted = {"goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"}}
        started = self.call("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})
        self.session = "/session/" + started["sessionId"]

    def _wait(self):
        for _ in range(600):
            try:
                return self.call("GET", "/status")
            except (urllib.error.URLError, ConnectionError):
                time.sleep(0.05)
        sys.exit("chromedriver does not answer")

    def call(self, method, path, body=None):
        data = json.dumps(body).encode() if body is not None else None
        request = urllib.request.Request("http://127.0.0.1:%d%s%s" % (self.port, self.session, path), data, method=method)
        try:
            with urllib.request.urlopen(request, timeout=60) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            sys.exit(error.read().decode())

    def command(self, name, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": name, "params": parameters})

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def log(self, kind):
        return self.call("POST", "/se/log", {"type": kind})

    def size(self, width, height, dark):
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                     mobile=False)
        scheme = "dark" if dark else "light"
        self.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def close(self):
        if self.session:
            self.call("DELETE", "")
        self.driver.terminate()
        self.driver.wait()
