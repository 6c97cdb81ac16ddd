#!/usr/bin/env bash
# The tool on simulated boards, where time passes by the waits alone and every figure is known. With UPDATE_GOLDEN set,
# what it writes becomes what is expected.
. "$(dirname "$0")/lib.sh"

golden=$(dirname "$0")/golden
# BOARD SEED ARGUMENT..
on() { timeout --kill-after=5 "$(seconds 60)" "$BOARD" run "$1" --seed "$2" --time stepped -- "$TESSARY" "${@:3}" </dev/null; }
same() { cmp -s "$1" "$2" || fail "$3: $(diff "$1" "$2" | head -n 20)"; }

# Rates in round figures: see simulator/boards/hostile.json, whose first fault comes after two seconds; a zone, an
# interface and a disk appear after three and a half.
on hostile 1 report --top 5 >"$work/out" 2>"$work/err" || fail "report: exit code $?"
empty err
[ -z "${UPDATE_GOLDEN:-}" ] || cp "$work/out" "$golden/report.txt"
same "$golden/report.txt" "$work/out" "the report of the hostile board is another"
on hostile 1 report --json >"$work/out"
valid report "$work/out"

# Each figure under its name, in its unit, of its item: no two are alike on this board.
every=$(dirname "$0")/boards/every_figure.json
on "$every" 1 record -o "$work/every" --duration 1 --monitors cpu,process,procmem,memory,thermal,disk,net,gpu,dsp,ddr ||
  fail "record: exit code $?"
for format in csv openmetrics; do
  tessary export "$work/every" --format $format | grep -v '^#' >"$work/out"
  [ -z "${UPDATE_GOLDEN:-}" ] || cp "$work/out" "$golden/every_figure.$format"
  same "$golden/every_figure.$format" "$work/out" "the $format of a board with each figure is another"
done

# Which way is good: of what stands below it more is better, or neither; of all others more is worse.
columns() {
  head -n 1 "$work/every" | sed 's/.*"columns"://; s/"description":"[^"]*"//g; s/}/\n/g' | grep "$@" |
    sed -n 's/.*"key":"\([a-z0-9_]*\)".*/\1/p' | tr '\n' ' '
}
[ "$(columns '"more_is":"better"')" = "available_kib swap_free_kib " ] || fail "better: $(columns '"more_is":"better"')"
[ "$(columns -v '"more_is"\|"role"')" = "clock_khz clock_mhz max_clock_mhz clock " ] || fail "neither: $(columns -v '"more_is"\|"role"')"

# Processes that have ended, and wait for their parent, are asked for their memory once: the library leaves that open.
echo '{"model": "x", "cores": [{}], "processes": [{"pid": 1, "ppid": 0, "name": "init", "rss_kb": 400, "pss_kb": 300},
  {"count": 3, "pid": 700, "name": "ended", "state": "Z", "rss_kb": 400}],
  "nodes": {"/proc/700/smaps_rollup": "", "/proc/701/smaps_rollup": "", "/proc/702/smaps_rollup": ""}}' >"$work/ended.json"
(ulimit -n 60 && on "$work/ended.json" 1 record -o "$work/ended" --duration 100 --monitors procmem) ||
  fail "ended processes: exit code $?"
tail -n 1 "$work/ended" | grep -q '"pss_kib":300' || fail "ended processes: $(tail -n 1 "$work/ended")"

# The same seed, the same figures.
for seed in 7 7 8; do on vx4490p $seed report >>"$work/seed$seed"; done
half=$(($(wc -l <"$work/seed7") / 2))
head -n $half "$work/seed7" >"$work/first"
tail -n $half "$work/seed7" >"$work/second"
same "$work/first" "$work/second" "two runs with one seed differ"
cmp -s "$work/first" "$work/seed8" && fail "two seeds give the same figures"

# Everything goes wrong, one thing after the other: each figure is absent for as long as it cannot be read, and says so.
on hostile 1 record -o "$work/recording" --duration 16 --monitors \
  cpu,process,procmem,memory,thermal,disk,net,gpu,dsp,ddr >"$work/out" 2>"$work/err" || fail "record: exit code $?"
empty err
head -n 1 "$work/recording" >"$work/header"
valid record_header "$work/header"
valid record_sample "$work/recording" --lines
[ "$(wc -l <"$work/recording")" -eq 17 ] || fail "the recording has $(wc -l <"$work/recording") lines"

