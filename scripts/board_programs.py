#!/usr/bin/env python3
"""Runs programs on a board of known figures and compares what they print with these figures.

board_programs.py TESSARY_BOARD quick|all|table|packages

A row: name, Debian's packages, what it sees, the command, and expressions with what their groups are to be. Of an
expression that matches more than once the last counts: a program's first report is of the time since the start."""

import os
import re
import shlex
import shutil
import socket
import subprocess
import sys
import tempfile

BOARD = r"""
{"model": "probe", "kernel": "5.15.77-probe",
 "cores": [{"count": 6, "capacity": 1024, "min_khz": 500000, "max_khz": 2000000, "load": {"user": 30, "system": 10}}],
 "memory": {"total_kb": 7340032, "free_kb": 1048576, "available_kb": 3145728, "buffers_kb": 102400,
   "cached_kb": 2097152, "swap_total_kb": 524288, "swap_free_kb": 262144},
 "thermal_zones": [{"type": "probe-zone", "temperature": 47}],
 "processes": [{"pid": 1, "ppid": 0, "name": "init"}, {"pid": 770931, "name": "navprobe", "user": 50, "threads": 3,
   "vsize_kb": 81920, "rss_kb": 40960}],
 "disks": [{"name": "probedisk", "major": 179, "sectors_read": 2048, "reads": 16}],
 "interfaces": [{"name": "lo"}, {"name": "probe0", "rx_bytes": 1000000, "rx_packets": 1000}]}
"""

FILES = {
    "asks.py": """
import psutil
process = psutil.Process(770931)
psutil.cpu_percent()
process.cpu_percent()
print("cores", psutil.cpu_count(), psutil.cpu_count(logical=False))
print("busy", psutil.cpu_percent(1), process.cpu_percent())
print("names", *(psutil.Process(pid).name() for pid in psutil.pids()))
print("disks", *psutil.disk_io_counters(perdisk=True))
print("net", *psutil.net_io_counters(pernic=True))
print("types", psutil.disk_usage("/proc").total)
for name, sensors in psutil.sensors_temperatures().items():
    print("zone", name, sensors[0].current)
for name in ("boot_time", "cpu_freq", "cpu_stats", "cpu_times", "cpu_times_percent", "disk_partitions", "getloadavg",
             "net_connections", "net_if_addrs", "net_if_stats", "pids", "sensors_battery", "sensors_fans",
             "swap_memory", "users", "virtual_memory"):
    print(name, getattr(psutil, name)())
refused = []
for name in sorted(process.as_dict()):
    try:
        print(name, getattr(process, name)() if name != "pid" else process.pid)
    except psutil.AccessDenied:
        refused.append(name)
print("refused", *refused)
""",
    "collectd.conf": """
FQDNLookup false
BaseDir "WORK"
PIDFile "WORK/collectd.pid"
Interval 1
LoadPlugin cpu
LoadPlugin memory
LoadPlugin load
LoadPlugin interface
LoadPlugin disk
LoadPlugin thermal
LoadPlugin swap
LoadPlugin processes
LoadPlugin cpufreq
LoadPlugin csv
<Plugin csv>
 DataDir stdout
 StoreRates true
</Plugin>
<Plugin cpu>
 ReportByCpu false
 ValuesPercentage true
</Plugin>
""",
    "conky.conf": """
conky.config = {out_to_console = true, update_interval = 1, total_run_times = 3}
conky.text = [[memory $memmax kernel $kernel cpu $cpu first ${top name 1} ${top pid 1} swap $swapmax]]
""",
    "Bean.java": """
import java.nio.file.*;
import java.lang.management.*;
class Bean {
  public static void main(String[] arguments) throws Exception {
    var system = (com.sun.management.OperatingSystemMXBean) ManagementFactory.getOperatingSystemMXBean();
    system.getCpuLoad();
    Thread.sleep(1000);
    System.out.printf("%d %d %d %s %.0f%n", system.getTotalMemorySize(), system.getFreeMemorySize(),
        system.getAvailableProcessors(), system.getVersion(), 100 * system.getCpuLoad());
    System.out.println(ProcessHandle.allProcesses().map(ProcessHandle::pid).sorted().toList());
    for (var one : java.util.Collections.list(java.net.NetworkInterface.getNetworkInterfaces()))
      System.out.print(one.getName() + " ");
    System.out.println(Files.getFileStore(Path.of("/proc/stat")).type());
  }
}
""",
    "reads.go": """
package main

import ("fmt"; "os"; "runtime"; "strings"; "syscall")

func main() {
  text, _ := os.ReadFile("/proc/meminfo")
  fmt.Println(strings.SplitN(string(text), "\\n", 2)[0], runtime.NumCPU())
  var system syscall.Sysinfo_t
  syscall.Sysinfo(&system)
  fmt.Println("total", system.Totalram)
  folder, _ := os.ReadDir("/sys/class/net")
  for _, entry := range folder { fmt.Print(entry.Name(), " ") }
  name, _ := os.Hostname()
  fmt.Println("on", name)
}
""",
    "reads.tcl": """
puts [lsort [glob -directory /sys/class/net *]]
set node [open /proc/meminfo]
puts [gets $node]
puts "$tcl_platform(osVersion) [exec uname -r]"
cd /sys/class/net/probe0
puts "[pwd] [file size mtu]"
""",
    "reads.scm": """
(use-modules (ice-9 ftw) (ice-9 rdelim) (ice-9 threads))
(format #t "~a ~a ~a~%" (utsname:release (uname)) (current-processor-count) (scandir "/sys/class/net"))
(format #t "~a~%" (call-with-input-file "/proc/meminfo" read-line))
""",
}


