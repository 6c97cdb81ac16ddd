#include <tessary/memory_mon.h>

#include "tools/sections/sections.h"

namespace tool {

namespace {

constexpr char kMemTotal[] = "MemTotal:";

const std::vector<Source> kSources{{"/proc/meminfo", checkHolding<kMemTotal>, "is /proc mounted?"}};

constexpr std::uint64_t kUnread = UINT64_MAX;

class MemorySection : public Section {
 public:
  explicit MemorySection(const Plan&) {}

  // The monitor keeps what the text does not hold: a mark tells it from what was read.
  Sample read() override {
    memory::memStats* const raw = monitor_.implementation->memStats;
    if (raw != nullptr) *raw = {kUnread, kUnread, kUnread, kUnread, kUnread, kUnread, kUnread};
    const memory::finalMemStats* const stats = monitor_.tessary_getMemStats();
    if (raw == nullptr || stats == nullptr) return absent("the library got no memory for its tables");
    if (raw->totalMem == kUnread) {
      return absent(absentBecause(kSources[0], kSources[0].target, "holds no figures").reason);
    }
    return {{{{kib(raw->totalMem), kib(raw->availableMem), used(raw->availableMem, stats->usedMem),
               kib(raw->totalSwap), kib(raw->freeSwap), used(raw->freeSwap, stats->usedSwap)}},
             {}}};
  }

 private:
  static Sample absent(const std::string& reason) { return {{{Row(6, Absent{reason})}, {}}}; }

  static Value kib(std::uint64_t figure) {
    if (figure == kUnread) return Absent{"/proc/meminfo: has no such line"};
    return static_cast<std::int64_t>(figure);
  }

  static Value used(std::uint64_t rest, std::uint64_t difference) {
    if (rest == kUnread) return kib(rest);
    if (wrapped(difference)) return Absent{"/proc/meminfo: less in total than there is left"};
    return kib(difference);
  }

  memory::MEMORY_MON monitor_;
};

}  // namespace

const SectionInfo kMemorySection{"memory",
                                 "Memory",
                                 {{nullptr,
                                   {{"total_kib", "total", kKibibytes},
                                    {"available_kib", "available", kKibibytes},
                                    {"used_kib", "used", kKibibytes},
                                    {"swap_total_kib", "swap", kKibibytes},
                                    {"swap_free_kib", "swap free", kKibibytes},
                                    {"swap_used_kib", "swap used", kKibibytes}}}},
                                 kSources,
                                 openSection<MemorySection>};

}  // namespace tool
