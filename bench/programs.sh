#!/usr/bin/env bash
# What whole programs take that watch a machine's CPU, processes, memory, disks and network once a second: CPU seconds and the
# largest resident memory, beside 0, 500 and 2,000 processes that do nothing. Prints a line each: program, processes,
# seconds in the program, seconds in the kernel, KiB. Programs that are not installed are left out.
#   bench/programs.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
bench=$PWD/build/release/bench/tessary_bench
tessary=$PWD/build/release/tools/tessary
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export bench tessary work seconds

# node_exporter works when it is asked: once a second, by a program that is not measured.
cat >"$work/exporter" <<'END'
#!/usr/bin/env bash
prometheus-node-exporter --web.listen-address=127.0.0.1:19182 --log.level=error &
exporter=$!
for ((second = 0; second < seconds; ++second)); do
  sleep 1
  curl -s -o /dev/null http://127.0.0.1:19182/metrics || true
done
ticks=$(sed 's/.*) //' "/proc/$exporter/stat" | cut -d' ' -f12,13)
peak=$(sed -n 's/^VmHWM: *\([0-9]*\) kB/\1/p' "/proc/$exporter/status")
kill "$exporter"
awk -v peak="$peak" -v hertz="$(getconf CLK_TCK)" '{printf "%.2f %.2f %d\n", $1 / hertz, $2 / hertz, peak}' <<<"$ticks" >"$work/used"
END
chmod +x "$work/exporter"

# NAME COMMAND..: in a crowd of each size, in a namespace of its own, so that the machine's processes do not count.
measure() {
  local name=$1 crowd
  shift
  command -v "$1" >/dev/null || return 0
  for crowd in 0 500 2000; do
    if [ "$1" = "$work/exporter" ]; then
      unshare -pf --mount-proc "$bench" --crowd "$crowd" "$@" >/dev/null 2>&1 || true
    else
      unshare -pf --mount-proc "$bench" --crowd "$crowd" /usr/bin/time -f '%U %S %M' -o "$work/used" "$@" >/dev/null 2>&1 || true
    fi
    printf '%s\t%d\t%s\n' "$name" "$crowd" "$(tail -n 1 "$work/used" | tr ' ' '\t')"
  done
}

measure 'tessary record' "$tessary" record -o "$work/drive.jsonl" --interval 1000 --duration "$seconds"
measure 'tessary record, compressed' "$tessary" record -o "$work/drive.jsonl.gz" --interval 1000 --duration "$seconds"
measure 'pidstat -u' pidstat -u 1 "$seconds"
measure 'top -b' top -b -d 1 -n "$((seconds + 1))"
measure 'sadc' /usr/lib/sysstat/sadc -S DISK 1 "$((seconds + 1))" "$work/sa"
command -v prometheus-node-exporter >/dev/null && measure 'node_exporter' "$work/exporter"