# SECOND TEXT: the sample that ends that long after the start holds the text.
at() {
  sed -n "$(($1 + 1))p" "$work/recording" | grep -qF -- "$2" || fail "second $1 lacks $2"
}
at 1 '"boot_time_ns":3601000000000,"unix_time_ns":1704067201000000000,"interval_ms":1000.0,"cpu":{"cores_configured":8,"load_percent":69.248'
at 2 '"items":["load_percent","steal_percent","user_percent","nice_percent","system_percent","iowait_percent","cores[*].load_percent","cores[*].steal_percent"],"error":"/proc/stat: the lines'
at 3 '"items":["cores[3].load_percent","cores[3].steal_percent"],"error":"the core is offline'
at 3 '{"core":4,"load_percent":75.0,"steal_percent":0.0,"clock_khz":1180800,'
at 3 '{"pid":500,"name":"short_lived","cpu_percent":50.0,"user_seconds":0.5,"system_seconds":0.0}'
at 3 '"items":["zones[1].temperature_celsius"],"error":"/sys/class/thermal/thermal_zone#/temp: Invalid argument"'
at 3 '{"zone":"thermal_zone4","type":"frost","temperature_celsius":-40.0}'
at 4 '{"pid":501,"name":"late","cpu_percent":25.0,"user_seconds":0.125,"system_seconds":0.125}'
sed -n 4p "$work/recording" | grep -qE 'thermal_zone5|usb0|sdc' && fail "second 3 has what appears later"
at 4 '{"zone":"thermal_zone5","type":"plugged","temperature_celsius":25.0}'
at 4 '"disk":{"errors":[{"items":["disks"],"error":"a disk appeared or disappeared during the interval"}]}'
at 5 '{"interface":"usb0","rx_bytes_per_second":700.0,'
at 5 '{"disk":"sdc","read_bytes_per_second":2048.0,'
at 5 '{"interface":"eth0","rx_bytes_per_second":125000.0,'  # a wrap at 64 bits is none
at 5 '"items":["interfaces[2].tx_bytes_per_second"],"error":"the counter went back"'
at 6 '{"disk":"sda","read_bytes_per_second":1048576.0,"write_bytes_per_second":524288.0}'
at 6 '"write_bytes_per_second"],"error":"the GPU profiler gave no value"'
at 7 '"memory":{"errors":[{"items":["*"],"error":"/proc/meminfo: holds no \"MemTotal:\""}]}'
at 8 '"disk":{"errors":[{"items":["disks"],"error":"a disk appeared or disappeared during the interval"}]}'
at 8 '"error":"/sys/class/net/*/statistics/rx_bytes: No such file or directory"'
at 9 '"items":["busy_percent"],"error":"/sys/class/vrdx/vrdx-3d0/gpu_busy_percentage: Permission denied"'
at 9 '"ddr":{"errors":[{"items":["*"],"error":"/dev/profiler: the device refused a request'
at 10 '"items":["dsps[1].load","dsps[1].clock"],"error":"the DSP'
at 10 '{"dsp":"adsp","load":12.5,"clock":614400}'
at 10 '"interfaces[2].collisions_per_second"],"error":"no earlier reading to compare with"'
at 11 '{"interface":"wlan0","rx_bytes_per_second":30000.0,'
at 12 '"ddr":{"a1":1000,"a2":800,"a_total":1800,"b1":1200,"b2":600,"b_total":1800}'
at 12 '"items":["*","top"],"error":"/proc/#/smaps_rollup: Permission denied (25 of 26 could be read)"'
at 13 '"disk":{"errors":[{"items":["disks"],"error":"/proc/diskstats: Too many open files"}]}'
at 13 '"process":{"errors":[{"items":["*","top"],"error":"/proc: Too many open files"}]}'
at 14 '"items":["cores[5].clock_khz"],"error":"/sys/devices/system/cpu/cpu#/cpufreq/cpuinfo_cur_freq: Input/output error"'
at 15 '{"disk":"sdb","write_bytes_per_second":0.0}'
at 15 '"items":["disks[1].read_bytes_per_second"],"error":"/proc/diskstats: its counter went back"'
at 16 '"processes":26,"cpu_percent":85.0,'

# The versions stand at the end of the second line.
tessary summary "$work/recording" | sed '2s/, tool .*//' >"$work/out"
[ -z "${UPDATE_GOLDEN:-}" ] || cp "$work/out" "$golden/summary.txt"
same "$golden/summary.txt" "$work/out" "the summary of the hostile board is another"

