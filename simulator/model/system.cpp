// What says which board it is, and what every Linux system has.

#include <cerrno>
#include <cinttypes>
#include <ctime>
#include <string_view>

#include "simulator/model/model.h"

namespace simulator {

namespace {

constexpr char kFuses[] = "/sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem";

constexpr char kMounts[] =
    "/dev/root / ext4 rw,relatime 0 0\nproc /proc proc rw,relatime 0 0\nsysfs /sys sysfs rw,relatime 0 0\n";

// Four words, of which the last has the id in bits 20 to 27.
std::string fuseBytes(int featureId) {
  constexpr unsigned kShift = 20;
  std::string bytes(12, '\0');
  const std::uint32_t word = static_cast<std::uint32_t>(featureId) << kShift;
  for (unsigned byte = 0; byte < 4; ++byte) bytes += static_cast<char>(word >> (8 * byte) & 0xff);
  return bytes;
}

std::string uptimeText(const BoardFile& file, const Clock& clock) {
  Wide idle = 0;
  for (const CoreFile& core : file.cores) idle += core.passed(kIdleColumn, clock.now() / 1000);
  const Nanoseconds uptime = clock.read(CLOCK_BOOTTIME);
  const Wide before = Signal{100 * kOne}.integral(clock.uptimeAtStart() / 1000) * Wide{file.cores.size()};
  const std::uint64_t idleHundredths = ticksOf(before + idle, 100);
  std::string text;
  append(text, "%" PRId64 ".%02" PRId64 " %" PRIu64 ".%02" PRIu64 "\n", uptime / 1000000000,
         uptime / 10000000 % 100, idleHundredths / 100, idleHundredths % 100);
  return text;
}

// 1.25 0.90 0.40 1/37 1223
// The busy cores in the mean of the last one, five and fifteen minutes; then the threads that run, of those that
// there are.
std::string loadText(const BoardFile& file, Microseconds now) {
  std::string text;
  for (const std::int64_t minutes : {1, 5, 15}) {
    const Microseconds span = minutes * 60 * kMicrosecondsInSecond;
    const Microseconds before = now < span ? 0 : now - span;
    Wide busy = 0;
    for (const CoreFile& core : file.cores) busy += core.busy(now) - core.busy(before);
    const auto hundredths = static_cast<std::int64_t>(busy / span / kOne);
    append(text, "%" PRId64 ".%02" PRId64 " ", hundredths / 100, hundredths % 100);
  }
  int threads = 0;
  for (const ProcessFile& process : file.processes) {
    if (process.life.holds(now)) threads += process.threads;
  }
  append(text, "1/%d %d\n", threads, file.processes.empty() ? 0 : file.processes.back().pid);
  return text;
}

std::string coresText(const BoardFile& file, Microseconds now) {
  std::string text;
  for (std::size_t core = 0; core < file.cores.size(); ++core) {
    if (file.cores[core].isOffline(now)) continue;
    append(text, "processor\t: %zu\nBogoMIPS\t: 38.40\nCPU implementer\t: 0x41\nCPU architecture: 8\n\n",
           core);
  }
  return text;
}

// Linux version 5.15.0 (tessary@board) (simulated) #1 SMP PREEMPT
std::string versionText(const BoardFile& file) {
  return "Linux version " + file.kernel + " (tessary@board) (simulated) #1 SMP PREEMPT\n";
}

constexpr std::int64_t kVmstatPageKB = 4;

std::string vmstatText(const BoardFile& file, Microseconds now) {
  constexpr struct {
    const char* line;
    const char* memoryLine;
  } kPages[] = {{"nr_free_pages", "MemFree"},
                {"nr_anon_pages", "AnonPages"},
                {"nr_file_pages", "Cached"},
                {"nr_slab_reclaimable", "Slab"}};
  std::string text;
  for (const auto& pages : kPages) {
    Thousandths kB = 0;
    bool isThere = true;
    if (file.memory) {
      for (const auto& [name, signal] : *file.memory) {
        if (std::string_view{name} != pages.memoryLine) continue;
        kB = signal.at(now);
        isThere = signal.isThere(now);
      }
    }
    if (isThere) append(text, "%s %" PRId64 "\n", pages.line, kB / kOne / kVmstatPageKB);
  }
  Wide kB[2] = {0, 0};  // read, written
  for (const DiskFile& disk : file.disks) {
    kB[0] += disk.counters[2].at(now) / 2;
    kB[1] += disk.counters[6].at(now) / 2;
  }
  append(text, "pgpgin %" PRId64 "\npgpgout %" PRId64 "\n", static_cast<std::int64_t>(kB[0]),
         static_cast<std::int64_t>(kB[1]));
  for (const char* const name :
       {"pswpin", "pswpout", "pgalloc_dma", "pgalloc_dma32", "pgalloc_normal", "pgfree", "pgfault",
        "pgmajfault", "pgscan_kswapd", "pgscan_direct", "pgsteal_kswapd", "pgsteal_direct", "oom_kill"})
    append(text, "%s 0\n", name);
  return text;
}

}  // namespace

void layOutSystem(Board& board, const SharedFile& file) {
  board.property("ro.product.model", file->model);
  if (!file->platform.empty()) board.property("ro.board.platform", file->platform);
  if (!file->soc.empty()) board.file("/sys/devices/soc0/machine", file->soc + "\n");
  if (file->featureId) board.file(kFuses, fuseBytes(*file->featureId));
  board.file("/proc/cpuinfo", [&board, file] { return coresText(*file, boardTime(board)); });
  board.file("/proc/loadavg", [&board, file] { return loadText(*file, boardTime(board)); });
  board.file("/proc/uptime", [&board, file] { return uptimeText(*file, board.clock()); });
  board.file("/proc/cmdline", "console=ttyMSM0\n");
  board.file("/proc/filesystems", "nodev\tsysfs\nnodev\tproc\nnodev\ttmpfs\n\text4\n");
  board.file("/proc/mounts", kMounts);
  board.file("/proc/version", versionText(*file));
  board.file("/proc/vmstat", [&board, file] { return vmstatText(*file, boardTime(board)); });
  board.file("/proc/sys/kernel/hostname", "board\n");
  board.file("/proc/sys/kernel/osrelease", file->kernel + "\n");
  board.file("/proc/sys/kernel/ostype", "Linux\n");
  board.file("/proc/sys/kernel/pid_max", "4194304\n");
  board.file("/proc/sys/kernel/version", "#1 SMP PREEMPT\n");
  board.file("/proc/sys/fs/file-nr", "1024\t0\t9223372036854775807\n");
  board.file("/dev/kmsg", "");  // the machine's kernel logs there
  board.refuse("/dev/kmsg", EPERM);
  for (const auto& [name, value] : file->properties) board.property(name, value);
  for (const auto& [path, text] : file->nodes) board.file(path, text);
}

}  // namespace simulator
