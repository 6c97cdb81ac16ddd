#!/usr/bin/env bash
# Budgets, of recordings and of one that is being made.
. "$(dirname "$0")/lib.sh"

cd "$work" || exit 1
record() { "$BOARD" run vx4490p --time stepped -- "$TESSARY" record --monitors cpu,process,thermal "$@"; }
record -o drive.jsonl --duration 120 2>err || fail "recording: $(cat err)"

cat >kept.json <<'JSON'
{
  "cpu.load_percent": {"p95": {"max": 80}, "mean": {"min": 5}},
  "thermal.zones[type=gpu].temperature_celsius": {"max": {"max": 95}},
  "process.top[name=navigation].cpu_percent": {"mean": {"max": 90}, "over": {"limit": 60, "seconds": 5}}
}
JSON
run 0 check drive.jsonl kept.json
holds out "0 of 5 budgets not kept"
empty err

cat >passed.json <<'JSON'
{
  "cpu.load_percent": {"p95": {"max": 10}},
  "cpu.laod_percent": {"p95": {"max": 80}},
  "thermal.zones[type=gpu].temperature_celsius": {"max": {"max": 60}},
  "memory.available_kib": {"min": {"min": 1}}
}
JSON
run 1 check drive.jsonl drive.jsonl passed.json --junit check.xml
holds out "8 of 8 budgets not kept"
holds check.xml '<testsuite name="drive.jsonl" tests="4" failures="2" errors="2" time="120.000">'
holds check.xml '<error message="memory.available_kib: in no sample"/>'
run 1 check drive.jsonl passed.json --json
holds out '"error": "there is no figure cpu.laod_percent"'

printf '{\n "cpu.load_percent": {\n  "p59": {"max": 1}}}\n' >mistyped.json
run 2 check drive.jsonl mistyped.json
holds err "mistyped.json:3: cpu.load_percent.p59: is not known here"
run 2 check drive.jsonl
run 2 check drive.jsonl none.json
holds err "none.json: No such file or directory"

# While it is recorded: marked in the file, told, and ended when that is wanted. The sample stays one.
record -o live.jsonl --duration 120 --check passed.json 2>err && fail "limits that were passed end with 0"
[ "$(grep -c '"marks":' live.jsonl)" -eq 1 ] || fail "$(grep -c '"marks":' live.jsonl) marks"
[ "$(wc -l <live.jsonl)" -eq 121 ] || fail "$(wc -l <live.jsonl) lines"
valid record_sample live.jsonl --lines
holds err "temperature_celsius: 60."
holds err "cpu.load_percent: "
record -o live.jsonl --duration 120 --check passed.json --stop-on limit 2>err && fail "stopped with 0"
tail -n 1 live.jsonl | grep -q '"marks":\["thermal' || fail "the last sample is not the marked one"
[ "$(wc -l <live.jsonl)" -lt 100 ] || fail "$(wc -l <live.jsonl) lines"
run 0 check live.jsonl kept.json
record -o live.jsonl --duration 20 --check kept.json 2>err || fail "kept budgets: $(cat err)"
empty err
run 2 record -o live.jsonl --stop-on limit
run 2 record -o live.jsonl --check mistyped.json
finish
