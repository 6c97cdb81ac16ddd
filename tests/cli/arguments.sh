#!/usr/bin/env bash
# What is asked for, and what is no question.
. "$(dirname "$0")/lib.sh"

for wrong in "" "fly" "report --interval 0" "report --interval -5" "report --interval 1e3" "report --top 0" \
  "report --monitors cpu,moon" "report --monitors" "report --pid 0" "report --pid x" "report left over" "record" \
  "record -o x --duration nan" "record -o x --duration 0" "record -o x --duration" "doctor --interval 5" \
  "version --json" "report --bogus" "help flight" "completion fish"; do
  # shellcheck disable=SC2086
  run 2 $wrong
  empty out
  holds err "--help"
done
[ ! -e x ] || fail "a recording with a wrong duration has begun"

# CODE ARGUMENT..: what the tool says on standard error, its first line alone.
says() {
  local words=$1
  shift
  # shellcheck disable=SC2086
  run 2 $1
  [ "$(head -n 1 "$work/err")" = "tessary: $words" ] || fail "tessary $1 says: $(cat "$work/err")"
}
says "'reprot' is no command: did you mean report?" "reprot"
says "'recrod' is no command: did you mean record?" "help recrod"
says "'fly' is no command" "fly away"
says "doctor does not take 'left' 'over'" "doctor left --json over"
says "record does not take '--intervall' '5': did you mean --interval?" "record -o file --intervall 5"
says "--pid: 'abc' is no process id: a number above 0, as ps shows it" "report --pid 1,abc"
says "--monitors: 'moon' is none of cpu, process, procmem, memory, thermal, disk, net, gpu, dsp, ddr" \
  "doctor --monitors cpu,moon"

run 1 report --interval 10 --pid 999999999
holds out "absent"
holds err "none of these processes could be read"
run 0 report --interval 10 --pid 999999999 --monitors cpu

run 0 --version
holds out "tessary v"
run 0 version
holds out "Build Date : "
run 0 --help
[ "$(head -n 1 "$work/out")" = "Examples:" ] || fail "help begins with: $(head -n 1 "$work/out")"
[ "$(sed -n '2,/^$/p' "$work/out" | grep -c '^  tessary ')" -eq 5 ] || fail "no five examples: $(cat "$work/out")"
for command in report record doctor selftest version help; do
  run 0 $command --help
  holds out "Example:"
  empty err
  mv "$work/out" "$work/asked"
  run 0 help $command
  cmp -s "$work/out" "$work/asked" || fail "help $command is not $command --help"
done

# Completions, as bash asks for them: words behind `tessary`, then what completes the last.
run 0 completion bash
completes() {
  local got
  got=$(. "$work/out" && COMP_WORDS=(tessary $1) && [ "${1: -1}" != " " ] || COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && _tessary && echo "${COMPREPLY[@]}")
  [ "$got" = "$2" ] || fail "'$1' is completed by '$got'"
}
completes "re" "report record"
completes "report --mon" "--monitors"
completes "report --monitors cpu,proc" "cpu,process cpu,procmem"
completes "report --interval " ""
completes "help sel" "selftest"
touch "$work/drive.jsonl"
completes "record -o $work/dri" "$work/drive.jsonl"
if command -v zsh >/dev/null; then
  run 0 completion zsh
  zsh -n "$work/out" || fail "the completions are no zsh"
fi

run 0 report --monitors memory,cpu --interval 20
[ "$(grep -v '^ ' "$work/out" | tr '\n' ' ')" = "CPU  Memory " ] || fail "sections: $(grep -v '^ ' "$work/out")"

finish
