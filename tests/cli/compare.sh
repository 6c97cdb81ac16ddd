#!/usr/bin/env bash
# Recordings of simulated boards against each other.
. "$(dirname "$0")/lib.sh"

# FILE SEED BOARD [OPTION ..]
drive() {
  local file=$1 seed=$2 board=$3
  shift 3
  "$BOARD" run "$board" --seed "$seed" --time stepped -- "$TESSARY" record -o "$work/$file" --duration 600 \
    --monitors cpu,process,thermal "$@" 2>"$work/err" || fail "recording $file: $(cat "$work/err")"
}

cd "$work" || exit 1
drive base.jsonl 1 vx4490p
drive again.jsonl$gz 2 vx4490p
"$BOARD" show vx4490p --json | sed '0,/"nice": 0.5/s//"nice": 12/' >busier.json
drive busier.jsonl 3 "$work/busier.json"

# Two seeds of one board are the same; each core of a cluster with 11 points more is worse.
run 0 compare base.jsonl again.jsonl$gz
holds out "base base.jsonl: 600 samples, 600 s"
holds out "0 worse, 0 better, 0 changed"
empty err
run 1 compare base.jsonl busier.jsonl
grep -qE '^ *worse +cpu\.cores\[core=0\]\.load_percent ' out || fail "core 0 is not worse: $(cat out)"
grep -qE '^ *same +cpu\.cores\[core=4\]\.load_percent ' out || fail "core 4 is not the same: $(cat out)"
run 0 compare busier.jsonl base.jsonl --figures 'cpu.cores[core=0].load_percent'
grep -qE '^ *better +cpu\.cores\[core=0\]' out || fail "core 0 is not better: $(cat out)"
run 0 compare base.jsonl busier.jsonl --figures 'cpu.cores[core=0].load_percent' --least 60
cp out first
run 0 compare base.jsonl busier.jsonl --figures 'cpu.cores[core=0].load_percent' --least 60
cmp -s first out || fail "a comparison does not repeat"

# A temperature that creeps up says too little, and what was asked for by name is not passed over.
run 3 compare base.jsonl again.jsonl$gz --figures 'thermal.zones[type=skin].temperature_celsius'
holds out "needs about "
run 3 compare base.jsonl again.jsonl$gz --figures 'process.top[name=nobody].cpu_percent'
holds out "not compared: process.top[name=nobody].cpu_percent: in no sample of either side"

# Several a side; standard input.
run 0 compare base.jsonl again.jsonl$gz base.jsonl --with again.jsonl$gz base.jsonl again.jsonl$gz --figures cpu.load_percent
holds out "base base.jsonl again.jsonl$gz base.jsonl: 1800 samples, 1800 s"
tessary compare - busier.jsonl --json <base.jsonl >out || [ $? -eq 1 ] || fail "from standard input"
holds out '"schema": "tessary-compare"'
holds out '"verdict": "worse"'

# With a page of both.
run 0 compare base.jsonl again.jsonl$gz --figures cpu.load_percent --html page.html
holds out "1 same"
holds page.html "<html"
holds page.html "again.jsonl"

for wrong in "base.jsonl" "base.jsonl base.jsonl base.jsonl" "--with base.jsonl" "base.jsonl base.jsonl --least few" \
  "base.jsonl base.jsonl --figures cpu" "base.jsonl base.jsonl --figures cpu.laod_percent"; do
  # shellcheck disable=SC2086
  run 2 compare $wrong
done
holds err "there is no figure cpu.laod_percent"
run 1 compare base.jsonl none.jsonl
holds err "none.jsonl: No such file or directory"
finish
