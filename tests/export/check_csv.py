"""check_csv.py RECORDING TIDY WIDE: both hold each figure of the recording, and nothing else."""
import csv
import datetime
import sys

from recording import Recording, text


def moment(sample):
    seconds, rest = divmod(sample["unix_time_ns"], 10**9)
    time = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
    return time.strftime("%Y-%m-%dT%H:%M:%S") + ".%03dZ" % (rest // 10**6)


def cell(value):
    if isinstance(value, bool):
        return 1.0 if value else 0.0
    return float(value) if isinstance(value, (int, float)) else text(value)


def read(words):
    try:
        return float(words)
    except ValueError:
        return words


def path(figure):
    labels = ",".join(key + "=" + label for key, label in figure.labels.items())
    table = figure.table + "[" + labels + "]" if figure.table else None
    return ".".join(part for part in (figure.section, table, figure.column["key"]) if part)


recording = Recording(sys.argv[1])
expected = [(moment(f.sample), f.section, f.item, f.key, cell(f.value), f.column.get("unit", ""))
            for f in recording.figures()]
with open(sys.argv[2], newline="", encoding="utf-8") as file:
    rows = list(csv.reader(file, strict=True))
assert rows[0] == ["time", "section", "item", "figure", "value", "unit"], rows[0]
found = [(*row[:4], read(row[4]), row[5]) for row in rows[1:]]
assert len(found) == len(expected), "%d lines, not %d" % (len(found), len(expected))
for got, wanted in zip(found, expected):
    assert got == wanted, "%r is not %r" % (got, wanted)

with open(sys.argv[3], newline="", encoding="utf-8") as file:
    rows = list(csv.reader(file, strict=True))
heading = rows[0]
assert len(set(heading)) == len(heading), "two columns of one name"
assert all(len(row) == len(heading) for row in rows), "lines of different lengths"
assert len(rows) - 1 == len(recording.samples), "%d lines" % (len(rows) - 1)
found = {(row[0], name): read(value) for row in rows[1:] for name, value in zip(heading[1:], row[1:]) if value != ""}
expected = {(moment(f.sample), path(f)): cell(f.value) for f in recording.figures()}
assert found == expected, "the wide table differs: %r" % list(set(found.items()) ^ set(expected.items()))[:3]
print("csv: %d figures of %d samples" % (len(expected), len(recording.samples)))
