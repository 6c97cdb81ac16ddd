"""check_openmetrics.py RECORDING TEXT FOLDER: Prometheus imports the text, and answers what the recording says.

promtool drops samples out of order without a word, so that their number is compared as well."""
import math
import os
import re
import subprocess
import sys

from prometheus import Server
from recording import Recording

SCALES = {"percent": 0.01, "KiB": 1024, "kHz": 1000, "MHz": 1e6, "milliseconds": 0.001}
PORT = 19464


def quantile(values, share):
    values = sorted(values)
    place = (len(values) - 1) * share
    low = math.floor(place)
    high = min(low + 1, len(values) - 1)
    return values[low] + (values[high] - values[low]) * (place - low)


recording = Recording(sys.argv[1])
folder = os.path.abspath(sys.argv[3])
with open(sys.argv[2], encoding="utf-8") as file:
    text = file.read()
assert text.endswith("# EOF\n")
families = re.findall(r"^# TYPE (\S+) gauge$", text, re.M)
assert len(set(families)) == len(families), "a family in two places"
for name, unit in re.findall(r"^# UNIT (\S+) (\S+)$", text, re.M):
    assert name.endswith("_" + unit), name + " does not end with its unit"
for name in ("tessary_cpu_load_ratio", "tessary_cpu_core_clock_hertz", "tessary_memory_used_bytes",
             "tessary_thermal_zone_celsius", "tessary_process_cpu_ratio", "tessary_disk_read_bytes_per_second"):
    assert name in families, "no family " + name

os.makedirs(folder + "/data")
subprocess.run(["promtool", "tsdb", "create-blocks-from", "openmetrics", sys.argv[2], folder + "/data"],
               check=True, stdout=subprocess.DEVNULL)

expected = {}
for figure in recording.figures():
    if figure.is_number:
        series = expected.setdefault((figure.key, frozenset(figure.labels.items())), [])
        series.append(figure.value * SCALES.get(figure.column.get("unit"), 1))

# A window that reaches back to the first sample.
end = recording.samples[-1]["unix_time_ns"] / 1e9 + 1
window = "[%ds]" % (math.ceil((recording.samples[-1]["boot_time_ns"] - recording.header["boot_time_ns"]) / 1e9) + 10)
with Server(folder, PORT) as server:
    # Metrics have other names than figures: an item's values are compared as a set.
    board = recording.header["board"]
    board = board.get("model", board.get("soc"))
    count = 0
    found = {}
    for family in families:
        for series in server.ask("count_over_time(%s%s)" % (family, window), end):
            assert series["metric"].pop("board") == board, "another board"
            count += int(series["value"][1])
        for series in server.ask("quantile_over_time(0.95, %s%s)" % (family, window), end):
            series["metric"].pop("board")
            found.setdefault(frozenset(series["metric"].items()), []).append(float(series["value"][1]))

wanted = sum(len(values) for values in expected.values())
assert count == wanted, "%d samples were imported of %d" % (count, wanted)
percentiles = {}
for (_, labels), values in expected.items():
    percentiles.setdefault(labels, []).append(quantile(values, 0.95))
assert found.keys() == percentiles.keys(), "items differ: %r" % (found.keys() ^ percentiles.keys())
for item, values in percentiles.items():
    for got, wanted in zip(sorted(found[item]), sorted(values)):
        assert math.isclose(got, wanted, rel_tol=1e-9, abs_tol=1e-9), "%r of %r is not %r" % (got, item, wanted)
print("openmetrics: %d samples of %d series" % (count, len(expected)))
