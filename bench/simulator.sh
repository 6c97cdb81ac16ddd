#!/usr/bin/env bash
# What a board costs: simulator.sh [BUILD_TREE]. CPU times, each the least of several runs, since those of a busy
# machine are too long and never too short. Another build tree's board is measured with this one's tool.
set -euo pipefail
cd "$(dirname "$0")/.."
tool=$PWD/build/release/tools/tessary
board=${1:-$PWD/build/release}/simulator/bin/tessary-board
runs=5
recording=$(mktemp --suffix=.jsonl)
trap 'rm -f "$recording"' EXIT

# COMMAND ..: the milliseconds of the CPU, in user's and in the kernel's hands, of the cheapest run.
cpu_ms() {
  local run TIMEFORMAT='%3U %3S'
  for run in $(seq $runs); do
    { time "$@" >/dev/null 2>&1; } 2>&1
  done | awk '{ms = 1000 * ($1 + $2); if (NR == 1 || ms < least) least = ms} END {print least}'
}
on_board() { "$board" run "$1" "${@:2}"; }
per() { awk "BEGIN {printf \"%.$3f\", ($1) / $2}"; }

starts=100
reads=20000
start_many="i=0; while [ \$i -lt $starts ]; do /bin/true; i=\$((i + 1)); done"
read_many="for (1 .. $reads) { open F, '/proc/meminfo'; sysread F, \$_, 65536; close F }"
seconds=300

machine_start=$(cpu_ms sh -c "$start_many")
machine_read=$(cpu_ms perl -e "$read_many")
machine_true=$(cpu_ms /bin/true)
echo '| board | a program starts later by | each further process by | a read of /proc/meminfo, of the machine'"'"'s | stepped seconds of `tessary record` in a second |'
echo '| --- | --- | --- | --- | --- |'
for name in vx4490p big64; do
  first=$(cpu_ms on_board $name -- /bin/true)
  further=$(cpu_ms on_board $name -- sh -c "$start_many")
  read=$(cpu_ms on_board $name -- perl -e "$read_many")
  record=$(cpu_ms on_board $name --time stepped -- "$tool" record -o "$recording" --duration $seconds)
  printf '| `%s` | %s ms | %s ms | %s us, %s us | %s |\n' $name "$(per "$first - $machine_true" 1 1)" \
    "$(per "$further - $first - $machine_start" $starts 2)" "$(per "($read - $first) * 1000" $reads 1)" \
    "$(per "$machine_read * 1000" $reads 1)" "$(per "$seconds * 1000" "$record" 0)"
done