class About:
    """A figure that is measured over an interval of the machine's time."""

    def __init__(self, value, tolerance):
        self.value, self.tolerance = value, tolerance

    def matches(self, text):
        return abs(float(text.replace(",", ".")) - self.value) <= self.tolerance

    def __str__(self):
        return f"{self.value} +- {self.tolerance}"


USER, SYSTEM, NAV = About(30, 5), About(10, 4), About(50, 10)
RATE, KB_RATE = About(1000, 150), About(976.6, 150)

QUICK = [
    ("ps", "procps", "processes, threads, sizes", "ps -e -o pid,nlwp,rss,vsz,comm",
     [(r"770931 +(\d+) +(\d+) +(\d+) navprobe", 3, 40960, 81920)]),
    ("top", "procps", "processes, CPU, memory", "top -b -n 2 -d 1 -w 200",
     [(r"%Cpu\(s\): +([\d.]+) us, +([\d.]+) sy", USER, SYSTEM),
      (r"MiB Mem : +([\d.]+) total, +([\d.]+) free", "7168.0", "1024.0"),
      (r"770931 .* ([\d.]+) +[\d.]+ +\S+ navprobe", NAV)]),
    ("free", "procps", "memory, swap", "free",
     [(r"^Mem: +(\d+) +\d+ +(\d+)", 7340032, 1048576), (r"^Swap: +(\d+) +(\d+)", 524288, 262144)]),
    ("vmstat", "procps", "memory, CPU", "vmstat 1 2",
     [(r"(262144 +1048576 +102400 +2097152) .* (\d+) +(\d+) +\d+ +\d+ +\d+$", None, USER, SYSTEM)]),
    ("uptime", "procps", "uptime, load", "uptime", [(r"load average: ([\d.]+)", About(0, 0.5))]),
    ("w", "procps", "load", "w", [(r"load average: ([\d.]+)", About(0, 0.5))]),
    ("pgrep", "procps", "processes", "pgrep -l nav", [(r"^(.+)$", "770931 navprobe")]),
    ("nproc", "coreutils", "processors by affinity", "nproc", [(r"^(\d+)$", 6)]),
    ("uname", "coreutils", "kernel release", "uname -rn", [(r"^(.+)$", "board 5.15.77-probe")]),
    ("dash", "dash", "nodes, patterns", "dash -c 'echo /sys/class/net/*'",
     [(r"^(.+)$", "/sys/class/net/lo /sys/class/net/probe0")]),
    ("bash", "bash", "nodes, patterns, folders",
     "bash -c 'cd /sys/class/net; echo *; read -r a b </proc/meminfo; echo $b; cd /proc/770931; cat comm'",
     [(r"^(lo .*)$", "lo probe0"), (r"^(\d+ kB)$", "7340032 kB"), (r"^(nav.*)$", "navprobe")]),
    ("perl", "perl-base", "nodes, folders",
     "perl -e 'opendir D, \"/proc\"; for (sort readdir D) { next unless /^\\d+$/; open F, \"/proc/$_/comm\" or next; print <F> }'",
     [(r"\A(init\nnavprobe)\n\Z", None)]),
]