# What was recorded is what was reported: on every board, by the same seed, the first sample of a recording is the report.
for board in $("$BOARD" list | awk '{print $1}'); do
  sections=cpu,process,procmem,memory,thermal,disk,net,gpu,dsp,ddr
  on "$board" 3 report --json --top 50 --monitors $sections >"$work/live"
  on "$board" 3 record -o "$work/recorded$gz" --duration 1 --monitors $sections || fail "$board: record: exit code $?"
  on "$board" 3 report "$work/recorded$gz" --json >"$work/back"
  [ -s "$work/live" ] && same "$work/live" "$work/back" "$board: the recording gives another report"
  tessary report "$work/recorded$gz" --monitors cpu >"$work/back" || fail "$board: no text of the recording"
  [ "$(grep -v '^ ' "$work/back")" = CPU ] || fail "$board: sections: $(grep -v '^ ' "$work/back")"
done
[ "$board" ] || fail "no boards"

# Swap that is in use is not said where the kernel leaves out how much of it is free.
echo '{"model": "x", "cores": [{"count": 1}], "nodes":
  {"/proc/meminfo": "MemTotal: 4096 kB\nMemAvailable: 1024 kB\nSwapTotal: 2048 kB\n"}}' >"$work/no_swap_free.json"
on "$work/no_swap_free.json" 1 record -o - --duration 1 --monitors memory >"$work/out" || fail "no SwapFree: exit code $?"
grep -q '"swap_total_kib":2048,"errors"' "$work/out" || fail "no SwapFree: $(cat "$work/out")"

# A core whose idle time went back by more than the kernel corrects it has no load.
echo '{"model": "x", "processors": 1, "frames": [
  {"at_ms": 0, "nodes": {"/proc/stat": "cpu 100 0 0 1000 0 0 0 0 0 0\ncpu0 100 0 0 1000 0 0 0 0 0 0\n"}},
  {"at_ms": 500, "nodes": {"/proc/stat": "cpu 250 0 0 950 0 0 0 0 0 0\ncpu0 250 0 0 950 0 0 0 0 0 0\n"}}]}' \
  >"$work/idle_back.json"
on "$work/idle_back.json" 1 record -o - --duration 1 --monitors cpu >"$work/out" || fail "idle time: exit code $?"
grep -q '"cores\[\*\].load_percent".*"error":"/proc/stat: its counters went back"' "$work/out" || fail "idle: $(cat "$work/out")"

# A monitor that cannot read does not wait; the recording does.
on hostile 1 record -o "$work/alone" --duration 16 --monitors cpu || fail "record of the CPU alone: exit code $?"
[ "$(wc -l <"$work/alone")" -eq 17 ] || fail "the recording of the CPU alone has $(wc -l <"$work/alone") lines"

on hostile 1 doctor --monitors thermal,ddr >"$work/out" || fail "doctor: exit code $?"
grep -qE 'thermal +/sys/class/thermal/thermal_zone#/temp +5 +read +0.000 ms$' "$work/out" || fail "$(cat "$work/out")"
# Nodes of a source that fail in several ways are told apart.
echo '{"model": "x", "cores": [{}], "thermal_zones": [{"type": "a"}, {"type": "b"}, {"type": "c"}, {"type": "d"}],
  "faults": [{"node": "/sys/class/thermal/thermal_zone3/temp", "kind": "open", "error": "EACCES"},
  {"node": "/sys/class/thermal/thermal_zone0/temp", "kind": "read", "error": "EAGAIN"},
  {"node": "/sys/class/thermal/thermal_zone2/temp", "kind": "read", "error": "EIO"}]}' >"$work/two_ways.json"
on "$work/two_ways.json" 1 doctor --monitors thermal >"$work/out" || fail "doctor: exit code $?"
holds out 'Resource temporarily unavailable'
holds out 'Input/output error'
grep -qE '/thermal_zone3/temp +1 +denied +Permission denied' "$work/out" || fail "denied: $(cat "$work/out")"
holds out '/sys/class/thermal/thermal_zone3/temp: run it as root'

# What the library prints stands between the name of a test run and its verdict, also when the output is a file.
on hostile 1 selftest >"$work/out" || fail "selftest: exit code $?"
order=$(uniq <(sed 's/^Zoltrace: .*\|^Metric value .*\|.*ID = .*/  words/; /^$/d' "$work/out"))
[ "$order" = "RealTimeMetricsSample
  words
RealTimeMetricsSample: passed
run_test
  words
run_test: passed" ] || fail "selftest: $order"

finish
