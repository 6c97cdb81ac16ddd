#!/usr/bin/env bash
# A recording is whole, however it ends.
. "$(dirname "$0")/lib.sh"

file=$work/recording.jsonl
lines() { [ -e "$file" ] && [ "$(wc -l <"$file")" -ge "$1" ]; }
check_file() {
  head -n 1 "$file" >"$work/header"
  valid record_header "$work/header"
  valid record_sample "$file" --lines
  [ -z "$(tail -c 1 "$file")" ] || fail "$1: the last line is not whole"
}

run 0 record -o "$file" --duration 0.3 --interval 50
empty out
empty err
lines 4 || fail "a recording of 0.3 s at 50 ms has $(wc -l <"$file") lines"
check_file "to its end"
grep -q '"procmem"' "$file" && fail "procmem is recorded without being asked for"

# An hour's interval is not waited for.
for signal in INT TERM; do
  for interval in 10 3600000; do
    rm -f "$file"
    # Not by the function: the signal is for the tool, not for a shell that waits for it.
    ${EMULATOR:-} "$TESSARY" record -o "$file" --interval $interval --monitors cpu,process,net 2>"$work/err" &
    until_true lines $((interval == 10 ? 4 : 1))
    kill -s $signal $!
    wait $! || fail "SIG$signal at interval $interval: exit code $?"
    empty err
    check_file "SIG$signal at interval $interval"
  done
done

# Disk full: the file keeps its whole lines, and the error names it.
(
  ulimit -f 32
  ${EMULATOR:-} "$TESSARY" record -o "$file" --interval 10 --monitors memory 2>"$work/err"
) && fail "a full disk is no error"
holds err "$file: File too large"
lines 20 || fail "a full disk leaves $(wc -l <"$file") lines"
check_file "disk full"

run 1 record -o "$work/none/such" --duration 1
holds err "$work/none/such: No such file or directory"
if [ -w /dev/full ]; then
  run 1 record -o /dev/full --duration 1
  holds err "/dev/full: No space left on device"
fi

finish
