"""A Prometheus server over data that promtool has made, on a port of loopback. It keeps data of any age."""
import json
import os
import subprocess
import sys
import time
import urllib.error
import urllib.parse
import urllib.request


class Server:
    """The folder holds `data`, and `prometheus.yml` where there is more to configure than nothing."""

    def __init__(self, folder, port):
        config = folder + "/prometheus.yml"
        if not os.path.exists(config):
            with open(config, "w", encoding="utf-8") as file:
                file.write("global: {}\n")
        self.url = "http://127.0.0.1:%d" % port
        self.process = subprocess.Popen(
            ["prometheus", "--config.file=" + config, "--storage.tsdb.path=" + folder + "/data",
             "--storage.tsdb.retention.time=100y", "--web.listen-address=127.0.0.1:%d" % port, "--log.level=error"])

    def __enter__(self):
        for _ in range(600):
            if self.process.poll() is not None:
                sys.exit("prometheus ended with %d" % self.process.returncode)
            try:
                urllib.request.urlopen(self.url + "/-/ready", timeout=10)
                return self
            except (urllib.error.URLError, ConnectionError):
                time.sleep(0.05)
        self.__exit__()
        sys.exit("prometheus does not get ready")

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()

    def get(self, path, **parameters):
        """What the API answers. A query that it cannot parse ends the check."""
        url = self.url + "/api/v1/" + path + "?" + urllib.parse.urlencode(parameters)
        try:
            with urllib.request.urlopen(url, timeout=10) as answer:
                return json.load(answer)["data"]
        except urllib.error.HTTPError as error:
            sys.exit("%s: %s" % (urllib.parse.unquote_plus(url), error.read().decode()))

    def ask(self, query, at):
        return self.get("query", query=query, time=at)["result"]