MORE = [
    ("zsh", "zsh", "nodes, patterns", "zsh -c 'echo /sys/class/net/*'",
     [(r"^(.+)$", "/sys/class/net/lo /sys/class/net/probe0")]),
    ("mpstat", "sysstat", "CPU", "mpstat -P ALL 1 1",
     [(r"^Average: +all +([\d.]+) +[\d.]+ +([\d.]+)", USER, SYSTEM),
      (r"^Average: +5 +([\d.]+) +[\d.]+ +([\d.]+)", USER, SYSTEM), (r"\((\d+) CPU\)", 6)]),
    ("iostat", "sysstat", "disks, CPU", "iostat -c -d -k 1 2",
     [(r"^probedisk +([\d.]+) +([\d.]+)", About(16, 4), About(1024, 150)),
      (r"^ +([\d.]+) +[\d.]+ +([\d.]+) +[\d.]+ +[\d.]+ +[\d.]+$", USER, SYSTEM)]),
    ("sar", "sysstat", "CPU, memory, network, disks", "sar -u -r -n DEV -d 1 1",
     [(r"^Average: +all +([\d.]+) +[\d.]+ +([\d.]+)", USER, SYSTEM),
      (r"^Average: +probe0 +([\d.]+) +[\d.]+ +([\d.]+)", RATE, KB_RATE), (r"^Average: +(\d+) +3145728", 1048576)]),
    ("pidstat", "sysstat", "processes", "pidstat -u -r -p ALL 1 1",
     [(r"^Average: +0 +770931 +([\d.]+).* - +navprobe", NAV), (r"81920 +(\d+) +[\d.]+ +navprobe", 40960)]),
    ("lsof", "lsof", "processes, whose files are closed", "lsof -p 770931",
     [(r"navprobe 770931 root +txt .*(readlink: .*)\)", "readlink: Permission denied")]),
    ("busybox", "busybox", "processes, memory, CPU", "sh -c 'busybox free; busybox top -b -n 1'",
     [(r"^Mem: +(\d+) +\d+ +(\d+)", 7340032, 1048576), (r"(\d+)% usr +(\d+)% sys", USER, SYSTEM),
      (r"770931 +1 root +S +(\d+) .* navprobe", 81920)]),
    ("node", "nodejs", "memory, CPUs, load, interfaces",
     "node -e 'const o = require(\"os\"); console.log(o.totalmem(), o.freemem(), o.cpus().length, o.cpus()[0].speed, "
     "o.release(), Object.keys(o.networkInterfaces()).join(), require(\"fs\").readdirSync(\"/sys/class/net\").join())'",
     [(r"^(\d+) (\d+) (\d+) (\d+) (\S+) lo (\S+)$", 7516192768, 3221225472, 6, 1100, "5.15.77-probe", "lo,probe0")]),
    ("python3-psutil", "python3-psutil", "all that it asks of system and processes", "/usr/bin/python3 WORK/asks.py",
     [(r"^cores (\d+) (\d+)$", 6, 6), (r"^busy ([\d.]+) ([\d.]+)$", About(40, 6), NAV), (r"^names (.*)$", "init navprobe"),
      (r"^disks (.*)$", "probedisk"), (r"^net (.*)$", "lo probe0"), (r"^types (.*)$", 0),
      (r"^zone \S+ (.*)$", "47.0"), (r"^cpu_freq .*current=([\d.]+)", "1100.0"), (r"^pids (.*)$", "[1, 770931]"),
      (r"^net_connections (.*)$", "[]"), (r"^virtual_memory .*total=(\d+)", 7516192768),
      (r"^swap_memory .*used=(\d+)", 268435456), (r"^memory_info .*rss=(\d+)", 41943040),
      (r"^refused .*(cwd environ exe)", None)]),
    ("htop", "htop python3-pyte", "processes, CPU, memory",
     "sh -c 'TERM=xterm script -qc \"stty cols 200 rows 40; timeout 3 htop\" /dev/null'",
     [(r"(3\.90G/7\.00G)", None), (r"770931 root.* 81920 +(\d+) .*navprobe", 40960),
      (r"0\[\|+ *(\d+\.\d)%", About(40, 10))]),
    ("atop", "atop", "processes, CPU, memory, network, no accounting of the machine's", "atop 1 2",
     [(r"CPL . numcpu +(\d+)", 6), (r"MEM . tot +([\d.]+)G . free +([\d.]+)G", "7.0", "1.0"),
      (r"NET . probe0 .* pcki +(\d+)", RATE), (r"(\d+)% navprobe", NAV), (r"(no +procacct)", None)]),
    ("btop", "btop python3-pyte", "processes, memory, temperature",
     "sh -c 'TERM=xterm script -qc \"stty cols 200 rows 50; timeout 4 btop\" /dev/null'",
     [(r"(navprobe)", None), (r"(7\.00 GiB)", None), (r"(47)°C", None)]),
    ("glances", "glances", "CPU, memory, load", "glances --stdout cpu.user,mem.total,load --stop-after 2",
     [(r"^cpu.user: ([\d.]+)", USER), (r"^mem.total: (\d+)", 7516192768), (r"'cpucore': (\d+)", 6)]),
    ("collectd", "collectd-core", "CPU, clocks, memory, network, disks, temperature; its taskstats are refused",
     "timeout 5 collectd -f -C WORK/collectd.conf",
     [(r"cpu/percent-user .*:([\d.]+)$", USER), (r"memory/memory-free .*:([\d.]+)$", "1073741824.000000"),
      (r"thermal_zone0/temperature .*:([\d.]+)$", "47.000000"), (r"cpufreq-5/cpufreq .*:([\d.]+)$", "1100000000.000000"),
      (r"interface-probe0/if_octets .*:([\d.]+):[\d.]+$", About(1e6, 1e5)), (r"disk-probedisk/disk_ops .*:([\d.]+):", About(16, 4)),
      (r"swap/swap-used .*:([\d.]+)$", "268435456.000000"), (r"(Creating taskstats handle failed)", None)]),
    ("nmon", "nmon", "CPU, memory, disks, network", "sh -c 'cd WORK; nmon -F nmon.csv -s 1 -c 2; sleep 4; cat nmon.csv'",
     [(r"^CPU006,T0002,([\d.]+),([\d.]+)", USER, SYSTEM), (r"^MEM,T0002,([\d.]+),.*,(102.\.0),", "7168.0", "1024.0"),
      (r"^NET,T0002,[\d.]+,([\d.]+)", KB_RATE), (r"^DISKREAD,T0002,([\d.]+)", About(1024, 150))]),
    ("pstree", "psmisc", "processes, threads", "pstree -p",
     [(r"^(init\(1\)---navprobe\(770931\)-\+-\{navprobe\}\(770932\))", None)]),
    ("killall", "psmisc", "processes, which it may not signal", "killall -v navprobe",
     [(r"navprobe\(770931\): (.*)$", "Operation not permitted")]),
    ("fuser", "psmisc", "processes, whose files are closed", "sh -c 'fuser /proc/stat; echo ended by $?'", [(r"^(ended by \d)$", "ended by 1")]),
    ("lscpu", "util-linux", "cores, clocks, nodes; its hypervisor is the processor's own word", "lscpu",
     [(r"^CPU\(s\): +(\d+)", 6), (r"^Core\(s\) per socket: +(\d+)", 6), (r"^CPU max MHz: +([\d.]+)", "2000.0000"),
      (r"^NUMA node0 CPU\(s\): +(.*)$", "0-5")]),
    ("lsblk", "util-linux", "disks", "lsblk -n -o NAME,MAJ:MIN", [(r"\A(probedisk 179:0) *\n\Z", None)]),
    ("swapon", "mount", "swap", "swapon --show --noheadings --bytes",
     [(r"^/dev/zram0 +partition +(\d+) +(\d+)", 536870912, 268435456)]),
    ("dmesg", "util-linux", "refused", "dmesg", [(r"(read kernel buffer failed: Operation not permitted)", None)]),
    ("lshw", "lshw", "cores, memory, interfaces", "lshw -short -quiet",
     [(r"memory +(\d+)GiB System memory", 7), (r"(probe0) +network", None), (r"^/0/(\d) +processor", 6)]),
    ("sensors", "lm-sensors", "temperatures", "sensors", [(r"^temp1: +\+([\d.]+)", "47.0")]),
    ("numactl", "numactl", "cores, memory", "numactl -H",
     [(r"^node 0 cpus: (.*)$", "0 1 2 3 4 5"), (r"^node 0 size: (\d+)", 7168), (r"^node 0 free: (\d+)", 1024)]),
    ("lstopo-no-graphics", "hwloc-nox", "cores, memory; not what it asks the processor for",
     "env HWLOC_COMPONENTS=-x86 lstopo-no-graphics --no-io", [(r"^Machine \((\d+)MB", 7168), (r"PU L#(\d) \(P#5\)", 5)]),
    ("inxi", "inxi", "kernel, cores, memory, temperatures; of the disk what is the machine's", "inxi -CSms -c0",
     [(r"Kernel: (\S+)", "5.15.77-probe"), (r"Info: (\d)-core", 6), (r"RAM: total: (\d) GiB", 7),
      (r"cpu: ([\d.]+) C", "47.0")]),
    ("neofetch", "neofetch", "kernel, cores, memory", "neofetch --stdout",
     [(r"Kernel: (\S+)", "5.15.77-probe"), (r"CPU: \((\d)\) @ ([\d.]+)GHz", 6, "2.000"), (r"Memory: \d+MiB / (\d+)MiB", 7168)]),
    ("screenfetch", "screenfetch", "kernel, cores, memory", "screenfetch -N -n",
     [(r"Linux (\S+)", "5.15.77-probe"), (r"@ (\d)x 2GHz", 6), (r"/ (\d+)MiB", 7168)]),
    ("s-tui", "s-tui", "load, clocks, temperatures", "s-tui -t",
     [(r"Frequency: Avg: ([\d.]+)", "1100.0"), (r"Temp: Probe-Zone,0: ([\d.]+)", "47.0"), (r"Util: Avg: ([\d.]+)", About(40, 20))]),
    ("conky", "conky-cli", "CPU, memory, processes", "conky -c WORK/conky.conf",
     [(r"memory (\S+) kernel (\S+) cpu (\d+) first (\S+) +(\d+) swap (\S+)", "7.00GiB", "5.15.77-probe", About(40, 15),
       "navprobe", 770931, "512MiB")]),
    ("procinfo", "procinfo", "memory", "procinfo", [(r"^RAM: +(\d+) +\d+ +(\d+)", 7340032, 1048576)]),
    ("ifstat", "ifstat", "network", "ifstat -i probe0 1 1", [(r"^ *([\d.]+) +[\d.]+$", KB_RATE)]),
    ("vnstat", "vnstat", "interfaces", "vnstat --iflist", [(r"interfaces: (.*?) *$", "probe0 (1000 Mbit)")]),
    ("nload", "nload", "network", "sh -c 'TERM=xterm timeout 4 script -qc \"stty cols 100 rows 30; timeout 3 nload -t 1000 -u K probe0\" /dev/null'",
     [(r"(Device probe0)", None)]),
    ("netstat", "net-tools", "interfaces, no sockets of the machine's", "sh -c 'netstat -i; netstat -tan | tail -n +3 | wc -l'",
     [(r"^probe0 +(\d+)", 1500), (r"^(\d+)$", 0)]),
    ("ifconfig", "net-tools", "interfaces", "ifconfig -a", [(r"^(\w+): flags", "probe0"), (r"ether (\S+)", "02:00:00:00:00:02")]),
    ("ip", "iproute2", "refused", "ip -s link", [(r"(a netlink socket .* is refused)", None)]),
    ("ss", "iproute2", "refused, and no sockets of the machine's", "ss -Htan", [(r"(Cannot open netlink socket: Operation not permitted)\n\Z", None)]),
    ("iotop", "iotop-c", "refused", "iotop -b -n 1", [(r"(a netlink socket .* is refused)", None)]),
    ("bmon", "bmon", "refused", "bmon -o ascii", [(r"(a netlink socket .* is refused)", None)]),
    ("ruby", "ruby", "cores, release, nodes, folders",
     "ruby -retc -e 'puts Etc.nprocessors, Etc.uname[:release], Dir.children(\"/sys/class/net\").sort.join(\" \"), Dir.glob(\"/proc/[0-9]*\").sort.join(\" \")'",
     [(r"\A(6\n5.15.77-probe\nlo probe0\n/proc/1 /proc/770931)\n\Z", None)]),
    ("php", "php-cli", "release, nodes, folders",
     "php -r 'echo php_uname(\"r\"), \" \", implode(\",\", scandir(\"/sys/class/net\")), \" \", file(\"/proc/meminfo\")[0], filesize(\"/sys/class/net/lo/mtu\"), \" \", disk_total_space(\"/proc\");'",
     [(r"\A(5.15.77-probe .,..,lo,probe0 MemTotal: +7340032 kB\n4096 0)\Z", None)]),
    ("lua5.4", "lua5.4", "nodes, commands",
     "lua5.4 -e 'for line in io.lines(\"/proc/meminfo\") do print(line) break end print(io.popen(\"uname -r\"):read(\"a\"))'",
     [(r"^MemTotal: +(\d+)", 7340032), (r"^(5\S+)$", "5.15.77-probe")]),
    ("tclsh", "tcl8.6", "nodes, folders, commands", "tclsh8.6 WORK/reads.tcl",
     [(r"MemTotal: +(\d+)", 7340032), (r"^(5.*)$", "5.15.77-probe 5.15.77-probe"), (r"^(/sys.* \d+)$", "/sys/class/net/probe0 4096")]),
    ("gawk", "gawk", "nodes, commands", "gawk 'BEGIN { getline line < \"/proc/meminfo\"; \"uname -r\" | getline name; print line, name }'",
     [(r"MemTotal: +(\d+) kB (\S+)", 7340032, "5.15.77-probe")]),
    ("guile", "guile-3.0", "release, cores, folders", "guile --no-auto-compile WORK/reads.scm",
     [(r"^(5\S+) (\d+) \(. .. lo probe0\)$", "5.15.77-probe", 6), (r"MemTotal: +(\d+)", 7340032)]),
    ("Rscript", "r-base-core", "release, cores, folders",
     "Rscript -e 'cat(parallel::detectCores(), Sys.info()[[\"release\"]], list.files(\"/sys/class/net\"), Sys.glob(\"/proc/[0-9]*\"))'",
     [(r"^(.+)$", "6 5.15.77-probe lo probe0 /proc/1 /proc/770931")]),
    ("java", "default-jdk-headless", "memory, cores, CPU, processes", "java WORK/Bean.java",
     [(r"^(\d+) (\d+) (\d+) (\S+) (\d+)$", 7516192768, 1073741824, 6, "5.15.77-probe", About(40, 8)), (r"^(\[.*\])$", "[1, 770931]"),
      (r"^lo (\w+)$", "proc")]),
    ("go", "golang-go", "nodes, folders, memory of a static program",
     "sh -c 'WORK/reads'", [(r"MemTotal: +(\d+) kB (\d+)", 7340032, 6), (r"^total (\d+)", 7516192768), (r"^(lo .*)$", "lo probe0 on board")]),
]


