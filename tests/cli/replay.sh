#!/usr/bin/env bash
# A recording is a board: recorded there, it is the recording again.
. "$(dirname "$0")/lib.sh"

sections=cpu,process,procmem,memory,thermal,disk,net,gpu,dsp,ddr
# BOARD FILE ARGUMENT..: records twenty samples there.
record_on() {
  timeout --kill-after=5 "$(seconds 60)" "$BOARD" run "$1" "${@:3}" --time stepped -- \
    "$TESSARY" record -o "$2" --duration "${seconds:-20}" --top all --monitors $sections >"$work/out" 2>"$work/err" </dev/null ||
    fail "$1: exit code $?: $(head -c 300 "$work/err")"
  empty err
}
same_figures() { "$(dirname "$0")/same_recording.py" "$1" "$2" >"$work/differences" || fail "$3: $(cat "$work/differences")"; }

boards=$("$BOARD" list | awk '{print $1}')
[ "${PATIENCE:-1}" -eq 1 ] || boards="hostile vx4490p"  # under an emulator or a sanitizer: few
for board in $boards; do
  record_on "$board" "$work/$board.jsonl"
  record_on "$work/$board.jsonl" "$work/again.jsonl"
  [ "$(wc -l <"$work/again.jsonl")" -eq 21 ] || fail "$board: $(wc -l <"$work/again.jsonl") lines"
  same_figures "$work/$board.jsonl" "$work/again.jsonl" "$board"
done

# Compressed, and cut short as by a power cut, it is a board as far as it goes.
if [ -n "$gz" ]; then
  gzip -k "$work/hostile.jsonl"
  head -c -20 "$work/hostile.jsonl.gz" >"$work/cut.jsonl.gz"
  # A sanitizer that has leaks to name starts a program for it when all have left the board, and then it is unpacked no more.
  ASAN_OPTIONS=${ASAN_OPTIONS:-}:detect_leaks=0 record_on "$work/hostile.jsonl.gz" "$work/again.jsonl"
  same_figures "$work/hostile.jsonl" "$work/again.jsonl" "hostile, compressed"
  [ "$("$BOARD" run "$work/cut.jsonl.gz" --seam notify -- head -n 1 /proc/meminfo)" = \
    "$("$BOARD" run "$work/hostile.jsonl" -- head -n 1 /proc/meminfo)" ] || fail "hostile, cut short: another MemTotal"
fi

# From the middle on, it is the rest of the recording; at twice the speed, the same in half the time.
seconds=14 record_on "$work/hostile.jsonl" "$work/again.jsonl" --from 6
{ head -n 1 "$work/hostile.jsonl" && tail -n 14 "$work/hostile.jsonl"; } >"$work/rest.jsonl"
same_figures "$work/rest.jsonl" "$work/again.jsonl" "hostile from its sixth second on"
sections=cpu,memory,thermal seconds=10 record_on "$work/hostile.jsonl" "$work/again.jsonl" --speed 2
sections=cpu,memory,thermal seconds=20 record_on "$work/hostile.jsonl" "$work/slow.jsonl"
awk 'NR % 2 == 1' "$work/slow.jsonl" >"$work/half.jsonl"
thermal() { grep -o '"thermal":.*' "$1"; }
cmp -s <(thermal "$work/half.jsonl") <(thermal "$work/again.jsonl") || fail "at twice the speed the temperatures are others"
finish
