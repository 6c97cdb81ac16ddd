#!/usr/bin/env bash
# What is asked for, and what is no question.
. "$(dirname "$0")/lib.sh"

for wrong in "" "fly" "report --interval 0" "report --interval -5" "report --interval 1e3" "report --top 0" \
  "report --monitors cpu,moon" "report --monitors" "report --pid 0" "report --pid x" "report left over" "record" \
  "record -o x --duration nan" "record -o x --duration 0" "record -o x --duration" "doctor --interval 5" \
  "version --json"; do
  # shellcheck disable=SC2086
  run 2 $wrong
  empty out
  holds err "--help"
done
[ ! -e x ] || fail "a recording with a wrong duration has begun"

run 0 --version
holds out "tessary v"
run 0 version
holds out "Build Date : "
for command in "" report record doctor selftest version; do
  # shellcheck disable=SC2086
  run 0 $command --help
  holds out "Example:"
  empty err
done

run 0 report --monitors memory,cpu --interval 20
[ "$(grep -v '^ ' "$work/out" | tr '\n' ' ')" = "CPU  Memory " ] || fail "sections: $(grep -v '^ ' "$work/out")"

finish
