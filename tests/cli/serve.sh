#!/usr/bin/env bash
# `serve` through its command line; what it answers is looked at by tests/serve, which has more boards.
. "$(dirname "$0")/lib.sh"
server=
trap 'kill $server 2>/dev/null; rm -rf "$work"' EXIT

run 2 serve one two=
holds err "the source two= lacks its path"
run 2 serve front=a front=b
holds err "two sources are called front"
run 2 serve a/drive b/drive
holds err "two sources are called drive: name them, as front=b/drive"
run 2 serve one=- two=-
holds err "standard input can be read once"
run 2 serve --listen nowhere: drive
holds err "'nowhere:' is no address"
run 2 serve --keep much drive
holds err "'much' is no time"

if ! run 1 serve --listen 192.0.2.1:1 drive || grep -qF 'libmicrohttpd was not found' "$work/err"; then
  finish
fi
holds err "192.0.2.1:1: "

# PATH [HEADER]: one request, by the shell alone.
get() {
  exec 9<>"/dev/tcp/127.0.0.1/$port"
  printf 'GET %s HTTP/1.0\r\nHost: 127.0.0.1\r\n%s\r\n' "$1" "${2:+$2$'\r\n'}" >&9
  tr -d '\r' <&9 >"$work/out"
  exec 9>&-
}
# ARGUMENT..: starts the server; $port is where it listens.
start() {
  : >"$work/err"
  "$TESSARY" serve --listen 127.0.0.1:0 "$@" 2>"$work/err" &
  server=$!
  until_true grep -qs 'http://127.0.0.1:[0-9]*/' "$work/err"
  port=$(sed -n 's|.*http://127\.0\.0\.1:\([0-9]*\)/$|\1|p' "$work/err")
}
# It ends well, with the signal.
stop() {
  kill -s "$1" $server
  got=0
  wait $server || got=$?
  [ "$got" -eq 0 ] || fail "after $1: exit code $got: $(cat "$work/err")"
}
answers() { get "$1" && grep -qF -- "$2" "$work/out"; }

# A finished recording is no news, but it can be looked at; a line that is none is said.
"$BOARD" run vx4490p --time stepped -- "$TESSARY" record -o "$work/drive" --duration 5 2>"$work/err" </dev/null ||
  fail "record: exit code $?: $(cat "$work/err")"
touch -d '1 hour ago' "$work/drive"
start "$work/drive"
until_true answers /metrics 'tessary_serve_samples_total 5'
holds out 'tessary_up{board="VX4490P"} 0'
lacks out 'tessary_cpu_load_ratio'
get /recording
sed '1,/^$/d' "$work/out" | grep -F boot_time_ns >"$work/kept"
diff <(cat "$work/drive") "$work/kept" >"$work/difference" || fail "/recording: $(head -c 300 "$work/difference")"

# Pages for 80 MB, which is more than are on their way at a time: one that was sent makes room for the next. Of each the
# head alone, since it counts as much.
exec 9<>"/dev/tcp/127.0.0.1/$port"
{
  printf 'HEAD / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n%.0s' {1..499}
  printf 'HEAD / HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n'
} >&9
cat <&9 >"$work/out"
exec 9>&-
[ "$(grep -c '^HTTP/1\.. ' "$work/out")" -eq 500 ] || fail "500 pages: $(grep -c '^HTTP/1\.. ' "$work/out") answers"
lacks out 'Retry-After'
stop TERM

# A file that grows, a stream, and one that never comes; both formats.
mkfifo "$work/stream"
: >"$work/growing"
start "front=$work/stream" "rear=$work/growing" "none=$work/never"
holds err "never: No such file or directory; it is looked for again"
"$BOARD" run vx2140 -- "$TESSARY" record -o "$work/stream" --interval 50 2>/dev/null </dev/null &
recorder=$!
until_true answers /metrics 'tessary_up{board="front"} 1'
holds out 'Content-Type: text/plain; version=0.0.4; charset=utf-8'
holds out 'tessary_up{board="none"} 0'
holds out 'tessary_up{board="rear"} 0'
echo rubbish >>"$work/growing"
cat "$work/drive" >>"$work/growing"
until_true answers /metrics 'tessary_up{board="rear"} 1'
holds out 'tessary_serve_bad_lines_total 1'
holds err 'rear: skipped a line: '
get /metrics 'Accept: application/openmetrics-text;version=1.0.0'
holds out 'Content-Type: application/openmetrics-text; version=1.0.0; charset=utf-8'
[ "$(tail -n 1 "$work/out")" = "# EOF" ] || fail "no end of OpenMetrics"
kill -s INT $recorder
wait $recorder
until_true answers /metrics 'tessary_up{board="front"} 0'
lacks out 'board="front",'
stop INT

# The memory is that of all boards together: what each may have is not enough for a block of these.
start --keep 40K "front=$work/drive" "rear=$work/drive"
until_true answers /metrics 'tessary_serve_samples_total 10'
kept=$(sed -n 's/^tessary_serve_kept_bytes //p' "$work/out")
[ "$kept" -le 40960 ] || fail "$kept bytes are kept, which are more than 40 KiB"
stop TERM

# Standard input, and an address that others reach.
"$TESSARY" serve --listen 0.0.0.0:0 - < <(tail -n 3 "$work/drive") 2>"$work/err" &
server=$!
until_true grep -qF 'whoever reaches this address' "$work/err"
port=$(sed -n 's|.*http://0\.0\.0\.0:\([0-9]*\)/$|\1|p' "$work/err")
until_true answers /metrics 'tessary_serve_samples_total 3'
holds out 'tessary_up{board="standard input"} 0'
stop HUP

# This machine.
start --interval 50 --monitors memory,cpu
until_true answers /metrics 'tessary_memory_total_bytes{board="'
holds out '} 1'
stop TERM
finish
