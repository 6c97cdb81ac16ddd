#include "simulator/board/records.h"

#include <fcntl.h>
#include <linux/netlink.h>
#include <linux/sysinfo.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>

#include "simulator/board/machine.h"

namespace simulator {

namespace {

// Under /proc there are no sizes, an attribute under /sys has that of a page, whatever it holds; elsewhere it
// is the text's.
off_t sizeOf(const std::string& path, const Node& node) {
  if (node.isFolder || node.ioctl || isBelow(path, "/proc")) return 0;
  if (isBelow(path, "/sys")) return kPageBytes;
  return node.text ? static_cast<off_t>(node.text().size()) : 0;
}

// /proc of /proc/7/stat
std::string rootOf(const std::string& path) { return path.substr(0, path.find('/', 1)); }

// That of the machine's file system at the same place, of which the program may see parts.
dev_t deviceOf(const std::string& path) {
  struct statx machine {};
  const std::string root = rootOf(path);
  const bool isThere = machineCall(SYS_statx, AT_FDCWD, root.c_str(), 0, STATX_BASIC_STATS, &machine) == 0;
  return isThere ? makedev(machine.stx_dev_major, machine.stx_dev_minor) : 0;
}

// MemTotal:        7865432 kB
unsigned long bytesOf(const std::string& meminfo, const std::string& name) {
  constexpr unsigned long kBytesInKB = 1024;
  const std::size_t at = meminfo.find(name + ":");
  return at != std::string::npos
             ? std::strtoul(meminfo.c_str() + at + name.size() + 1, nullptr, 10) * kBytesInKB
             : 0;
}

// Linux version 5.15.41-android13-8 (..) #1 SMP PREEMPT Mon Jan 1 00:00:00 UTC 2024
std::string wordAfter(const std::string& text, const std::string& mark) {
  const std::size_t at = text.find(mark);
  if (at == std::string::npos) return {};
  const std::size_t from = at + mark.size();
  return text.substr(from, text.find_first_of(" \n", from) - from);
}

template <std::size_t Size>
void copyText(char (&target)[Size], const std::string& text) {
  target[text.copy(target, Size - 1)] = '\0';
}

}  // namespace

bool isBelow(const std::string& path, const std::string& folder) {
  return path.compare(0, folder.size(), folder) == 0 &&
         (path.size() == folder.size() || path[folder.size()] == '/');
}

ino_t inodeOf(const std::string& path) { return std::hash<std::string>{}(path); }

std::string textOf(const Board& board, const std::string& path) {
  const Board::Opening opening = board.look(path);
  return opening.mine && opening.error == 0 && opening.node.text ? opening.node.text() : std::string{};
}

mode_t modeOf(const Node& node) {
  if (node.isFolder) return S_IFDIR | 0555;
  if (node.isLink) return S_IFLNK | 0777;
  return node.ioctl ? S_IFCHR | 0666 : S_IFREG | 0444;
}

struct stat statusOf(const Board& board, const std::string& path, const Node& node) {
  struct stat status {};
  status.st_dev = deviceOf(path);
  status.st_ino = inodeOf(path);
  status.st_mode = modeOf(node);
  status.st_nlink = 1;
  status.st_size = sizeOf(path, node);
  status.st_blksize = kPageBytes;
  const Nanoseconds start = board.clock().dateAtStart();
  status.st_atim = {start / kNanosecondsInSecond, start % kNanosecondsInSecond};
  status.st_mtim = status.st_ctim = status.st_atim;
  return status;
}

struct statx extended(const struct stat& status) {
  struct statx extended {};
  extended.stx_mask = STATX_BASIC_STATS;
  extended.stx_mode = static_cast<std::uint16_t>(status.st_mode);
  extended.stx_nlink = 1;
  extended.stx_blksize = kPageBytes;
  extended.stx_size = static_cast<std::uint64_t>(status.st_size);
  extended.stx_ino = status.st_ino;
  extended.stx_dev_major = major(status.st_dev);
  extended.stx_dev_minor = minor(status.st_dev);
  extended.stx_atime = {status.st_atim.tv_sec, static_cast<std::uint32_t>(status.st_atim.tv_nsec), {}};
  extended.stx_mtime = extended.stx_ctime = extended.stx_atime;
  return extended;
}

int linkError(const Board::Opening& opening) {
  if (opening.error == ENOENT) return ENOENT;
  return opening.node.isLink ? opening.error : EINVAL;
}

int fileSystemOf(const std::string& path, struct statfs& record) {
  return machineCall(SYS_statfs, rootOf(path).c_str(), &record) == 0 ? 0 : errno;
}

struct sysinfo systemFigures(const Board& board) {
  struct sysinfo figures {};
  figures.uptime = board.clock().read(CLOCK_BOOTTIME) / kNanosecondsInSecond;
  double loads[3] = {};
  int running = 0;
  int processes = 0;
  std::sscanf(textOf(board, "/proc/loadavg").c_str(), "%lf %lf %lf %d/%d", &loads[0], &loads[1], &loads[2],
              &running, &processes);
  for (int load = 0; load < 3; ++load)
    figures.loads[load] = static_cast<unsigned long>(std::llround(loads[load] * (1 << SI_LOAD_SHIFT)));
  figures.procs = static_cast<unsigned short>(processes);
  const std::string meminfo = textOf(board, "/proc/meminfo");
  figures.totalram = bytesOf(meminfo, "MemTotal");
  figures.freeram = bytesOf(meminfo, "MemFree");
  figures.sharedram = bytesOf(meminfo, "Shmem");
  figures.bufferram = bytesOf(meminfo, "Buffers");
  figures.totalswap = bytesOf(meminfo, "SwapTotal");
  figures.freeswap = bytesOf(meminfo, "SwapFree");
  figures.mem_unit = 1;
  return figures;
}

utsname systemName(const Board& board) {
  utsname name{};
  machineCall(SYS_uname, &name);
  const auto put = [](auto& field, const std::string& text) {
    if (!text.empty()) copyText(field, text);
  };
  const auto line = [&](const char* node) {
    const std::string text = textOf(board, node);
    return text.substr(0, text.find('\n'));
  };
  put(name.sysname, line("/proc/sys/kernel/ostype"));
  put(name.nodename, line("/proc/sys/kernel/hostname"));
  put(name.release, line("/proc/sys/kernel/osrelease"));
  put(name.version, line("/proc/sys/kernel/version"));
  // A board may have been captured, or written, with this node alone.
  const std::string text = line("/proc/version");
  put(name.release, wordAfter(text, "Linux version "));
  const std::size_t version = text.rfind('#');
  if (version != std::string::npos) put(name.version, text.substr(version));
  return name;
}

bool netlinkShowsMachine(int protocol) {
  // Generic is how the kernel accounts for processes and describes Ethernet and Wi-Fi; the connector tells of
  // processes that start and end.
  for (const int other :
       {NETLINK_ROUTE, NETLINK_SOCK_DIAG, NETLINK_GENERIC, NETLINK_CONNECTOR, NETLINK_NETFILTER})
    if (protocol == other) return true;
  return false;
}

std::optional<std::vector<std::uint64_t>> onlineProcessors(const Board& board) {
  constexpr int kBits = 64;
  const int configured = board.configuredCores().value_or(0);
  if (configured <= 0) return std::nullopt;
  std::vector<std::uint64_t> bits(static_cast<std::size_t>((configured + kBits - 1) / kBits));
  const auto set = [&](int core) {
    if (core < configured) bits[static_cast<std::size_t>(core / kBits)] |= std::uint64_t{1} << core % kBits;
  };
  // 0-2,4-7
  const std::string text = textOf(board, "/sys/devices/system/cpu/online");
  for (const char* at = text.c_str(); *at >= '0' && *at <= '9';) {
    char* end = nullptr;
    const long first = std::strtol(at, &end, 10);
    const long last = *end == '-' ? std::strtol(end + 1, &end, 10) : first;
    for (long core = first; core <= last && core < configured; ++core) set(static_cast<int>(core));
    at = *end == ',' ? end + 1 : end;
  }
  if (text.empty()) {
    for (int core = 0; core < board.onlineCores().value_or(configured); ++core) set(core);
  }
  return bits;
}

}  // namespace simulator
