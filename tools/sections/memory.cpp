#include <tessary/memory_mon.h>

#include "tools/sections/fresh.h"
#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

constexpr char kMemTotal[] = "MemTotal:";

const Node kMeminfo{"/proc/meminfo", checkHolding<kMemTotal>, "is /proc mounted?"};

struct Memory {
  Value total;
  Value available;
  Value used;
  Value swapTotal;
  Value swapFree;
  Value swapUsed;
};

constexpr Column<Memory> kColumns[] = {
    {"total_kib", "total", kKibibytes, "MemTotal of /proc/meminfo: what the kernel has to give.",
     get<&Memory::total>, kFixed},
    {"available_kib", "available", kKibibytes,
     "MemAvailable of /proc/meminfo: what programs can have without swapping.", get<&Memory::available>,
     kFigure, kMoreIsBetter},
    {"used_kib", "used", kKibibytes, "MemTotal without MemAvailable, from /proc/meminfo.", get<&Memory::used>,
     kFigure, kMoreIsWorse},
    {"swap_total_kib", "swap", kKibibytes, "SwapTotal of /proc/meminfo.", get<&Memory::swapTotal>, kFixed},
    {"swap_free_kib", "swap free", kKibibytes, "SwapFree of /proc/meminfo.", get<&Memory::swapFree>, kFigure,
     kMoreIsBetter},
    {"swap_used_kib", "swap used", kKibibytes, "SwapTotal without SwapFree, from /proc/meminfo.",
     get<&Memory::swapUsed>, kFigure, kMoreIsWorse},
};
constexpr Table<Memory> kMemory{nullptr, "", kColumns};

class MemorySection : public Section {
 public:
  explicit MemorySection(const Plan&) {}

  std::vector<TableSample> read() override {
    memory::memStats* const raw = monitor_.implementation->memStats;
    if (raw != nullptr) {
      markStale(raw->totalMem, raw->availableMem, raw->totalSwap, raw->freeSwap);
    }
    const memory::finalMemStats* const stats = monitor_.tessary_getMemStats();
    if (raw == nullptr || stats == nullptr) return absent("the library got no memory for its tables");
    if (!isFresh(raw->totalMem)) return absent(absentBecause(kMeminfo, "holds no figures").reason);
    return {
        {{kMemory.row({kib(raw->totalMem), kib(raw->availableMem), used(raw->availableMem, stats->usedMem),
                       kib(raw->totalSwap), kib(raw->freeSwap), used(raw->freeSwap, stats->usedSwap)})},
         {}}};
  }

 private:
  static std::vector<TableSample> absent(const std::string& reason) {
    return {{{kMemory.absentRow({}, reason)}, {}}};
  }

  static Value kib(std::uint64_t figure) {
    if (!isFresh(figure)) return Absent{"/proc/meminfo: has no such line"};
    return static_cast<std::int64_t>(figure);
  }

  static Value used(std::uint64_t rest, std::uint64_t difference) {
    if (!isFresh(rest)) return kib(rest);
    if (wrapped(difference)) return Absent{"/proc/meminfo: less in total than there is left"};
    return kib(difference);
  }

  memory::MEMORY_MON monitor_;
};

}  // namespace

const SectionInfo& memorySection() {
  static const SectionInfo info{
      {"memory", "Memory", {kMemory.info()}}, {kMeminfo}, openSection<MemorySection>};
  return info;
}

}  // namespace tool
