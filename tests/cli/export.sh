#!/usr/bin/env bash
# Exports and summaries through the command line; what is in them is checked elsewhere.
. "$(dirname "$0")/lib.sh"

"$BOARD" run hostile --time stepped -- "$TESSARY" record -o "$work/drive$gz" --duration 20 2>/dev/null </dev/null ||
  fail "record: exit code $?"
run 0 summary "$work/drive$gz"
holds out "20 samples of 1000 ms"
holds out "cpu.load_percent"
holds out "--all has"
short=$(wc -l <"$work/out")
run 0 summary --all "$work/drive$gz"
[ "$(wc -l <"$work/out")" -gt $((2 * short)) ] || fail "--all has no more lines than the short summary"
run 0 summary --json "$work/drive$gz"
valid summary "$work/out"

for format in csv perfetto openmetrics html board; do
  run 0 export "$work/drive$gz" --format $format
  [ -s "$work/out" ] || fail "$format: nothing"
  empty err
done
run 0 export "$work/drive$gz" -o "$work/drive.csv"
empty out
[ "$(head -n 1 "$work/drive.csv" | tr -d '\r')" = "time,section,item,figure,value,unit" ] || fail "$(head -n 1 "$work/drive.csv")"

# Mistakes, each told in a line, none of which costs a file.
cp "$work/drive$gz" "$work/drive.csv.copy"
run 2 export "$work/drive$gz" -o "$work/drive.xyz"
holds err "drive.xyz: the name tells no format: give --format, one of csv, perfetto, openmetrics, html, board"
[ ! -e "$work/drive.xyz" ] || fail "a format that is not known has made a file"
run 2 export "$work/drive$gz" --format wav
run 2 export "$work/drive$gz" -o "$work/drive$gz" --format csv
holds err "is the recording itself"
cmp -s "$work/drive$gz" "$work/drive.csv.copy" || fail "the recording was overwritten"
run 1 export "$work/none" --format csv
holds err "none: No such file or directory"
run 1 export /dev/null --format csv
run 2 export "$work/drive$gz" --format csv --start noon
if [ -w /dev/full ]; then
  run 1 export "$work/drive$gz" -o /dev/full --format csv
  holds err "/dev/full: No space left on device"
fi
tessary export "$work/drive$gz" --format csv 2>"$work/err" | head -n 1 >"$work/out"
empty err

# A recording from before there was a wall clock.
{
  echo '{"schema":"tessary-record","version":1,"library":"2.3.2","interval_ms":1000,"monitors":["memory"]}'
  echo '{"boot_time_ns":1000000000,"interval_ms":1000.0,"memory":{"available_kib":1024}}'
} >"$work/old"
run 1 export "$work/old" --format openmetrics
holds err "--start"
run 0 export "$work/old" --format openmetrics --start 2026-11-21T18:36:22Z
holds out "tessary_memory_available_bytes"
mv "$work/out" "$work/by_date"
run 0 export "$work/old" --format openmetrics --start "$(date -d 2026-11-21T18:36:22Z +%s)"
cmp -s "$work/out" "$work/by_date" || fail "--start in seconds: $(cat "$work/out")"
finish
