"""check_trace.py RECORDING TRACE: protoc decodes the trace, and it holds each measured number of the recording."""
import collections
import os
import re
import subprocess
import sys

from recording import Recording

SLICE_BEGIN, SLICE_END, COUNTER = "1", "2", "4"
SCALES = {"KiB": 1024}

folder = os.path.dirname(os.path.abspath(__file__))
with open(sys.argv[2], "rb") as file:
    decoded = subprocess.run(["protoc", "--decode=Trace", "-I" + folder, "trace.proto"], stdin=file,
                             stdout=subprocess.PIPE, check=True).stdout.decode()


def parse(lines):
    """protoc's text as lists of (field, value), a message being such a list."""
    fields = []
    for line in lines:
        line = line.strip()
        if line == "}":
            return fields
        if line.endswith("{"):
            fields.append((line[:-2], parse(lines)))
        else:
            name, value = line.split(": ", 1)
            fields.append((name, value))
    return fields


def only(fields, name):
    return next((value for field, value in fields if field == name), None)


def unquoted(words):
    # protoc writes bytes beyond ASCII in octal.
    plain = re.sub(r'\\([0-7]{3}|.)', lambda m: chr(int(m[1], 8)) if len(m[1]) == 3 else m[1], words[1:-1])
    return plain.encode("latin-1").decode("utf-8")


packets = [packet for _, packet in parse(iter(decoded.splitlines()))]
unknown = [name for packet in packets for name, _ in packet if name.isdigit()]
assert not unknown and not re.search(r"^\s*\d+: ", decoded, re.M), "fields that are not described: %r" % unknown
assert only(packets[0], "sequence_flags") == "1", "the first packet does not clear the state"
assert all(only(packet, "trusted_packet_sequence_id") == "1" for packet in packets)

tracks = {}
found = collections.Counter()
open_slices = collections.Counter()
slices = 0
snapshots = 0
for packet in packets:
    track = only(packet, "track_descriptor")
    event = only(packet, "track_event")
    snapshots += only(packet, "clock_snapshot") is not None
    if track is not None:
        parent = only(track, "parent_uuid")
        assert parent is None or parent in tracks, "a track before its parent"
        tracks[only(track, "uuid")] = track
    elif event is not None:
        uuid = only(event, "track_uuid")
        kind = only(event, "type")
        assert uuid in tracks, "an event without a track"
        if kind == COUNTER:
            value = only(event, "counter_value") or only(event, "double_counter_value")
            name = unquoted(only(tracks[uuid], "name"))
            found[(int(only(packet, "timestamp")), name, float(value))] += 1
        else:
            assert unquoted(only(tracks[uuid], "name")) == "not read"
            open_slices[uuid] += 1 if kind == SLICE_BEGIN else -1
            assert open_slices[uuid] in (0, 1), "slices that cross"
            slices += kind == SLICE_BEGIN

assert not any(open_slices.values()), "slices without an end"
recording = Recording(sys.argv[1])
expected = collections.Counter()
counters = [track for track in tracks.values() if only(track, "counter") is not None]
values = collections.Counter((time, value) for time, _, value in found.elements())
for figure in recording.figures():
    if figure.is_measured and figure.is_number:
        scale = SCALES.get(figure.column.get("unit"), 1)
        expected[(figure.sample["boot_time_ns"], float(figure.value) * scale)] += 1
assert values == expected, "values differ: %r" % list((values - expected) + (expected - values))[:5]
absent = any("errors" in sample.get(section, {}) for sample in recording.samples
             for section in recording.header["monitors"])
assert (slices > 0) == absent, "%d slices of what was not read" % slices
length = recording.samples[-1]["boot_time_ns"] - recording.header["boot_time_ns"]
assert snapshots >= 1 + length // (61 * 10**9), "%d snapshots of the clocks" % snapshots
processes = {figure.labels["pid"] for figure in recording.figures() if "pid" in figure.labels and figure.is_measured}
named = {only(only(track, "process"), "pid") for track in tracks.values() if only(track, "process") is not None}
assert named == processes, "processes: %r" % (named ^ processes)
print("trace: %d values on %d counters, %d slices" % (sum(values.values()), len(counters), slices))
