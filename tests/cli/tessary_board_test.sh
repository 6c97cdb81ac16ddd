#!/bin/sh
# tessary-board through its command line: tessary_board_test.sh TESSARY_BOARD PRELOAD_LIBRARY BUILD_FOLDER
tessary_board=$1
library=$2
build=$3
failures=0
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# expect NAME STATUS OUTPUT COMMAND ..: both streams of the command, and what it ends with.
expect() {
  name=$1 status=$2 output=$3
  shift 3
  actual=$("$@" 2>&1)
  actual_status=$?
  [ "$actual_status" = "$status" ] && [ "$actual" = "$output" ] && return
  printf 'FAILED: %s\nexpected %s: %s\ngot %s: %s\n' "$name" "$status" "$output" "$actual_status" "$actual" >&2
  failures=$((failures + 1))
}
run() { "$tessary_board" run "$@"; }
stepped() { board=$1 && shift && run "$board" --time stepped -- "$@"; }

# Common programs see the board, each in its own way of reading.
expect cat 0 VX4490P run vx4490p -- cat /sys/devices/soc0/machine
expect getprop 0 brindle run vx4490p -- getprop ro.board.platform
expect od 0 '           0           0           0     1048576' run vx4490p -- \
  sh -c 'cat /sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem | od -An -t d4'
expect ls 0 'eth0 lo wlan0' stepped hostile sh -c 'echo $(ls /sys/class/net)'
expect grep 0 '/sys/class/thermal/thermal_zone4/type:frost' run hostile -- grep -r frost /sys/class/thermal
expect find 0 5 stepped hostile sh -c 'find /sys/class/thermal -name temp -type f | wc -l'
expect head 0 'MemTotal:        8000000 kB' run hostile -- head -n 1 /proc/meminfo
expect glob 0 '/proc/1 /proc/2 /proc/3' stepped hostile sh -c 'echo /proc/[0-9]'
expect 'not on the board' 1 'cat: /proc/schedstat: No such file or directory' run vx4490p -- cat /proc/schedstat

# The working folder may be on the board, and is handed on to whatever is started there.
expect cd 0 '/sys/class/net
0' stepped vx4490p sh -c 'cd /sys/class/net && pwd -P && cat lo/statistics/rx_bytes'
expect 'cd to a process' 0 '1 /proc' run hostile -- bash -c 'cd /proc/1 && read -r pid rest <stat && cd .. && echo $pid $PWD'
expect 'find from there' 0 './thermal_zone4/type' run hostile -- sh -c \
  'cd /sys/class/thermal && find . -type f -exec grep -l frost {} +'
expect 'commands from there' 0 'stat /proc/1/stat /proc/1/stat' run hostile -- bash -c \
  'cd /proc/1 && echo $(ls stat) $(realpath stat) $(readlink -f ./stat)'
expect 'started there' 0 '/proc/1 1' run hostile -- perl -e \
  'use Cwd; chdir "/proc/1"; exec $^X, "-MCwd", "-e", "open F, qq(stat); print getcwd, qq( ), <F> =~ /^(\\d+)/" '
expect 'out of it' 0 "$(ls /etc/passwd)" run hostile -- sh -c 'cd /proc/1 && cd ../../etc && ls "$(pwd)/passwd"'

# Stepped time passes by the waits, from a shell to its commands and back, and figures are exact.
expect 'time of children' 0 '3600.00 3602.50 3603.50' stepped vx4490p sh -c \
  'up() { cut -d" " -f1 /proc/uptime; }; a=$(up); sleep 2.5; b=$(up; sleep 1); c=$(up); echo $a $b $c'
expect 'time of a stream' 0 '3603
3603' stepped vx4490p sh -c \
  'echo | sed -n "1e sleep 3; cut -d. -f1 /proc/uptime"; cut -d. -f1 /proc/uptime'
expect 'exact figures' 0 'cpu0 750 0 250 3601000 0 0 0 0 0 0' stepped hostile sh -c 'sleep 2; grep "^cpu0 " /proc/stat'
expect 'faults on time' 0 "cat: /sys/class/thermal/thermal_zone1/temp: Invalid argument
50000" stepped hostile sh -c \
  'sleep 2; cat /sys/class/thermal/thermal_zone1/temp; sleep 39; cat /sys/class/thermal/thermal_zone1/temp'
readings() { run vx4490p --seed "$1" --time stepped -- sh -c 'sleep 3; cat /proc/stat /proc/*/stat' 2>&1; }
[ "$(readings 5)" = "$(readings 5)" ] || { echo 'FAILED: one seed, two runs' >&2; failures=$((failures + 1)); }
[ "$(readings 5)" != "$(readings 6)" ] || { echo 'FAILED: two seeds' >&2; failures=$((failures + 1)); }

echo '{"model": "x", "frames": [{"at_ms": 0, "nodes": {"/proc/version": "early "}},
  {"at_ms": 9000, "nodes": {"/proc/version": "late"}}]}' >"$scratch/frames.json"
expect 'a capture at another speed' 0 'early late' run "$scratch/frames.json" --from 3 --speed 2 --time stepped -- \
  sh -c 'sleep 2.9; cat /proc/version; sleep 0.1; cat /proc/version'

# A program's descriptors are its own, whatever their numbers, and closing them all takes nothing from the board.
echo mine >"$scratch/lock"
expect 'a lock file' 0 '3601 mine' stepped vx4490p \
  bash -c 'exec 200<>'"$scratch"'/lock; sleep 1; echo $(cut -d. -f1 /proc/uptime; cat '"$scratch"'/lock)'
