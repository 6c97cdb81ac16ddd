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
# Started not by the function: signals are for the tool, not for a shell that waits for it.
record_in_background() {
  "$TESSARY" record "$@" 2>"$work/err" &
  recorder=$!
}

run 0 record -o "$file" --duration "$(seconds 0.3)" --interval 50
empty out
quiet "to its end"
lines 3 || fail "a recording of 0.3 s at 50 ms has $(wc -l <"$file") lines"
check_file "to its end"
sed 1d "$file" | grep -q '"procmem"' && fail "procmem is recorded without being asked for"

# Shorter than an interval: one sample of that length.
run 0 record -o "$file" --duration "$(seconds 0.02)" --interval 3600000 --monitors memory
[ "$(wc -l <"$file")" -eq 2 ] || fail "a short recording has $(wc -l <"$file") lines"
run 2 record -o "$file" --interval 9
holds err "--interval: '9' is no number from 10 to"

# An hour's interval is not waited for.
for signal in INT TERM HUP; do
  for interval in 10 3600000; do
    rm -f "$file"
    record_in_background -o "$file" --interval $interval --monitors cpu,process,net
    until_true lines $((interval == 10 ? 4 : 1))
    kill -s $signal $recorder
    wait $recorder || fail "SIG$signal at interval $interval: exit code $?"
    quiet "SIG$signal at interval $interval"
    check_file "SIG$signal at interval $interval"
  done
done

# What is begun to outlive its terminal does.
rm -f "$file"
(
  trap '' HUP
  exec "$TESSARY" record -o "$file" --interval 10 --monitors memory 2>"$work/err"
) &
recorder=$!
until_true lines 2
kill -s HUP $recorder
until_true lines $(($(wc -l <"$file") + 3))
kill -s INT $recorder
wait $recorder || fail "a recording that goes on without its terminal: exit code $?"

# A reader that stalls holds the first Ctrl-C up, but not the second.
mkfifo "$work/pipe"
sleep 1000 <"$work/pipe" &
stalled=$!
fill() { LC_ALL=C dd if=/dev/zero of="$work/pipe" oflag=nonblock bs=4096 count=1000 2>&1 | grep -q 'temporarily'; }
until_true fill
record_in_background -o "$work/pipe" --monitors memory
opened() { [ -n "$(find "/proc/$recorder/fd" -lname "$work/pipe")" ]; }
until_true opened
kill -s INT $recorder
kill -s TERM $recorder
ended() { ! kill -s 0 $recorder 2>/dev/null; }
until_true ended
wait $recorder
case $? in
  130 | 143) ;;  # the kernel may hand over the later one first
  *) fail "the second signal does not end a recording whose reader stalls" ;;
esac
kill $stalled

# Killed, in the middle of a line or not: what can be read is what was written.
for name in recording.jsonl recording$gz; do
  file=$work/$name
  rm -f "$file"
  record_in_background -o "$file" --interval 10 --monitors memory
  until_true lines 3
  kill -s KILL $recorder
  wait $recorder 2>/dev/null
  run 0 report "$file"
  holds out "Memory"
  empty err
done
file=$work/recording.jsonl

# Two writers: the second is refused, and does no harm.
rm "$file"
# Its own words, of samples that come late, are not among those of the second.
"$TESSARY" record -o "$file" --interval 10 --monitors memory 2>"$work/first" &
recorder=$!
until_true lines 3
run 1 record -o "$file" --duration 0.01
holds err "$file: another recording is being written to it"
# Removed while it is written: it goes on in a new file.
rm "$file"
until_true lines 3
kill $recorder
wait $recorder || fail "a removed file: exit code $?"
check_file "a removed file"
holds first "$file: was removed; the recording goes on in a new file"

# In parts, compressed, each a recording of its own; a later recording overwrites none.
for first in 1 3; do
  run 0 record -o "$work/part.jsonl$gz" --rotate 1K --interval 10 --duration "$(seconds 0.1)" --monitors memory,thermal,cpu
  file=$work/part
  gunzip -cf "$work/part-000$first.jsonl$gz" >"$file" || fail "gunzip does not take part $first"
  check_file "part $first"
done
# PART: when it begins, by both clocks.
begin_of() {
  gunzip -cf "$work/part-000$1.jsonl$gz" | sed -n '1s/.*"boot_time_ns":\([0-9]*\),"unix_time_ns":\([0-9]*\),.*/\1 \2/p'
}
read -r boot unix < <(begin_of 1)
read -r later_boot later_unix < <(begin_of 2)
[ "$later_boot" -gt "$boot" ] && [ "$later_unix" -gt "$unix" ] || fail "the second part begins with the first"
run 2 record -o - --rotate 1K
run 2 record -o "$file" --rotate 5m
holds err "--rotate: '5m' is no size (500K, 64M, 2G) and no time"
file=$work/recording.jsonl

# Disk full: the file keeps its whole lines, and the error names it.
for option in "" ${gz:+--compress}; do
  (
    ulimit -f 32
    # shellcheck disable=SC2086
    "$TESSARY" record -o "$file" --interval 10 --top all $option 2>"$work/err"
  ) && fail "a full disk is no error"
  holds err "$file: File too large"
  run 0 report "$file"
  empty err
  [ -n "$option" ] || check_file "disk full"
done

# Behind what is there already, a full disk cuts off its own lines alone.
echo "what was there" >"$file"
(
  ulimit -f 32
  "$TESSARY" record -o - --interval 10 --top all >>"$file" 2>/dev/null
)
[ "$(head -n 1 "$file")" = "what was there" ] || fail "a full disk destroys what was there"
[ -z "$(tail -c 1 "$file")" ] || fail "disk full, appending: the last line is not whole"

run 1 record -o "$work/none/such" --duration 1
holds err "$work/none/such: No such file or directory"
if [ -w /dev/full ]; then
  run 1 record -o /dev/full --duration 1
  holds err "/dev/full: No space left on device"
fi

# From a stream, of the first version of the format, with rubbish in between.
{
  echo '{"schema":"tessary-record","version":1,"library":"2.3.2","interval_ms":1000,"monitors":["memory"]}'
  echo '{"boot_time_ns":1000000000,"interval_ms":1000.0,"memory":{"total_kib":1024}}'
  echo 'rubbish'
  echo '{"boot_time_ns":2000000000,"interval_ms":1000.0,"memory":{"available_kib":2048,"errors":[{"items":["swap_total_kib"],"error":"no swap"}]}}'
  printf '{"boot_time_ns":3000000000,"inter'
} >"$file"
got=0
tessary report - <"$file" >"$work/out" 2>"$work/err" || got=$?
[ $got -eq 0 ] || fail "a recording of version 1: exit code $got"
holds out "2.0 MiB"
holds out "no swap"
holds err "tessary: standard input:3: skipped: no JSON"
run 2 report "$file" --pid 1
holds err "--pid is for this machine"
run 1 report /dev/null
holds err "tessary: /dev/null: holds no recording"
run 1 report "$work/none"
holds err "$work/none: No such file or directory"

finish
