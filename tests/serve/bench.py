"""A bench for the checks of the server: simulated boards that write recordings into FIFOs, and the server that reads
them. Everything is on loopback, and ended by its process id."""
import http.client
import os
import re
import signal
import subprocess
import time

PATIENCE = 60  # seconds for what has to happen at once


def until(what, condition, patience=PATIENCE):
    """What the condition gave when it was true."""
    end = time.monotonic() + patience
    while True:
        found = condition()
        if found:
            return found
        if time.monotonic() > end:
            raise AssertionError("never: " + what)
        time.sleep(0.02)


class Board:
    """A simulated board, recorded into a FIFO."""

    def __init__(self, bench, name, model, interval_ms, *options):
        self.bench = bench
        self.name = name
        self.model = model
        self.interval_ms = interval_ms
        self.options = options
        self.path = os.path.join(bench.folder, name + ".fifo")
        self.process = None
        self.copies = []  # of its recordings, one a start
        if not os.path.exists(self.path):
            os.mkfifo(self.path)

    def start(self):
        """Begins a recording, of which a copy is kept aside."""
        self.copies.append(os.path.join(self.bench.folder, "%s-%d.jsonl" % (self.name, len(self.copies))))
        command = '"$0" run "${@:3}" -- "$1" record -o - --interval "$2" | tee "$COPY" >"$FIFO"'
        # A group of its own: the simulator and the recorder stop and go together.
        self.process = subprocess.Popen(
            ["bash", "-c", command, self.bench.simulator, self.bench.tool, str(self.interval_ms), self.model, *self.options],
            env={**os.environ, "COPY": self.copies[-1], "FIFO": self.path}, stderr=subprocess.DEVNULL,
            start_new_session=True)

    def signal(self, number):
        os.killpg(self.process.pid, number)

    def kill(self):
        if self.process is not None and self.process.poll() is None:
            self.signal(signal.SIGKILL)
            self.process.wait()


class Bench:
    def __init__(self, tool, simulator, folder):
        self.tool = os.path.abspath(tool)
        self.simulator = os.path.abspath(simulator)
        self.folder = os.path.abspath(folder)
        self.boards = []
        self.server = None
        self.port = 0
        os.makedirs(self.folder, exist_ok=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for board in self.boards:
            board.kill()
        self.stop()

    def board(self, name, model, interval_ms, *options):
        self.boards.append(Board(self, name, model, interval_ms, *options))
        return self.boards[-1]

    def serve(self, *options):
        """The server of all boards, on a port of its choice."""
        self.said = os.path.join(self.folder, "server")
        command = [self.tool, "serve", *["%s=%s" % (board.name, board.path) for board in self.boards],
                   "--listen", "127.0.0.1:0", *options]
        with open(self.said, "w") as said:
            self.server = subprocess.Popen(command, stderr=said, stdin=subprocess.DEVNULL)
        found = until("the server listens", lambda: re.search(r"http://127\.0\.0\.1:(\d+)/", self.words()))
        self.port = int(found.group(1))

    def words(self):
        """What the server said."""
        if self.server is not None and self.server.poll() not in (None, 0):
            raise AssertionError("the server ended with %d: %s" % (self.server.returncode, open(self.said).read()))
        with open(self.said) as said:
            return said.read()

    def stop(self):
        """Ends the server; what it ended with."""
        if self.server is None:
            return None
        self.server.terminate()
        code = self.server.wait(PATIENCE)
        self.server = None
        return code

    def get(self, path, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        try:
            connection.request("GET", path, headers={name.replace("_", "-"): text for name, text in headers.items()})
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read()
        finally:
            connection.close()

    def metrics(self):
        """The answer to a scraper, series by series."""
        status, _, body = self.get("/metrics")
        assert status == 200, status
        lines = [line.rpartition(" ") for line in body.decode().splitlines() if not line.startswith("#")]
        return {series: float(value) for series, _, value in lines}

    def up(self):
        return {re.search(r'board="([^"]*)"', series).group(1): value == 1
                for series, value in self.metrics().items() if series.startswith("tessary_up{")}
