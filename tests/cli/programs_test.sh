#!/usr/bin/env bash
# Programs that are hard to put on a board: programs_test.sh TESSARY_BOARD PROGRAMS_FOLDER
set -u
tessary_board=$1
programs=$2
failures=0
victim=
scratch=$(mktemp -d)
trap 'kill "$victim" 2>/dev/null; rm -rf "$scratch"' EXIT
export TMPDIR=$scratch/tmp
mkdir "$TMPDIR"

# expect NAME STATUS OUTPUT COMMAND ..: both streams of the command, and what it ends with.
expect() {
  local name=$1 status=$2 output=$3 actual actual_status
  shift 3
  actual=$("$@" 2>&1)
  actual_status=$?
  [ "$actual_status" = "$status" ] && [ "$actual" = "$output" ] && return
  printf 'FAILED: %s\nexpected %s: %s\ngot %s: %s\n' "$name" "$status" "$output" "$actual_status" "$actual" >&2
  failures=$((failures + 1))
}
run() { "$tessary_board" run "$@"; }

# Debian's static busybox, and no other: the two cannot be installed together, so that it is only unpacked.
(cd "$scratch" && apt-get download -q busybox-static && dpkg-deb -x ./*.deb static) >"$scratch/log" 2>&1 ||
  { cat "$scratch/log" >&2; exit 1; }
PATH=$scratch/static/bin:$PATH
busybox=$scratch/static/bin/busybox

expect 'libraries of its own' 0 $'42\n42' run vx4490p -- "$programs/tessary_plugin_host"

# A board that stands still, with a process that the machine has, too.
sleep 1000 &
victim=$!
cat >"$scratch/still.json" <<END
{"model": "still",
 "cores": [{"count": 3}],
 "memory": {"total_kb": 4000000, "free_kb": 1000000, "available_kb": 3000000},
 "thermal_zones": [{"type": "skin", "temperature": 41}],
 "interfaces": [{"name": "eth7"}],
 "processes": [{"pid": 500, "name": "navigation", "vsize_kb": 9000, "rss_kb": 4000, "user": 25},
               {"pid": $victim, "name": "not_a_sleep"}],
 "nodes": {"/proc/version": "Linux version 5.15.41-board (builder) #1 SMP\n"},
 "faults": [{"node": "/sys/class/thermal/thermal_zone0/temp", "kind": "read", "error": "EAGAIN", "at_ms": 3600000}]}
END
sed 's/, "at_ms": 3600000//' "$scratch/still.json" >"$scratch/failing.json"
still() { run "$scratch/still.json" -- "$@"; }
reader=$programs/tessary_static_reader

# A static program sees the board alone, by whatever call it asks.
expect paths 0 $'1 text: Linux version 5.15.41-board (builder) #1 SMP\n
/proc/500
comm: navigation\n
/proc/version' still "$reader" paths "$scratch"
expect folder 0 '. .. eth7 ' still "$reader" folder /sys/class/net
expect 'folder of a process' 0 1 still busybox sh -c "'$reader' folder /proc/500 | grep -c ' stat '"
expect 'started in a folder of the board' 0 $'navigation\n/proc/500' still dash -c 'cd /proc/500; busybox sh -c "cat comm; pwd"'
expect mountinfo 0 '20 1 0:20 / / rw,relatime - ext4 /dev/root rw,relatime' still busybox head -n 1 /proc/self/mountinfo
expect status 0 $'100444 4096 agree\n100444 0 agree\n40555 0 agree\nNo such file or directory' still "$reader" status
expect refusals 0 'Is a directory, Numerical result out of range, Permission denied, /proc/500' still "$reader" refusals
expect system 0 '4000000 kB, 5.15.41-board, 3 processors by affinity, 3 online' still "$reader" system
expect 'kept open' 0 moves still "$reader" kept-open
expect 'closed for others' 0 '0 1 0 1 ' still "$reader" closing
expect threads 0 '804 right, child 0' still "$reader" threads
expect 'failing reads' 1 'cat: read error: Resource temporarily unavailable' \
  run "$scratch/failing.json" -- busybox cat /sys/class/thermal/thermal_zone0/temp

# No signal reaches a process of the machine that has the number of one of the board's.
expect signals 0 "Operation not permitted, No such process, there, there,\
 Operation not permitted, No such process, priority, child ended by 9" still "$reader" signals "$victim" $$
kill -0 "$victim" || { echo 'FAILED: a process of the machine was hit' >&2; failures=$((failures + 1)); }

# The machine's network is refused, or asked for.
expect netlink 0 "tessary-board: the network's configuration would be the machine's: refused; --machine-network allows it
Operation not permitted" still "$reader" netlink
expect 'machine network' 0 open run "$scratch/still.json" --machine-network -- "$reader" netlink

# A static busybox: its own reading, folders as working folders, and what it starts, static or not.
expect ps 0 "500 root navigation $victim root not_a_sleep" \
  still busybox sh -c 'echo $(busybox ps | grep -v PID | sort -n)'
expect free 0 'Mem: 4000000 1000000' still busybox sh -c 'busybox free | awk "/Mem/ {print \$1, \$2, \$4}"'
expect top 0 '500 navigation' still busybox sh -c 'busybox top -bn1 | awk "/navig/ {print \$1, \$NF}"'
expect commands 0 $'/sys/class/net\neth7\n500' still busybox sh -c 'cd /sys/class/net; pwd; ls; ls /proc | grep 500'
expect 'of a preloaded shell' 0 '500 4000000' run "$scratch/still.json" -- \
  sh -c 'busybox ps | awk "/navig/ {printf \$1 \" \"}"; env busybox free | awk "/Mem/ {print \$2}"'
# Started from a program of a recording's middle, it is there, too.
echo '{"model": "x", "frames": [{"at_ms": 0, "nodes": {"/proc/version": "early\n"}},
  {"at_ms": 1000000, "nodes": {"/proc/version": "late\n"}}]}' >"$scratch/frames.json"
expect 'from the middle' 0 $'late\nlate' run "$scratch/frames.json" --from 1000 -- sh -c 'cat /proc/version; env busybox cat /proc/version'
printf '#! %s sh\ncat /proc/version\n' "$busybox" >"$scratch/script"
chmod +x "$scratch/script"
expect 'by its interpreter' 0 'Linux version 5.15.41-board (builder) #1 SMP' still "$scratch/script"
expect 'seam of choice' 0 'Linux version 5.15.41-board (builder) #1 SMP' \
  run "$scratch/still.json" --seam notify -- cat /proc/version

# It ends as the program does, and leaves nothing behind.
expect 'exit code' 7 '' still busybox sh -c 'exit 7'
expect signal 143 '' sh -c "{ '$tessary_board' run '$scratch/still.json' -- busybox sh -c 'kill \$\$'; } 2>/dev/null"
expect 'not found' 127 'tessary-board: nosuch: No such file or directory' \
  run "$scratch/still.json" --seam notify -- nosuch
# Who reads what it prints does not wait for what it has started beside itself.
mkfifo "$scratch/output" "$scratch/ready"
still busybox sh -c 'sleep 1000 >/dev/null 2>&1 & echo $!' >"$scratch/output" &
exec 9<"$scratch/output"
read -r sleeper <&9
read -r -t 20 <&9  # until its end
[ $? -eq 1 ] || { echo 'FAILED: the output was held open' >&2; failures=$((failures + 1)); }
exec 9<&-
kill "$sleeper"
"$tessary_board" run "$scratch/still.json" -- \
  busybox sh -c "echo >'$scratch/ready'; while :; do read -r _ </proc/version; done" &
read -r _ <"$scratch/ready"
kill -TERM $!
wait $! 2>/dev/null
expect 'passes signals on' 0 143 echo $?
# It stops with the program, and goes on with it.
"$tessary_board" run "$scratch/still.json" -- busybox sh -c 'kill -STOP $$; echo goes on' >"$scratch/stopped" &
stopped=$!
for attempt in $(seq 200); do [ "$(ps -o stat= -p $stopped | cut -c 1)" = T ] && break; sleep 0.05; done
kill -CONT $stopped
for attempt in $(seq 200); do kill -0 $stopped 2>/dev/null || break; sleep 0.05; done
kill -KILL $stopped 2>/dev/null
expect 'stops and goes on' 0 'goes on' cat "$scratch/stopped"
expect 'no traces' 0 '' ls "$TMPDIR"

# What each program is, and what cannot be served.
expect verbose 0 "tessary-board: busybox is statically linked: its system calls are answered
3" run "$scratch/still.json" -v -- busybox nproc
expect 'verbose, preloaded' 0 'tessary-board: true is dynamically linked: a library is preloaded' \
  run "$scratch/still.json" -v -- true
expect 'stepped notification' 2 'tessary-board: --seam notify is for real time: programs read the clock without a call' \
  run "$scratch/still.json" --time stepped --seam notify -- true
expect 'stepped and static' 0 'tessary-board: busybox is statically linked, and time is stepped: it will see the machine' \
  run "$scratch/still.json" --time stepped -- busybox true
expect 'stepped and started by a shell' 0 \
  "tessary-board: $busybox is statically linked, and time is stepped: it will see the machine" \
  run "$scratch/still.json" --time stepped -- sh -c 'env busybox true'
expect strict 126 'tessary-board: busybox is statically linked, and time is stepped: refused' \
  run "$scratch/still.json" --time stepped --strict -- busybox true
cp "$reader" "$scratch/foreign"
printf '\004' | dd of="$scratch/foreign" bs=1 seek=18 conv=notrunc status=none  # the machine: a 68000
expect foreign 126 "tessary-board: $scratch/foreign is for another architecture: refused" \
  run "$scratch/still.json" --strict -- "$scratch/foreign"
expect 'foreign child' 126 "tessary-board: $scratch/foreign is for another architecture: refused
sh: $scratch/foreign: Permission denied" still busybox sh -c "'$scratch/foreign'"
if [ "$(id -u)" -eq 0 ]; then
  privileged=$scratch/privileged
  cp /bin/true "$privileged"
  chown nobody "$privileged"
  chmod u+s "$privileged"
else
  privileged=/bin/su
fi
expect privileged 126 "tessary-board: $privileged gains privileges when it starts: refused" \
  run "$scratch/still.json" --strict -- "$privileged"

exit $((failures > 0))