expect 'all descriptors closed' 0 3602 stepped vx4490p perl -e \
  'use POSIX; POSIX::close($_) for 3 .. 1023; sleep 2; exec "cut", "-d.", "-f1", "/proc/uptime"'

# The board goes on when its first program has ended, and the next one to run leaves nothing of it.
export scratch
stepped vx4490p sh -c '{ sleep 1; turn=0; until [ -e "$scratch/gate" ] || [ $((turn += 1)) = 100000 ]; do :; done; sleep 2
  cut -d. -f1 /proc/uptime >"$scratch/late.part"
  echo "$TESSARY_BOARD_TIMES" >"$scratch/table"; mv "$scratch/late.part" "$scratch/late"; } &'
touch "$scratch/gate"
for attempt in $(seq 100); do [ -e "$scratch/late" ] && break; sleep 0.1; done
expect 'after the first program' 0 3603 cat "$scratch/late"
gone() { run vx4490p -- true; [ ! -e "$(cat "$scratch/table")" ]; }
for attempt in $(seq 100); do gone && break; sleep 0.1; done
expect 'nothing left' 0 '' gone

# What was unpacked goes with the last program.
printf '{"model": "x", "cores": [{}], "processes": [{"pid": 7, "name": "a\\u001b[2J\\u007f"}]}' >"$scratch/named.json"
gzip -k "$scratch/named.json"
unpacked=$(run "$scratch/named.json.gz" -- sh -c 'test -s "$TESSARY_BOARD" && echo "$TESSARY_BOARD"')
expect unpacked 0 '' sh -c "[ -n '$unpacked' ] && [ ! -e '$unpacked' ]"
expect 'names that a terminal obeys' 0 'processes        a\x1b[2J\x7f' \
  sh -c "'$tessary_board' show '$scratch/named.json' | grep ^processes"

# Processes of the board are another user's, those of the program its own.
expect kill 0 'there 1 1 143' run hostile -- sh -c \
  'exec 2>/dev/null; kill -0 500 && a=there; kill 500; b=$?; kill 499999; c=$?; sleep 60 & kill $!; wait $!; echo $a $b $c $?'

# Copies of nodes hold what the nodes hold, and what is kept open moves on.
expect copies 0 'frost cpu-0' stepped hostile sh -c 'cd "$scratch" && cp /proc/meminfo m && install /proc/stat s &&
  cp -a /sys/class/thermal th && cp /sys/class/thermal/thermal_zone0/type t && cmp m /proc/meminfo && cmp s /proc/stat &&
  echo $(cat th/thermal_zone4/type t)'
expect tar 0 frost stepped hostile sh -c \
  'tar cf - /sys/class/thermal/thermal_zone4/type 2>/dev/null | tar xOf - | tr -d "\0"'
expect 'kept open' 0 '3600 3605' stepped vx4490p perl -e \
  'open F, "/proc/uptime"; $first = int <F>; sleep 5; seek F, 0, 0; print $first, " ", int <F>'

# Exit codes and mistakes.
expect 'exit code' 7 '' run vx4490p -- sh -c 'exit 7'
expect 'not found' 127 'tessary-board: nosuch: No such file or directory' run vx4490p -- nosuch
expect 'not a program' 126 'tessary-board: /etc/passwd: Permission denied' run vx4490p -- /etc/passwd
expect 'no command' 2 'tessary-board: no command: tessary-board run BOARD -- COMMAND ..' run vx4490p
expect 'no board' 2 "tessary-board: there is no board nope; 'tessary-board list' shows those that there are" \
  run nope -- true
printf '{"model": "x",\n "cores": [{}],\n "disks": [{"name": "sda",\n  "raeds": 3}]}\n' >"$scratch/mine.json"
expect mistake 2 "tessary-board: $scratch/mine.json:4: disks[0].raeds: is not known here" \
  run "$scratch/mine.json" -- true
expect 'no such file' 2 "tessary-board: $scratch/no.json: No such file or directory" run "$scratch/no.json" -- true
"$tessary_board" run --bogus >/dev/null 2>&1
expect usage 0 2 echo $?
for command in '' run list show; do
  # shellcheck disable=SC2086
  "$tessary_board" $command --help | grep -q '^Example: tessary-board' ||
    { echo "FAILED: no example in the help of '$command'" >&2; failures=$((failures + 1)); }
done
expect list 0 11 sh -c "'$tessary_board' list | wc -l"
expect show 0 'faults           at 2.000 s for 3.000 s, core 3: offline' sh -c "'$tessary_board' show hostile | grep ^faults"

# What is preloaded already stays in front, as a sanitizer's runtime wants it.
expect 'preloaded before' 0 libm.so.6 env LD_PRELOAD=libm.so.6 "$tessary_board" run vx4490p -- \
  sh -c 'echo "${LD_PRELOAD%%:*}"'

expect 'without a path' 0 'brindle /usr/bin:/bin' env -u PATH "$tessary_board" run vx4490p -- \
  /bin/sh -c 'echo $(getprop ro.board.platform) ${PATH#*:}'

# Preloaded without a board, nothing is different; an installed copy finds its own files.
expect inactive 1 'cat: /sys/devices/soc0/machine: No such file or directory' \
  env LD_PRELOAD="$library" cat /sys/devices/soc0/machine
cmake --install "$build" --component board --prefix "$scratch/prefix" >/dev/null
tessary_board=$scratch/prefix/bin/tessary-board
expect installed 0 'VX2140 brindle' run vx2140 -- \
  sh -c 'echo $(cat /sys/devices/soc0/machine; getprop ro.board.platform; tr "\0" "\n" </proc/self/maps | grep /build/)'

[ "$failures" = 0 ]
