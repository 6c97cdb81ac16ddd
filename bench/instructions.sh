#!/usr/bin/env bash
# The user instructions that callgrind counts in a sample, by the piece. Prints a line a row: name, instructions, piece.
#   bench/instructions.sh library|floor
set -euo pipefail
cd "$(dirname "$0")/.."
program=build/release/bench/tessary_instructions
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The C library chooses its string functions by the processor: all have SSE2. What they take depends on where a text lies,
# and that on the environment.
env -i PATH="$PATH" GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2 ANDROID_LOG_TAGS='*:S' \
  valgrind --tool=callgrind --collect-atstart=no --callgrind-out-file="$work/out" "$program" "$1" >"$work/log" 2>&1 ||
  { cat "$work/log" >&2; exit 1; }
sed -n 's/^desc: Trigger: Client Request: //p; s/^totals: //p' "$work"/out.* | paste - - >"$work/counted"
awk -F '\t' 'NR == FNR {total[$1] = $2; next} {printf "%s\t%.0f\t%s\n", $1, total[$1] / $2, $3}' \
  "$work/counted" <("$program" --list)
