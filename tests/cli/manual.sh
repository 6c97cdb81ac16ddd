#!/usr/bin/env bash
# The man page has every command and option, and its examples do what they promise.
. "$(dirname "$0")/lib.sh"

plain=$work/plain
sed 's/\\-/-/g; s/\\f[A-Z]//g' "$MANUAL" >"$plain"

# The words of the completions are all that there is.
run 0 completion bash
while read -r command options; do
  grep -qE "^\.BR? $command\b" "$plain" || fail "the man page lacks the command $command"
  for option in $options; do
    case $option in
      -*) sed -n '/^\.SH OPTIONS/,$p' "$plain" | grep -qE -- "^\.B[IR]?( | .* )$option\b" ||
        fail "the man page lacks $option of $command" ;;
    esac
  done
done < <(sed -nE "s/^ +([a-z]+)\) COMPREPLY=.*-W '([^']*)'.*/\1 \2/p" "$work/out")

# On a board that has everything, where an hour is over at once.
mkdir "$work/bin" "$work/here"
ln -s "$TESSARY" "$work/bin/tessary"
count=0
while read -r example; do
  count=$((count + 1))
  (cd "$work/here" && PATH=$work/bin:$PATH timeout --kill-after=5 60 "$BOARD" run vx4490p --time stepped -- \
    bash -o pipefail -c "$example" >"$work/out" 2>"$work/err" </dev/null) ||
    fail "$example: exit code $?: $(head -c 300 "$work/err")"
  empty err
done < <(sed -n '/^\.SH EXAMPLES/,/^\.fi/p' "$plain" | grep -v '^\.')
[ "$count" -ge 5 ] || fail "$count examples"
[ "$(wc -l <"$work/here/drive.jsonl")" -eq 601 ] || fail "ten minutes have $(wc -l <"$work/here/drive.jsonl") lines"
finish