def machine_words():
    """What is the machine's and on no account the board's."""
    with open("/proc/meminfo") as meminfo:
        total = int(meminfo.readline().split()[1])
    words = {os.uname().release, str(total), str(total * 1024)}
    words |= {name for name in os.listdir("/sys/class/net") if name != "lo"}
    words |= {name for name in os.listdir("/sys/block") if not name.startswith(("loop", "zram", "ram"))}
    with open("/proc/cpuinfo") as cpuinfo:
        words |= {line.split(":", 1)[1].strip() for line in cpuinfo if line.startswith("model name")}
    if len(socket.gethostname()) > 3:
        words.add(socket.gethostname())
    return words


def faults_of(output, expressions, forbidden):
    for expression, *wanted in expressions:
        matches = list(re.finditer(expression, output, re.M))
        if not matches:
            yield f"no match of {expression}"
            continue
        for text, expected in zip(matches[-1].groups(), wanted):
            if expected is None:
                continue
            matched = expected.matches(text) if isinstance(expected, About) else text == str(expected)
            if not matched:
                yield f"{text}, not {expected}, in {matches[-1].group(0)!r}"
    for word in forbidden:
        if re.search(r"(?<![\w.])" + re.escape(word) + r"(?![\w.])", output):
            yield f"the machine's {word}"


