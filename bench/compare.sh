#!/usr/bin/env bash
# How often `tessary compare` errs, on boards that do not exist: recordings of 600 s of one board with two seeds differ by
# chance alone; another board does 5 points more on one core. Then how long it takes for two hours on each side.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

readonly PAIRS=${PAIRS:-200}
readonly SECONDS_EACH=600 SECONDS_LONG=7200
require_packages "${BUILD_PACKAGES[@]}" jq time
build_preset release tessary_tool tessary_board_command
tessary=build/release/tools/tessary
board=build/release/simulator/bin/tessary-board
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# BOARD SEED SECONDS FILE
record() {
  "$board" run "$1" --seed "$2" --time stepped -- \
    "$tessary" record -o "$4" --duration "$3" --interval 1000 2>/dev/null
}

# How many figures of a comparison are not the same; those of the figure in $1 alone when it is given.
changes() {
  "$tessary" compare "$work/base.jsonl" "$work/new.jsonl" --json >"$work/json" || true
  jq --arg figure "${1:-}" '[.figures[] | select($figure == "" or .figure == $figure)
    | select(.verdict | IN("worse", "better", "changed"))] | length' "$work/json"
}

# PAIRS BOARD NEW [FIGURE]: in how many pairs anything, or the figure, is not the same.
pairs_that_differ() {
  local count=$1 pair pairs=0 figures=0 compared=0 found
  shift
  for pair in $(seq "$count"); do
    record "$1" $((2 * pair)) "$SECONDS_EACH" "$work/base.jsonl" &
    record "$2" $((2 * pair + 1)) "$SECONDS_EACH" "$work/new.jsonl"
    wait $!
    found=$(changes "${3:-}")
    figures=$((figures + found))
    pairs=$((pairs + (found > 0)))
    compared=$((compared + $(jq '[.figures[] | select(.verdict != "not enough data")] | length' "$work/json")))
  done
  if [ -n "${3:-}" ]; then
    echo "$pairs of $count pairs"
  else
    echo "$pairs of $count pairs, $figures of $compared figures"
  fi
}

# BOARD CORE FILE: the board, but the core does 5 points more.
raise() {
  "$board" show "$1" --json | jq --argjson core "$2" '
    .cores |= [.[] | . as $core | range($core.count // 1) | $core | del(.count)]
    | .cores[$core].load.nice = (.cores[$core].load.nice // 0) + 5' >"$3"
}

echo "Two seeds of one board, $SECONDS_EACH s: figures that are not the same"
for name in vx4490p vx4410p; do
  echo "  $name: $(pairs_that_differ "$PAIRS" "$name" "$name")"
done

echo "One core's load 5 points higher: seen by its load"
for core in 0 4; do
  raise vx4490p "$core" "$work/raised.json"
  echo "  core $core: $(pairs_that_differ $((PAIRS / 2)) vx4490p "$work/raised.json" "cpu.cores[core=$core].load_percent")"
done

echo "$SECONDS_LONG s against $SECONDS_LONG s"
record vx4490p 1 "$SECONDS_LONG" "$work/base.jsonl" &
record vx4490p 2 "$SECONDS_LONG" "$work/new.jsonl"
wait $!
/usr/bin/time -f "  %e s, %U s of CPU time, %M KiB" \
  "$tessary" compare "$work/base.jsonl" "$work/new.jsonl" --json >"$work/json" || true
echo "  $(jq '.figures | length' "$work/json") figures, $(du -cb "$work"/*.jsonl | tail -n 1 | cut -f1) bytes"
