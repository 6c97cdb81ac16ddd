#!/usr/bin/env bash
# The screen of `watch`, on terminals of many kinds: see tests/cli/terminal.cpp.
. "$(dirname "$0")/lib.sh"

export TERM=xterm LC_ALL=C
readonly leave=$'\033[?25h\033[?1049l'
"$BOARD" run hostile --time stepped -- "$TESSARY" record -o "$work/drive" --duration 100 2>/dev/null </dev/null ||
  fail "record: exit code $?"

# CODE COLUMNS ROWS STEP.. -- ARGUMENT..: the screen that it took over is given back, whatever happened.
screen() {
  local code=$1 got=0
  shift
  "$TERMINAL" "$@" >"$work/out" 2>"$work/err" || got=$?
  [ "$got" -eq "$code" ] || fail "watch in ${*:1:9}: exit code $got: $(cat "$work/err")"
  [[ $(tail -c 40 "$work/out") == *"$leave"* ]] || fail "$*: the terminal is left as it is"
}
# COLUMNS: no line of a frame is longer.
narrow() {
  sed 's/\x1b\[?[0-9]*[hl]//g; s/\x1b\[[0-9]*m//g; s/\x1b\[[HKJ]/\n/g; s/\r//g' "$work/out" |
    awk -v most="$1" 'length > most { print; exit 1 }' >"$work/long" || fail "wider than $1: $(cat "$work/long")"
}

for size in "80 24" "40 10" "200 60"; do
  # shellcheck disable=SC2086
  screen 0 $size "see:0:00:01" type:h "see:end" type:h type:1 type:s type:$'\t' type:$'\033[C' "see:0:00:02" \
    type:$'\033[B' "see:0:01:02" type:$'\033[F' "see:0:01:40" type:$'\033[D' "see:0:01:39" type:$'\033[H' "see:0:00:01" \
    type:q -- "$TESSARY" watch "$work/drive"
  narrow "${size% *}"
done
screen 0 0 0 "see:0:00:30" type:q -- "$TESSARY" watch "$work/drive" --at 0:30  # as over a debug bridge
narrow 80
holds out "NOT READ"
screen 0 80 24 "see:0:00:01" size:30x8 "see:2024-01-01" see:$'\033[J' type:q -- "$TESSARY" watch "$work/drive"
screen 0 80 24 see:0:00:01 "type: " "see:0:00:03" "type: " type:q -- "$TESSARY" watch "$work/drive"

# Beyond an hour.
"$BOARD" run hostile --time stepped -- "$TESSARY" record -o "$work/hours" --interval 60000 --duration 5000 --monitors memory \
  2>/dev/null </dev/null || fail "record: exit code $?"
screen 0 80 24 "see: 1:12:00" type:$'\033[B' "see: 1:13:00" type:q -- "$TESSARY" watch "$work/hours" --at 1:12:00

# More room for one section after the other, and then for none: of five zones two are seen without.
"$BOARD" run hostile --time stepped -- "$TESSARY" record -o "$work/zones" --duration 1 --monitors process,thermal \
  2>/dev/null </dev/null || fail "record: exit code $?"
screen 0 80 10 see:0:00:01 type:$'\t' type:$'\t' see:frost type:$'\t' type:$'\t' type:$'\t' see:frost type:q -- \
  "$TESSARY" watch "$work/zones"

# Every way out, of this machine's screen and of a stream's.
for signal in 2 15 1; do
  screen 0 80 24 "see:memory" "signal:$signal" -- "$TESSARY" watch --interval 20
done
screen 0 80 24 "see:memory" type:+ type:- type:p "see:paused" type:q -- \
  "$TESSARY" watch --interval 20
screen 0 80 24 "see:ended" type:q -- bash -c "cat '$work/drive' | '$TESSARY' watch -"
got=0
"$TERMINAL" 80 24 "see:memory" "hang up" -- "$TESSARY" watch --interval 20 >"$work/out" 2>"$work/err" || got=$?
[ "$got" -lt 99 ] || fail "without its terminal the screen goes on: $got"

# The keys change the interval of what is measured here.
screen 0 80 24 "see: 100 ms" type:+ "see: 200 ms" type:- "see: 100 ms" type:q -- \
  "$BOARD" run hostile --time stepped -- "$TESSARY" watch --interval 100 --monitors memory

# A recording that is being written, from its start to where it is.
"$TESSARY" record -o "$work/growing" --interval 20 --monitors memory 2>/dev/null &
recorder=$!
written() { [ -e "$work/growing" ] && [ "$(wc -l <"$work/growing")" -ge 3 ]; }
until_true written
screen 0 80 24 "see:memory" "see:available" "see:available" type:q -- "$TESSARY" watch "$work/growing"
kill -s INT $recorder
wait $recorder

# No terminal: one screen, or a report for each sample.
COLUMNS=60 LINES=12 tessary watch --once --at 0:30 "$work/drive" >"$work/out" 2>"$work/err" || fail "--once: exit code $?"
[ "$(wc -l <"$work/out")" -le 12 ] || fail "--once has $(wc -l <"$work/out") lines"
awk 'length > 60' "$work/out" | grep -q . && fail "--once is wider than COLUMNS"
grep -q $'\033' "$work/out" && fail "--once in a file has escape sequences"
run 0 watch "$work/drive"
[ "$(grep -c '^Memory$' "$work/out")" -eq 100 ] || fail "$(grep -c '^Memory$' "$work/out") reports of 100 samples"
tessary watch "$work/drive" 2>"$work/err" | head -n 1 >"$work/out"
empty err
run 1 watch "$work/nothing"
holds err "nothing: No such file or directory"
run 1 watch --once /dev/null
# Without a figure nothing was read, whoever looks.
{
  echo '{"schema":"tessary-record","version":2,"interval_ms":1000,"monitors":["ddr"]}'
  echo '{"boot_time_ns":1000000000,"interval_ms":1000.0,"ddr":{"errors":[{"items":["*"],"error":"no device"}]}}'
} >"$work/empty"
for command in watch "watch --once" report; do
  # shellcheck disable=SC2086
  run 1 $command "$work/empty"
  holds out "no device"
done
run 2 watch --at noon "$work/drive"
finish
