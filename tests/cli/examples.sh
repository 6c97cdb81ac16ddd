#!/usr/bin/env bash
# The profiling service of the examples on the board on which everything goes wrong: it outlives all of it, leaves out what
# it cannot read and has it back afterwards.
. "$(dirname "$0")/lib.sh"

on() { timeout --kill-after=5 60 "$BOARD" run "$1" --time stepped -- "$EXAMPLES/profiling_service" "${@:2}" </dev/null; }
valid_lines() { python3 -c 'import json, sys; [json.loads(line) for line in open(sys.argv[1])]' "$1" || fail "no JSON"; }

on hostile 16 >"$work/out" 2>"$work/err" || fail "exit code $?: $(tail -n 3 "$work/err")"
valid_lines "$work/out"
[ "$(wc -l <"$work/out")" -eq 16 ] || fail "$(wc -l <"$work/out") lines"

# SECOND TEXT..: see simulator/boards/hostile.json.
at() {
  local second=$1 text
  for text in "${@:2}"; do
    sed -n "${second}p" "$work/out" | grep -qF -- "$text" || fail "second $second lacks $text: $(sed -n "${second}p" "$work/out")"
  done
}
at 1 '"disk":{},"net":{"lo":2000.000000,"eth0":175000.000000,"wlan0":50000.000000}' \
  '"process":{"500 short_lived":50.000000,"600 two words":5.000000,"603 f??r?[31m":5.000000}' \
  '"memory":{"total_kib":8000000.000000,"available_kib":5000000.000000}' '"thermal_zone4":-40.000000' \
  '"gpu":{"busy_percent":37.000000,"clock_mhz":585.000000},"ddr":{"a_total":1800.000000,"b_total":1800.000000}' \
  '"dsp":{"adsp":12.500000,"cdsp":50.000000}' '"highest_khz":1180800.000000'
at 3 '"thermal":{"thermal_zone0":37.124000}' '"cpu":{"load_percent":74.'  # a zone refuses, a core is offline
at 4 '"process":{"501 late":25.000000,'                                   # which was born in this second
at 5 '"sdc":2048.000000' '"net":{"lo":2000.000000,"eth0":175000.000000}'  # a disk is there, a counter has wrapped
at 6 '"gpu":{"busy_percent":37.000000}'
at 7 '"memory":{}'
at 8 '"disk":{"sda":1572864.000000,"sdc":2048.000000},"net":{"lo":2000.000000,"eth0":175000.000000}'
at 9 '"memory":{"total_kib":8000000.000000,' '"gpu":{"clock_mhz":585.000000},"ddr":{},"dsp":{"adsp":12.500000}'
at 10 '"disk":{}' '"net":{"lo":2000.000000,"eth0":175000.000000}'         # wlan0 is back, with all it ever counted
at 11 '"wlan0":50000.000000' '"ddr":{"a_total":1800.000000,' '"cdsp":50.000000'
at 13 '"process":{},"procmem":{},"memory":{}' '"gpu":{"busy_percent":37.000000'
at 14 '"process":{}' '"procmem":{"1 (init)":3100.000000'                  # nothing to compare with
at 15 '"disk":{"sda":1572864.000000,"sdc":2048.000000}'                  # a counter of 32 bits has wrapped
at 16 '"process":{"501 late":25.000000,' '"sdb":4096.000000' '"load_percent":69.' '"highest_khz":1180800.000000'

# It ends when it is told to, with a whole line.
"$BOARD" run hostile --time stepped -- "$EXAMPLES/profiling_service" 100000 >"$work/out" 2>/dev/null </dev/null &
service=$!
has_lines() { [ "$(wc -l <"$work/out")" -gt 20 ]; }
until_true has_lines
kill "$service"
wait "$service" || fail "ended by SIGTERM: exit code $?"
[ "$(wc -l <"$work/out")" -lt 100000 ] || fail "it did not end when it was told to"
valid_lines "$work/out"
finish
