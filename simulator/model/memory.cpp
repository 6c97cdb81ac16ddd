#include <cstring>

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

}  // namespace

void layOutMemory(Board& board, const SharedFile& file) {
  if (!file->memory) return;
  board.file("/proc/meminfo", [&board, file] { return meminfoText(*file, boardTime(board)); });
}

}  // namespace simulator
