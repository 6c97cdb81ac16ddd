#!/usr/bin/env bash
# What `tessary serve` costs with a hundred boards that send a sample a second, once it keeps an hour of them.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

readonly BOARDS=${BOARDS:-100} SECONDS_KEPT=${SECONDS_KEPT:-3600} SECONDS_MEASURED=${SECONDS_MEASURED:-60}
require_packages "${BUILD_PACKAGES[@]}" python3
build_preset release tessary_tool tessary_board_command
tessary=build/release/tools/tessary
board=build/release/simulator/bin/tessary-board
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The figures of an hour and of what is measured, of each kind of board.
for model in vx2140 vx2210 vx4400p vx4410p vx4490p; do
  "$board" run "$model" --time stepped -- \
    "$tessary" record -o "$work/$model.jsonl" --duration $((SECONDS_KEPT + SECONDS_MEASURED)) 2>/dev/null
done
grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- || true
date -u +%Y-%m-%d
python3 bench/serve.py "$tessary" "$work" "$BOARDS" "$SECONDS_KEPT" "$SECONDS_MEASURED" "$work"/*.jsonl
