#!/usr/bin/env python3
"""Writes what scripts/bench measured into docs/performance.md, between its markers, and the pictures of growth.

   bench/report.py RESULTS
"""
import pathlib
import re
import sys

DOCS = pathlib.Path(__file__).resolve().parent.parent / "docs"
GOALS = {
    "/proc/stat, 8 cores": 1.12, "/proc/stat, this machine": 1.03, "cpufreq, 8 nodes": 1.02, "/proc/meminfo": 1.08,
    "/proc/diskstats": 1.03, "network, this machine": 1.02, "thermal, 40 nodes": 1.02,
    "processes' CPU, 500 more processes": 1.02, "processes' CPU, 2000 more processes": 1.02,
    "processes' memory, 500 more processes": 1.03, "processes' memory, 2000 more processes": 1.03,
}
PEERS = ["stdio", "libproc2", "libgtop", "libstatgrab", "psutil"]
# A hundredth of a microsecond has no ratio.
LEFT_OUT = {"GPU sample over the profiler's call", "DDR figures over the device's call"}


def lines(path):
    return [line.split("\t") for line in path.read_text().splitlines() if line]


def samples(results):
    heading, *rows = lines(results / "samples")
    measured = [dict(zip(heading, row)) for row in rows if row[0] not in LEFT_OUT]
    psutil = {row: float(time) for row, time in lines(results / "psutil")}
    for row in measured:
        own = psutil.get(row["sample"])
        row["psutil"] = f"{own / float(row['floor, us']):.2f}" if own else "-"
    return measured


def table(heading, rows):
    text = [heading, ["---"] * len(heading), *rows]
    return "\n".join("| " + " | ".join(str(cell) for cell in row) + " |" for row in text)


def microseconds(text):
    value = float(text)
    return f"{value / 1000:.1f} ms" if value >= 1000 else f"{value:.1f} us"


def sample_table(measured):
    rows = []
    for row in measured:
        goal = GOALS.get(row["sample"])
        library = row["library"]
        if goal and float(library) > goal + 0.05:
            library = f"**{library}**"
        peers = ["" if row[peer] == "-" else row[peer] for peer in PEERS]
        rows.append([row["sample"], microseconds(row["floor, us"]), library, goal or "", *peers, row["allocations"]])
    return table(["sample", "floor", "library", "goal", *PEERS, "allocations"], rows)


def instruction_table(results):
    ceilings = {row: int(count) for row, count, _ in lines(DOCS.parent / "bench/ceilings.txt")}
    floor = {row: count for row, count, _ in lines(results / "instructions.floor")}
    rows = [[row, f"{int(count):,} a {piece}", f"{int(floor[row]):,}", f"{ceilings[row]:,}"]
            for row, count, piece in lines(results / "instructions.library")]
    return table(["sample", "user instructions", "floor", "ceiling"], rows)


def programs(results):
    measured = {}
    for name, crowd, user, system, peak in lines(results / "programs"):
        measured.setdefault(name, {})[int(crowd)] = (float(user) + float(system), int(peak) / 1024)
    return measured


def program_table(measured):
    rows = []
    for name, sizes in measured.items():
        rows.append([name, *(f"{sizes[crowd][0]:.2f}" for crowd in sorted(sizes)),
                     *(f"{sizes[crowd][1]:.0f}" for crowd in sorted(sizes))])
    crowds = [f"{crowd:,}" for crowd in sorted(next(iter(measured.values())))]
    return table(["program", *(f"CPU s, {crowd}" for crowd in crowds), *(f"MiB, {crowd}" for crowd in crowds)], rows)


def machine(results):
    date, model, cores, kernel, compiler, load, load_after = (results / "machine").read_text().splitlines()
    return (f"Measured by `scripts/bench` on {date}: {cores} cores of an {model}, Linux {kernel}, gcc {compiler}, `release` "
            f"preset. Load of the machine\nbefore and after: {load} and {load_after}.")


# -- pictures

WIDTH, HEIGHT, LEFT, TOP, RIGHT, BOTTOM = 720, 360, 64, 40, 190, 44
COLOURS = ["#0969da", "#57606a", "#bf8700", "#1a7f37", "#cf222e", "#8250df", "#0a7ea4"]


