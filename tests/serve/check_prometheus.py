"""check_prometheus.py TESSARY TESSARY_BOARD FOLDER [SECONDS]: Prometheus scrapes the server over simulated boards.

What it has stored is what was recorded, figure by figure. One board is killed, one hangs, one comes back: tessary_up says
so within three intervals, and a board that is not up has nothing else. With SECONDS there are twenty boards."""
import bisect
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time
import urllib.error
import urllib.parse
import urllib.request

from bench import Bench, until

PORT = 19517
MODELS = ["vx4490p", "vx2140", "hostile", "vx4410p", "vx4490aa", "vx2200", "vx2210", "vx4400p", "vx4490ab", "vx4490ac"]
LATE_MS = 1000  # that a line may take from the board's clock to the server, on a machine that is busy


def ask(path, **parameters):
    url = "http://127.0.0.1:%d/api/v1/%s?%s" % (PORT, path, urllib.parse.urlencode(parameters))
    with urllib.request.urlopen(url, timeout=30) as answer:
        return json.load(answer)["data"]


def query(text):
    return ask("query", query=text)["result"]


def is_ready(server):
    assert server.poll() is None, "prometheus ended with %d" % server.returncode
    try:
        return urllib.request.urlopen("http://127.0.0.1:%d/-/ready" % PORT, timeout=10)
    except (urllib.error.URLError, ConnectionError):
        return None


def start_prometheus(bench, interval_ms):
    config = os.path.join(bench.folder, "prometheus.yml")
    with open(config, "w") as file:
        json.dump({"global": {"scrape_interval": "%dms" % interval_ms, "scrape_timeout": "%dms" % interval_ms},
                   "scrape_configs": [{"job_name": "bench",
                                       "static_configs": [{"targets": ["127.0.0.1:%d" % bench.port]}]}]}, file)
    return subprocess.Popen(["prometheus", "--config.file=" + config, "--log.level=warn",
                             "--storage.tsdb.path=" + os.path.join(bench.folder, "data"),
                             "--web.listen-address=127.0.0.1:%d" % PORT])


def is_up(board):
    found = query('tessary_up{board="%s"}' % board.name)
    return found[0]["value"][1] if found else None


def recorded(bench, board):
    """Series by series, what the board's recordings say: moments in ms and values. By the export, which has its own check."""
    series = {}
    for copy in board.copies:
        text = subprocess.run([bench.tool, "export", copy, "--format", "openmetrics"], check=True,
                              stdout=subprocess.PIPE).stdout.decode()
        for line in text.splitlines():
            if line.startswith("#"):
                continue
            name, value, moment = line.rsplit(" ", 2)
            name = re.sub(r'\{board="(?:[^"\\]|\\.)*"', '{board="%s"' % board.name, name)
            series.setdefault(name, []).append((round(float(moment) * 1000), float(value)))
    return series


def name_of(metric):
    """As the text has it."""
    labels = {key: value for key, value in metric.items() if key not in ("__name__", "instance", "job")}
    order = ["board"] + [key for key in labels if key != "board"]
    quoted = ['%s="%s"' % (key, labels[key].replace("\\", "\\\\").replace('"', '\\"')) for key in order]
    return metric["__name__"], frozenset(quoted)


def key_of(series):
    name, labels = re.match(r"(\w+)\{(.*)\}$", series).groups()
    return name, frozenset(re.findall(r'\w+="(?:[^"\\]|\\.)*"', labels))


def compare(board, stored, known):
    """Each value that was stored is the recorded one of its moment: the last sample, or one that was on its way."""
    count = 0
    for metric, points in stored:
        key = name_of(metric)
        assert key in known, "%s: no such series was recorded: %r" % (board.name, key)
        samples = known[key]
        moments = [moment for moment, _ in samples]
        for at, value in points:
            last = bisect.bisect_right(moments, at * 1000 + 1)
            near = samples[max(0, last - 2 - LATE_MS // board.interval_ms):last]
            assert any(abs(one - float(value)) <= 1e-9 * abs(one) for _, one in near), \
                "%s: %r is %s at %s, not of %r" % (board.name, key, value, at, near)
            count += 1
    return count


def check_silence(board, end_ms, points):
    """`points` of tessary_up, of which some are 0: none says that the board is up three intervals after its last sample."""
    late = [at for at, value in points if value == "1" and at * 1000 > end_ms + 3 * board.interval_ms + LATE_MS]
    assert not late, "%s: up %.0f ms after its last sample" % (board.name, late[0] * 1000 - end_ms)


def last_moment(path):
    with open(path) as file:
        whole = [line for line in file if line.endswith("\n")]
    return json.loads(whole[-1])["unix_time_ns"] / 1e6


def run(bench, seconds):
    interval_ms = 1000 if seconds else 200
    for number in range(20 if seconds else 4):
        bench.board("board%d" % number, MODELS[number % len(MODELS)], interval_ms, "--seed", str(number + 1))
    bench.serve()
    for board in bench.boards:
        board.start()
    prometheus = start_prometheus(bench, interval_ms)
    try:
        until("prometheus is ready", lambda: is_ready(prometheus))
        begin = time.monotonic()
        killed, hung, back = bench.boards[:3]
        until("all boards are up", lambda: all(is_up(board) == "1" for board in bench.boards))
        enough = 'min(count_over_time(tessary_up[1h])) >= 8'
        until("there are some scrapes", lambda: query(enough))
        until("time has passed", lambda: time.monotonic() - begin > seconds / 2, patience=seconds + 60)

        killed.kill()
        back.kill()
        hung.signal(signal.SIGSTOP)
        until("they are down", lambda: [is_up(board) for board in (killed, hung, back)] == ["0", "0", "0"])
        ends = {board: last_moment(board.copies[-1]) for board in (killed, hung, back)}
        for board in (killed, hung, back):
            left = query('{board="%s"}' % board.name)
            assert [one["metric"]["__name__"] for one in left] == ["tessary_up"], "%s has %r" % (board.name, left)
            check_silence(board, ends[board], query('tessary_up{board="%s"}[1h]' % board.name)[0]["values"])
        back.start()
        until("it is back", lambda: is_up(back) == "1")
        until("time has passed", lambda: time.monotonic() - begin > seconds, patience=seconds + 60)
        until("it is scraped", lambda: int(query('count_over_time(tessary_cpu_load_ratio{board="%s"}[5s])' % back.name)[0]
                                           ["value"][1]) >= 3)

        points = 0
        for board in bench.boards:
            stored = query('{board="%s",__name__!="tessary_up"}[1h]' % board.name)
            known = {key_of(name): samples for name, samples in recorded(bench, board).items()}
            points += compare(board, [(one["metric"], one["values"]) for one in stored], known)
            # What was there all the time was stored, under the export's name.
            always = {key for key, samples in known.items() if key[0] == "tessary_memory_total_bytes"}
            assert always <= {name_of(one["metric"]) for one in stored}, "%s lacks %r" % (board.name, always)
        assert query("tessary_serve_bad_lines_total")[0]["value"][1] == "0", bench.words()
        scrape = query("max_over_time(scrape_duration_seconds[1h])")[0]["value"][1]
        print("prometheus: %d boards, %d points compared, scrape %s s at most" % (len(bench.boards), points, scrape))
    finally:
        prometheus.terminate()
        prometheus.wait()
        # A stopped process hears nothing.
        bench.boards[1].signal(signal.SIGCONT)


shutil.rmtree(sys.argv[3], ignore_errors=True)
with Bench(*sys.argv[1:4]) as bench:
    run(bench, float(sys.argv[4]) if len(sys.argv) > 4 else 0)
