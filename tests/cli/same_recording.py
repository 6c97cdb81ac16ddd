#!/usr/bin/env python3
"""Whether two recordings have the same figures, and the same absences for the same reasons.

What differs is what a replay cannot have: times of the clock, and processes outside the recorded tables.
"""
import json
import re
import sys

# What a tick, a count or a sector at either end of an interval makes of a figure.
TOLERANCES = [
    (r"process\..*cpu_percent", 0.41),
    (r"_percent$", 0.21),
    (r"_seconds$", 0.0021),
    (r"disk\..*bytes_per_second", 1024.0),
    (r"net\..*_per_second", 2.0),
    (r"gpu\..*_per_second", 128.0),  # single precision
    (r"clock_khz|_kib$|ddr\.", 1.0),
    (r"", 0.002),
]
IGNORED = re.compile(r"^(boot_time_ns|unix_time_ns|(process|procmem)\.processes)$")


def tolerance(place):
    return next(value for pattern, value in TOLERANCES if re.search(pattern, place))


def differences(place, one, other):
    if IGNORED.match(place):
        return
    if isinstance(one, dict) and isinstance(other, dict):
        for key in sorted(one.keys() | other.keys()):
            where = f"{place}.{key}" if place else key
            if key not in one or key not in other:
                yield f"{where}: only in the {'replay' if key in other else 'recording'}"
            else:
                yield from differences(where, one[key], other[key])
    elif isinstance(one, (int, float)) and isinstance(other, (int, float)):
        if abs(one - other) > tolerance(place):
            yield f"{place}: {one} is {other}"
    elif one != other:
        yield f"{place}: {one} is {other}"


def keyed(sample):
    """Rows by their names, reasons by their items: their order is nobody's promise."""
    for section in sample.values():
        if not isinstance(section, dict):
            continue
        rows = {}
        for table, value in list(section.items()):
            if table == "errors" or not isinstance(value, list):
                continue
            labels = [str(row.get("core", row.get("pid", next(iter(row.values()), "")))) for row in value]
            rows[table] = labels
            section[table] = dict(zip(labels, value))
        reasons = {}
        for error in section.pop("errors", []):
            words = re.sub(r" \(\d+ of \d+ .*\)$", "", error["error"])
            for item in error["items"]:
                match = re.match(r"(\w+)\[(\d+|\*)\]\.(\w+)$", item)
                if not match:
                    reasons[item] = words
                    continue
                table, row, column = match.groups()
                labels = rows.get(table, [])
                for label in labels if row == "*" else [labels[int(row)]]:
                    if column not in section[table][label]:
                        reasons[f"{table}[{label}].{column}"] = words
        section["errors"] = reasons
    return sample


def samples(path):
    with open(path, encoding="utf-8") as file:
        return [keyed(json.loads(line)) for line in list(file)[1:]]


def main(one, other):
    recorded, replayed = samples(one), samples(other)
    found = [f"{len(recorded)} samples are {len(replayed)}"] if len(recorded) != len(replayed) else []
    for number, pair in enumerate(zip(recorded, replayed), 1):
        found += [f"sample {number}: {text}" for text in differences("", *pair)]
    print("\n".join(found[:20]))
    return bool(found)


sys.exit(main(*sys.argv[1:]))
