#include <cinttypes>
#include <cstring>
#include <optional>
#include <utility>

#include "simulator/model/model.h"

namespace simulator {

namespace {

// MemTotal:        7865432 kB
// What a board does not describe is 0. The huge-page counters have no unit.
constexpr const char* kLines[] = {
    "MemTotal",     "MemFree",       "MemAvailable",    "Buffers",        "Cached",        "SwapCached",
    "Active",       "Inactive",      "Active(anon)",    "Inactive(anon)", "Active(file)",  "Inactive(file)",
    "Unevictable",  "Mlocked",       "SwapTotal",       "SwapFree",       "Dirty",         "Writeback",
    "AnonPages",    "Mapped",        "Shmem",           "KReclaimable",   "Slab",          "SReclaimable",
    "SUnreclaim",   "KernelStack",   "ShadowCallStack", "PageTables",     "NFS_Unstable",  "Bounce",
    "WritebackTmp", "CommitLimit",   "Committed_AS",    "VmallocTotal",   "VmallocUsed",   "VmallocChunk",
    "Percpu",       "AnonHugePages", "ShmemHugePages",  "ShmemPmdMapped", "FileHugePages", "FilePmdMapped",
    "CmaTotal",     "CmaFree"};
constexpr char kHugePages[] =
    "HugePages_Total:       0\n"
    "HugePages_Free:        0\n"
    "HugePages_Rsvd:        0\n"
    "HugePages_Surp:        0\n"
    "Hugepagesize:       2048 kB\n"
    "Hugetlb:               0 kB\n";

std::string meminfoText(const BoardFile& file, Microseconds now) {
  std::string text;
  for (const char* const name : kLines) {
    Thousandths value = 0;
    bool isThere = true;
    for (const auto& [described, signal] : *file.memory) {
      if (std::strcmp(described, name) != 0) continue;
      value = signal.at(now);
      isThere = signal.isThere(now);
    }
    if (!isThere) continue;
    append(text, "%-16s%8lld kB\n", (std::string{name} + ":").c_str(), static_cast<long long>(value / kOne));
  }
  return text + kHugePages;
}

// None while it is absent.
std::optional<std::int64_t> kBOf(const BoardFile& file, const char* name, Microseconds now) {
  for (const auto& [described, signal] : *file.memory) {
    if (std::strcmp(described, name) != 0) continue;
    return signal.isThere(now) ? std::optional<std::int64_t>{signal.at(now) / kOne} : std::nullopt;
  }
  return 0;
}

// Filename                                Type            Size            Used            Priority
std::string swapsText(const BoardFile& file, Microseconds now) {
  std::string text = "Filename\t\t\t\tType\t\tSize\t\tUsed\t\tPriority\n";
  const std::int64_t total = kBOf(file, "SwapTotal", now).value_or(0);
  const std::int64_t used = total - kBOf(file, "SwapFree", now).value_or(0);
  if (total != 0)
    append(text, "/dev/zram0                              partition\t%" PRId64 "\t\t%" PRId64 "\t\t-2\n",
           total, used);
  return text;
}

// Node 0 MemTotal:        7865432 kB
std::string nodeText(const BoardFile& file, Microseconds now) {
  const auto total = kBOf(file, "MemTotal", now);
  const auto free = kBOf(file, "MemFree", now);
  const auto used = total && free ? std::optional<std::int64_t>{*total - *free} : std::nullopt;
  std::string text;
  for (const auto& [name, kB] : {std::pair{"MemTotal:", total}, {"MemFree:", free}, {"MemUsed:", used}}) {
    if (kB) append(text, "Node 0 %-15s%8" PRId64 " kB\n", name, *kB);
  }
  return text;
}

}  // namespace

void layOutMemory(Board& board, const SharedFile& file) {
  if (!file->memory) return;
  board.file("/proc/meminfo", [&board, file] { return meminfoText(*file, boardTime(board)); });
  board.file("/proc/swaps", [&board, file] { return swapsText(*file, boardTime(board)); });
  board.file("/sys/devices/system/node/node0/meminfo",
             [&board, file] { return nodeText(*file, boardTime(board)); });
}

}  // namespace simulator
