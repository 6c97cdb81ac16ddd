#!/usr/bin/env bash
# This machine's figures, and its gaps: what has no source here is not 0 but absent, with the reason.
. "$(dirname "$0")/lib.sh"

run 0 report --interval 50
for title in CPU "Processes by CPU time" "Processes by memory" Memory Temperatures Disks "Network interfaces" GPU DSPs \
  "Memory bus"; do
  grep -qxF -- "$title" "$work/out" || fail "no section '$title'"
done
run 0 report --interval 50 --json
valid report "$work/out"
total=$(sed -n 's/^MemTotal: *\([0-9]*\) kB/\1/p' /proc/meminfo)
holds out "\"total_kib\": $total,"
run 0 doctor --json
valid doctor "$work/out"
run 0 doctor
grep -qE '^ +cpu +/proc/stat +1 +read ' "$work/out" || fail "the doctor does not find /proc/stat: $(cat "$work/out")"

if [ ! -e /dev/profiler ]; then
  run 1 report --monitors ddr --interval 10
  holds out "absent: all figures: /dev/profiler: No such file or directory"
  holds err "nothing could be read"
  run 1 report --monitors ddr --interval 10 --json
  valid report "$work/out"
  lacks out '"a1"'
  run 1 record --monitors ddr --interval 10 --duration 0.01 -o "$work/recording"
  run 1 doctor --monitors ddr
  run 0 doctor --monitors ddr,memory
  grep -qE '/dev/profiler +1 +absent +No such file or directory' "$work/out" || fail "$(cat "$work/out")"
  holds out "/dev/profiler: the kernel needs"
fi

# A name that would break the terminal, and the JSON.
name=$'\033[31m\\\xff\xc3\xbc'
cp "$(command -v sleep)" "$work/$name"
"$work/$name" 1000 &
sleeper=$!
trap 'kill "$sleeper"; rm -rf "$work"' EXIT
comm() { grep -q $'\033' "/proc/$sleeper/comm"; }
until_true comm
run 0 report --interval 20 --monitors process,procmem --pid $sleeper,999999999
holds out '\x1b[31m\x5c\xff\xc3\xbc'
LC_ALL=C grep -q '[^ -~]' "$work/out" && fail "bytes beyond printable ASCII in the output"
holds out "(pid 999999999): /proc/#/stat: No such file or directory"
run 0 report --interval 20 --monitors process,procmem --pid $sleeper --json
valid report "$work/out"
[ "$(grep -cF '"name": "\u001b[31m\\x5c\\xffü"' "$work/out")" -eq 2 ] || fail "the name in JSON: $(cat "$work/out")"

finish
