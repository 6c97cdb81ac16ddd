#!/usr/bin/env bash
# deploy/tessary-bench with stand-ins for adb and the server: boards that come, go, hang and come back.
# shellcheck disable=SC1091,SC2154
. "$(dirname "$0")/../cli/lib.sh"
script=$(dirname "$0")/../../deploy/tessary-bench
export WORK=$work

# `adb devices` lists what stands in the file; a stream is a header, and then samples for as long as somebody reads.
cat >"$work/adb" <<'TEXT'
#!/usr/bin/env bash
case $1 in
  devices)
    echo "List of devices attached"
    cat "$WORK/devices" # which is not there while adb is in trouble
    ;;
  -s)
    echo "$2 $$ ${*:3}" >>"$WORK/streams"
    echo "header of $2"
    for sample in {1..3000}; do
      echo "sample" || exit
      sleep 0.02
    done
    ;;
esac
TEXT
# The server reads each stream, again when it has ended; but for that of the board "deaf".
cat >"$work/tessary" <<'TEXT'
#!/usr/bin/env python3
import os, signal, sys, threading

work = os.environ["WORK"]

def read(name, fifo):
    with open(work + "/read." + name, "a", buffering=1) as out:
        while True:
            with open(fifo) as lines:
                out.writelines(lines)

with open(work + "/servers", "a") as log:
    print(os.getpid(), *sys.argv[1:], file=log)
for source in sys.argv[2:]:
    name, _, fifo = source.partition("=")
    if fifo and name != "deaf":
        threading.Thread(target=read, args=(name, fifo), daemon=True).start()
signal.pause()
TEXT
chmod +x "$work/adb" "$work/tessary"

# Lists boards, all at once: adb has no moment in which it knows of none.
list() {
  printf '%s\n' "$@" >"$work/devices.new"
  mv "$work/devices.new" "$work/devices"
}

streams() { [ "$(grep -c "^$1 " "$work/streams")" -eq "$2" ]; }
servers() { [ "$(wc -l <"$work/servers")" -eq "$1" ]; }
headers() { [ -e "$work/read.$1" ] && [ "$(grep -c '^header' "$work/read.$1")" -eq "$2" ]; }
stream() { awk -v serial="$1" '$1 == serial {pid = $2} END {print pid}' "$work/streams"; }
ended() { ! kill -0 "$1" 2>/dev/null; }
said() { grep -qF -- "$1" "$work/err"; }

touch "$work/streams" "$work/servers"
printf 'AAA front\n# the other seat\n\nBBB rear' >"$work/names"
list 'AAA device' 'XXX unauthorized' 'YYY offline'
ADB=$work/adb TESSARY=$work/tessary "$script" --folder "$work/run" --names "$work/names" --every 0.05 \
  --remote "recorder -o -" -- --listen 127.0.0.1:9999 2>"$work/err" &
bench=$!
trap 'kill $bench 2>/dev/null; wait $bench; rm -rf "$work"' EXIT

until_true headers front 1
holds streams "exec-out recorder -o -"
read -r server arguments <"$work/servers"
case $arguments in
  "serve "*"front=$work/run/AAA.fifo"*" --listen 127.0.0.1:9999") ;;
  *) fail "the server's arguments: $arguments" ;;
esac
lacks streams XXX
lacks streams YYY

# A board of the list is no news to the server. A stream that ends is begun again.
list 'AAA device' 'BBB device'
until_true headers rear 1
kill "$(stream BBB)"
until_true headers rear 2
servers 1 || fail "the server was restarted for a board that it knew"
streams AAA 1 || fail "another board's stream was begun again"

# A board is unplugged, and its stream does not notice; then it is back.
old=$(stream BBB)
list 'AAA device'
until_true said "BBB is gone"
until_true ended "$old"
list 'AAA device' 'BBB device'
until_true headers rear 3

# adb fails for a while: nothing changes.
mv "$work/devices" "$work/devices.old"
failed_twice() { [ "$(grep -c 'devices: No such file' "$work/err")" -ge 2 ]; }
until_true failed_twice
mv "$work/devices.old" "$work/devices"
lacks err "AAA is gone"

# Boards that nobody has heard of: the server begins anew, and so do all streams. One of them is never read.
list 'AAA device' 'BBB device' '10.0.0.7:5555 device'
until_true servers 2
until_true headers 10.0.0.7:5555 1
until_true headers front 2
ended "$server" || fail "the first server still runs"
list 'AAA device' 'BBB device' '10.0.0.7:5555 device' 'deaf device'
until_true servers 3
until_true said "recording deaf"

# A server that has died comes back.
kill "$(awk 'END {print $1}' "$work/servers")"
until_true servers 4
until_true headers front 4

kill "$bench"
wait "$bench" || fail "it ends with $?"
for process in $(awk '{print $2}' "$work/streams") $(awk '{print $1}' "$work/servers"); do
  ended "$process" || fail "process $process still runs"
done
[ -z "$(ls "$work/run")" ] || fail "left in its folder: $(ls "$work/run")"
trap 'rm -rf "$work"' EXIT
finish