def run(board, command, work, has_screen):
    environment = {**os.environ, "LC_ALL": "C", "TERM": "dumb", "GOCACHE": work + "/go"}
    words = [word.replace("WORK", work) for word in shlex.split(command)]
    try:
        result = subprocess.run([board, "run", work + "/board.json", "--", *words], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60, env=environment, cwd=work)
    except subprocess.TimeoutExpired as expired:
        return (expired.stdout or b"").decode(errors="replace") + "\n(did not end)"
    text = result.stdout.replace(b"\0", b" ").replace(b"\r", b"").decode(errors="replace")
    return on_screen(text) if has_screen else re.sub(r"\x1b[\[(][0-9;?]*[A-Za-z]", "", text)


def on_screen(text):
    """What a terminal shows in the end of a program that writes here and there."""
    import pyte

    screen = pyte.Screen(200, 50)
    pyte.Stream(screen).feed(text)
    return "\n".join(screen.display)


def is_there(name):
    if name == "python3-psutil":
        return subprocess.run(["/usr/bin/python3", "-c", "import psutil"], stderr=subprocess.DEVNULL).returncode == 0
    return shutil.which(name, path=os.environ["PATH"] + ":/usr/sbin:/sbin") is not None


def main(board, mode):
    rows = QUICK if mode == "quick" else QUICK + MORE
    if mode == "packages":
        print(*sorted({row[1] for row in rows}))
        return 0
    status = 0
    with tempfile.TemporaryDirectory() as work:
        os.environ["PATH"] += ":/usr/sbin:/sbin"
        for name, text in {**FILES, "board.json": BOARD}.items():
            with open(f"{work}/{name}", "w") as file:
                file.write(text.replace("WORK", work))
        if mode != "quick":
            subprocess.run(["go", "build", "-o", "reads", "reads.go"], cwd=work, check=True,
                           env={**os.environ, "CGO_ENABLED": "0", "GOCACHE": work + "/go"})
        forbidden = machine_words()
        for name, packages, sees, command, expressions in rows:
            if mode == "quick" and not is_there(name):
                continue
            output = run(board, command, work, "pyte" in packages)
            faults = list(faults_of(output, expressions, forbidden))
            if faults:
                print(f"{name} on a board: {'; '.join(faults)}\n{output[-2000:]}", file=sys.stderr)
                status = 1
            elif mode == "table":
                print(f"| `{name}` | {sees} |", flush=True)
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2]))
