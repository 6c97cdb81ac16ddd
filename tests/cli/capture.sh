#!/usr/bin/env bash
# A capture is a board that gives the very texts of the machine that it was taken of.
. "$(dirname "$0")/lib.sh"

on() { timeout --kill-after=5 "$(seconds 60)" "$BOARD" run "$1" --time stepped -- "${@:2}" </dev/null; }

# Everything goes wrong on this board, one thing after the other: the text of each node, or why there is none, at each second.
on hostile "$TESSARY" capture -o "$work/captured.json" --duration 16 >"$work/out" 2>"$work/err" || fail "capture: exit code $?"
empty err
paths=$(grep -oE '^(\{"at_ms.*)?"/[^"]+' "$work/captured.json" | grep -oE '/.*' | sort -u | grep -vE '^(/proc|/sys/block|/sys/class/[a-z]+)$')
[ "$(wc -w <<<"$paths")" -gt 100 ] || fail "the capture has the nodes $paths"
number=0
for board in hostile "$work/captured.json"; do
  number=$((number + 1))
  # shellcheck disable=SC2086
  on "$board" bash -c 'for second in {0..16}; do echo "second $second"; cat "$@" /sys/class/thermal/*/temp 2>&1; ls /sys/block; sleep 1; done' \
    bash $paths >"$work/texts$number" 2>&1
done
[ "$(wc -l <"$work/texts1")" -gt 5000 ] || fail "the board has $(wc -l <"$work/texts1") lines"
cmp -s "$work/texts1" "$work/texts2" || fail "the texts are others: $(diff "$work/texts1" "$work/texts2" | head -n 20)"

head -n 1 "$work/captured.json" | grep -qF '"platform":"brindle","processors":8,"ticks_per_second":1000,"frames":[' ||
  fail "the capture begins with $(head -n 1 "$work/captured.json")"
[ "$(grep -c '"at_ms"' "$work/captured.json")" -eq 17 ] || fail "$(grep -c '"at_ms"' "$work/captured.json") frames of 16 s"

# Only what changes is in a frame: most of a board stands still.
[ "$(grep -c thermal_zone0/type "$work/captured.json")" -eq 1 ] || fail "a text that does not change is there again"

# Names of processes are in it, unless they are not to be.
grep -q short_lived "$work/captured.json" || fail "no names"
on hostile "$TESSARY" capture -o "$work/scrubbed.json" --duration 4 --scrub --monitors process,procmem || fail "scrub: exit code $?"
grep -qE 'short_lived|kthreadd|two words|worker-|\)\(b' "$work/scrubbed.json" && fail "names in a scrubbed capture"
on "$work/scrubbed.json" "$TESSARY" report --monitors process >"$work/out" || fail "report of a scrubbed capture: exit code $?"
holds out "process-500"

# This machine.
run 0 capture -o "$work/here.json" --duration 0.2 --interval 100
on "$work/here.json" "$TESSARY" report --interval 200 >"$work/out" 2>"$work/err" || fail "report of this machine: exit code $?"
empty err
holds out "Memory"
on "$work/here.json" grep MemTotal /proc/meminfo >"$work/captured"
cmp -s "$work/captured" <(grep MemTotal /proc/meminfo) || fail "another MemTotal: $(cat "$work/captured")"
finish
