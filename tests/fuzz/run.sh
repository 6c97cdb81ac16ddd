#!/bin/sh
# run.sh NAME BUILD: the fuzz target NAME of a build folder. With FUZZ_SECONDS so long, from what it has found already;
# without it a short run that is always the same.
set -eu
name=$1
found=$2/tests/fuzz/found/$name
here=$(cd "$(dirname "$0")" && pwd)
export ASAN_OPTIONS=verify_asan_link_order=0
export LSAN_OPTIONS="suppressions=$here/../leaks_by_design.supp:print_suppressions=0"

set -- -max_len=4096 -timeout=10 -close_fd_mask=1 -artifact_prefix="$found-"
# The record that a process sample keeps by design would be looked for after each run.
[ "$name" != process_stat ] || set -- "$@" -detect_leaks=0
if [ -n "${FUZZ_SECONDS:-}" ]; then
  set -- "$@" -max_total_time="$FUZZ_SECONDS"
else
  rm -rf "$found"
  set -- "$@" -runs=10000 -seed=1
fi
mkdir -p "$found"
exec "${found%/found/*}/fuzz_$name" "$@" "$found" "$here/corpus/$name"