def step_for(highest):
    """A round distance of four to eight lines."""
    step = 10.0 ** len(str(int(highest))) / 1000
    while highest / step > 8:
        step *= 2 if str(step).strip("0.")[0] in "15" else 2.5
    return step


def picture(title, unit, curves):
    """Curves: name -> [(processes, value)]. Lines through what was measured, each named at its end."""
    widest = max(x for points in curves.values() for x, _ in points)
    highest = max(y for points in curves.values() for _, y in points) * 1.05

    def place(x, y):
        return (LEFT + x / widest * (WIDTH - LEFT - RIGHT), HEIGHT - BOTTOM - y / highest * (HEIGHT - TOP - BOTTOM))

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#ffffff"/>',
             f'<text x="{LEFT}" y="22" font-size="14" font-weight="bold" fill="#1f2328">{title}</text>']
    step = step_for(highest)
    for number in range(int(highest / step) + 1):
        _, y = place(0, number * step)
        parts.append(f'<line x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{y:.1f}" y2="{y:.1f}" stroke="#d0d7de"/>')
        parts.append(f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end" fill="#57606a">{number * step:g}</text>')
    for x in sorted({x for points in curves.values() for x, _ in points}):
        parts.append(f'<text x="{place(x, 0)[0]:.1f}" y="{HEIGHT - BOTTOM + 18}" text-anchor="middle" fill="#57606a">{x:,}</text>')
    parts.append(f'<text x="{WIDTH - RIGHT}" y="{HEIGHT - 8}" text-anchor="end" fill="#57606a">more processes</text>')
    parts.append(f'<text x="{LEFT}" y="{TOP - 4}" text-anchor="end" fill="#57606a">{unit}</text>')
    label_at = HEIGHT
    named = sorted(enumerate(curves.items()), key=lambda entry: entry[1][1][-1][1])
    for number, (name, points) in named:
        colour = COLOURS[number % len(COLOURS)]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in (place(*point) for point in points))
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        x, y = place(*points[-1])
        label_at = min(y + 4, label_at - 14)
        parts.append(f'<text x="{x + 8:.1f}" y="{label_at:.1f}" fill="{colour}">{name}</text>')
    return "\n".join(parts) + "\n</svg>\n"


def growth(measured, figure):
    """Milliseconds a sample over the size of the crowd, of everybody who has an answer."""
    curves = {}
    for row in measured:
        found = re.fullmatch(rf"processes' {figure}, (\d+) more processes", row["sample"])
        if not found:
            continue
        for who in ["library", "floor", *PEERS]:
            if row[who] != "-":
                point = (int(found[1]), float(row[who]) * float(row["floor, us"]) / 1000)
                curves.setdefault(who, []).append(point)
    return curves


def main():
    results = pathlib.Path(sys.argv[1])
    measured = samples(results)
    whole = programs(results)
    sections = {
        "machine": machine(results),
        "samples": sample_table(measured),
        "instructions": instruction_table(results),
        "programs": program_table(whole),
    }
    page = DOCS / "performance.md"
    text = page.read_text()
    for name, body in sections.items():
        text, count = re.subn(rf"(<!-- {name} -->\n).*?(\n<!-- /{name} -->)",
                              lambda found, body=body: found[1] + body + found[2], text, flags=re.S)
        if count != 1:
            sys.exit(f"{page}: no place for {name}")
    page.write_text(text)
    pictures = DOCS / "pictures"
    (pictures / "growth-cpu.svg").write_text(picture("CPU time of a sample of the processes' CPU", "ms", growth(measured, "CPU")))
    (pictures / "growth-memory.svg").write_text(
        picture("CPU time of a sample of the processes' memory", "ms", growth(measured, "memory")))
    (pictures / "growth-programs.svg").write_text(
        picture("CPU time of whole programs in 20 s", "s",
                {name: [(crowd, sizes[crowd][0]) for crowd in sorted(sizes)] for name, sizes in whole.items()}))


main()
