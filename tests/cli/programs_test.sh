#!/usr/bin/env bash
# Programs that are hard to put on a board: programs_test.sh TESSARY_BOARD PROGRAMS_FOLDER
set -u
tessary_board=$1
programs=$2
failures=0

# expect NAME STATUS OUTPUT COMMAND ..: both streams of the command, and what it ends with.
expect() {
  local name=$1 status=$2 output=$3 actual actual_status
  shift 3
  actual=$("$@" 2>&1)
  actual_status=$?
  [ "$actual_status" = "$status" ] && [ "$actual" = "$output" ] && return
  printf 'FAILED: %s\nexpected %s: %s\ngot %s: %s\n' "$name" "$status" "$output" "$actual_status" "$actual" >&2
  failures=$((failures + 1))
}
run() { "$tessary_board" run "$@"; }

expect 'libraries of its own' 0 $'42\n42' run vx4490p -- "$programs/tessary_plugin_host"

exit $((failures > 0))
