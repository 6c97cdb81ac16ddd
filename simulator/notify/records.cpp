#include "simulator/notify/records.h"

#include <fcntl.h>
#include <linux/sysinfo.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

namespace simulator {

namespace {

constexpr std::int64_t kBlock = 4096;

bool isBelow(const std::string& path, const char* folder) {
  const std::size_t length = std::strlen(folder);
  return path.compare(0, length, folder) == 0 && path.size() > length && path[length] == '/';
}

mode_t modeOf(const Board::Opening& opening) {
  if (opening.isFolder) return S_IFDIR | 0555;
  return opening.node.ioctl ? S_IFCHR | 0666 : S_IFREG | 0444;
}

// Under /proc there are no sizes, an attribute under /sys has that of a page, whatever it holds; elsewhere it
// is the text's.
off_t sizeOf(const Board::Opening& opening) {
  if (opening.isFolder || opening.node.ioctl || isBelow(opening.path, "/proc") || !opening.node.text)
    return 0;
  return isBelow(opening.path, "/sys") ? kBlock : static_cast<off_t>(opening.node.text().size());
}

// That of the machine's file system at the same place, of which the program may see parts.
dev_t deviceOf(const std::string& path) {
  struct stat status {};
  const std::string root = path.substr(0, path.find('/', 1));
  return ::stat(root.c_str(), &status) == 0 ? status.st_dev : 0;
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

std::string textOf(const Board& board, const std::string& path) {
  const Board::Opening opening = board.look(path);
  return opening.mine && opening.error == 0 && opening.node.text ? opening.node.text() : std::string{};
}

struct stat statusOf(const Board& board, const Board::Opening& opening) {
  struct stat status {};
  status.st_dev = deviceOf(opening.path);
  status.st_mode = modeOf(opening);
  status.st_nlink = 1;
  status.st_blksize = kBlock;
  status.st_size = sizeOf(opening);
  // Walks over a tree take two nodes with one number for the same.
  status.st_ino = std::hash<std::string>{}(opening.path);
  const Nanoseconds start = board.clock().dateAtStart();
  status.st_atim = {start / kNanosecondsInSecond, start % kNanosecondsInSecond};
  status.st_mtim = status.st_ctim = status.st_atim;
  return status;
}

struct statx extendedStatusOf(const Board& board, const Board::Opening& opening) {
  const struct stat status = statusOf(board, opening);
  struct statx extended {};
  extended.stx_mask = STATX_BASIC_STATS;
  extended.stx_mode = static_cast<std::uint16_t>(status.st_mode);
  extended.stx_nlink = 1;
  extended.stx_blksize = kBlock;
  extended.stx_size = static_cast<std::uint64_t>(status.st_size);
  extended.stx_ino = status.st_ino;
  extended.stx_dev_major = major(status.st_dev);
  extended.stx_dev_minor = minor(status.st_dev);
  extended.stx_atime = {status.st_atim.tv_sec, static_cast<std::uint32_t>(status.st_atim.tv_nsec), {}};
  extended.stx_mtime = extended.stx_ctime = extended.stx_atime;
  return extended;
}

struct sysinfo systemFigures(const Board& board) {
  struct sysinfo figures {};
  figures.uptime = std::strtol(textOf(board, "/proc/uptime").c_str(), nullptr, 10);
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
  ::uname(&name);
  const std::string text = textOf(board, "/proc/version");
  const std::string release = wordAfter(text, "Linux version ");
  if (!release.empty()) copyText(name.release, release);
  const std::size_t version = text.rfind('#');
  if (version != std::string::npos)
    copyText(name.version, text.substr(version, text.find('\n', version) - version));
  return name;
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
