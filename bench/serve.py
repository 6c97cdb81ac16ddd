"""serve.py TESSARY FOLDER BOARDS KEPT SECONDS RECORDING..: what the server costs, as a table.

Each board is a FIFO that first gets an hour of its recording at once, and then a line a second, spread over the second.
A scraper asks every five seconds."""
import os
import statistics
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "serve"))
from bench import Bench, until  # noqa: E402

SCRAPE_EVERY = 5


def cpu_seconds(pid):
    with open("/proc/%d/stat" % pid) as file:
        fields = file.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident(pid):
    with open("/proc/%d/status" % pid) as file:
        return next(int(line.split()[1]) * 1024 for line in file if line.startswith("VmRSS"))


def write(path, text):
    with open(path, "wb") as file:
        file.write(text)


def measure(bench, boards, hour, seconds, recordings):
    for number in range(boards):
        bench.board("board%d" % number, "", 1000)
    bench.serve()
    pid = bench.server.pid
    empty = resident(pid)

    writers = []
    begin = time.monotonic()
    for number, board in enumerate(bench.boards):
        lines = recordings[number % len(recordings)]
        writers.append(open(board.path, "wb", buffering=0))
        # The lines of the hour are written by a thread, since a FIFO holds little.
        threading.Thread(target=write, args=(board.path, b"".join(lines[:hour + 1])), daemon=True).start()
    until("the hour is read", lambda: bench.metrics()["tessary_serve_samples_total"] == boards * hour, patience=1800)
    filled = time.monotonic() - begin
    filling = cpu_seconds(pid)

    scrapes = []
    before = cpu_seconds(pid)
    begin = time.monotonic()
    asked = begin
    for turn in range(seconds * boards):
        due = begin + turn / boards
        time.sleep(max(0, due - time.monotonic()))
        number = turn % boards
        writers[number].write(recordings[number % len(recordings)][hour + 1 + turn // boards])
        if due - asked >= SCRAPE_EVERY:
            asked = due
            start = time.monotonic()
            size = len(bench.get("/metrics")[2])
            scrapes.append(time.monotonic() - start)
    passed = time.monotonic() - begin
    used = cpu_seconds(pid) - before
    last = bench.metrics()
    assert last["tessary_serve_bad_lines_total"] == 0, bench.words()
    up = sum(value for series, value in last.items() if series.startswith("tessary_up{"))

    # By the server's own clock, since the system counts in hundredths of a second.
    own = lambda: bench.metrics()["tessary_serve_cpu_seconds_total"]
    before = own()
    for _ in range(19):
        bench.get("/metrics")
    scrape = (own() - before) / 20

    line = sum(len(lines[hour]) for lines in recordings) / len(recordings)
    rows = [
        ("boards, of which up at the end", "%d, %d" % (boards, up)),
        ("bytes of a sample", "%.0f" % line),
        ("CPU, of a core", "%.2f %%" % (100 * used / passed)),
        ("memory, without boards' samples", "%.1f MB" % (empty / 1e6)),
        ("memory, with an hour kept", "%.1f MB" % (resident(pid) / 1e6)),
        ("of that, kept samples", "%.1f MB" % (last["tessary_serve_kept_bytes"] / 1e6)),
        ("besides them", "%.1f MB" % ((resident(pid) - last["tessary_serve_kept_bytes"]) / 1e6)),
        ("samples kept of a board, least", str(kept(bench, bench.boards[0]))),
        ("a scrape, median of %d" % len(scrapes), "%.1f ms" % (1000 * statistics.median(scrapes))),
        ("a scrape, longest", "%.1f ms" % (1000 * max(scrapes))),
        ("CPU of a scrape", "%.1f ms" % (1000 * scrape)),
        ("bytes of a scrape", "%.1f MB" % (size / 1e6)),
        ("reading the hour of all boards", "%.0f s, %.0f s of CPU" % (filled, filling)),
    ]
    for name, value in rows:
        print("%-36s %20s" % (name, value))


def kept(bench, board):
    return bench.get("/recording?board=" + board.name)[2].count(b'\n{"boot_time_ns"')


def read(path):
    with open(path, "rb") as file:
        return file.readlines()


with Bench(sys.argv[1], sys.argv[1], sys.argv[2]) as bench:
    measure(bench, int(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5]), [read(path) for path in sys.argv[6:]])
