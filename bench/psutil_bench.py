#!/usr/bin/env python3
"""What psutil takes for the rows that it has an answer to. Prints a line each: row, microseconds of CPU time.

   bench/psutil_bench.py [MORE PROCESSES]
"""
import sys
import time

import psutil


def processes_cpu():
    for process in psutil.process_iter():
        try:
            with process.oneshot():
                process.name(), process.cpu_times(), process.create_time()
        except psutil.Error:
            pass


def processes_memory():
    for process in psutil.process_iter():
        try:
            with process.oneshot():
                process.name(), process.ppid(), process.memory_full_info()
        except psutil.Error:
            pass


def two_readings():
    psutil.cpu_times(percpu=True)
    psutil.cpu_times(percpu=True)


def microseconds(sample):
    sample()
    times = []
    for _ in range(9):
        begin = time.process_time()
        count = 0
        while time.process_time() - begin < 0.05:
            sample()
            count += 1
        times.append((time.process_time() - begin) / count)
    return sorted(times)[len(times) // 2] * 1e6


if len(sys.argv) > 1:
    crowd = f"{sys.argv[1]} more processes"
    rows = {f"processes' CPU, {crowd}": processes_cpu, f"processes' memory, {crowd}": processes_memory}
else:
    rows = {
        "/proc/stat, this machine": two_readings,
        "/proc/meminfo": psutil.virtual_memory,
        "/proc/diskstats": lambda: psutil.disk_io_counters(perdisk=True),
        "network, this machine": lambda: psutil.net_io_counters(pernic=True),
    }
for row, sample in rows.items():
    print(f"{row}\t{microseconds(sample):.2f}")
