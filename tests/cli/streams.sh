#!/usr/bin/env bash
# Only the tool's own words are in its output, and an output that fails is told of once.
. "$(dirname "$0")/lib.sh"

run 0 report --interval 20
empty err
lacks out "Changed Sample Time"
lacks out "CPU_MON"
grep -q $'\033' "$work/out" && fail "colour without a terminal"
run 0 report --interval 20 --monitors cpu --diagnostics
holds err "Changed Sample Time = 20"
holds err "CPU_MON_INTERFACE : Constructor done."
lacks out "Changed Sample Time"

# On a terminal: COLUMNS ARGUMENT..
on_terminal() {
  script -qec "stty cols $1 rows 0; '$TESSARY' ${*:2}" /dev/null </dev/null | tr -d '\r' >"$work/out"
}
on_terminal 60 report --interval 20 --monitors net
holds out "too wide for the terminal: "
holds out "received"
lacks out "  collisions"
on_terminal 0 report --interval 20 --monitors net  # as over adb: 80 columns
holds out "too wide for the terminal: "
holds out "dropped in"
on_terminal 60 report --interval 20 --monitors net --wide
lacks out "too wide"
holds out "collisions"
on_terminal 80 record -o - --interval 10 --duration "$(seconds 0.03)" --monitors memory
lacks out " samples, "
on_terminal 80 record -o "$work/recording" --interval 10 --duration "$(seconds 0.03)" --monitors memory
holds out " samples, "

# Colour is for a terminal that knows it and a reader who wants it.
coloured() { on_terminal 80 report --interval 20 --monitors memory && grep -q $'\033' "$work/out"; }
TERM=xterm NO_COLOR='' coloured || fail "no colour on a terminal"
TERM=dumb NO_COLOR='' coloured && fail "colour on a dumb terminal"
TERM=xterm NO_COLOR=1 coloured && fail "colour in spite of NO_COLOR"

# A reader that has gone is no error, and no noise.
tessary report --interval 20 2>"$work/err" | true
[ "${PIPESTATUS[0]}" -eq 0 ] || fail "a closed pipe is an error"
empty err
tessary record -o - --interval 10 --monitors memory 2>"$work/err" | head -n 2 >"$work/out"
[ "$(wc -l <"$work/out")" -eq 2 ] || fail "the first two lines of a recording are not there"
quiet "a recording whose reader has gone"

if [ -w /dev/full ]; then
  for command in "report --interval 20" "report --interval 20 --json" "doctor" "--help" "version"; do
    # shellcheck disable=SC2086
    tessary $command >/dev/full 2>"$work/err" && fail "$command: a full disk is no error"
    holds err "standard output: No space left on device"
  done
fi
tessary report --interval 20 >&- 2>"$work/err" && fail "a closed output is no error"
holds err "standard output: Bad file descriptor"

finish
