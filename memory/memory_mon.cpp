#include "tessary/memory_mon.h"

#include <cstdlib>
#include <memory>

#include "base/console.h"
#include "base/reading.h"
#include "base/table.h"
#include "memory/meminfo.h"

namespace memory {

namespace {

constexpr char kMeminfo[] = "/proc/meminfo";

struct Release {
  void operator()(void* memory) const { std::free(memory); }
};

// The raw record first: the result record is of no use without it.
bool allocateRecords(MEMORY_MON::MEMORY_MON_INTERFACE& state) {
  if (state.memStats == nullptr) state.memStats = tessary::allocateTable<memStats>();
  if (state.memStats == nullptr) {
    tessary::printLine("Calloc failed for memStats");
    return false;
  }
  if (state.finalMemStats == nullptr) state.finalMemStats = tessary::allocateTable<finalMemStats>();
  if (state.finalMemStats == nullptr) {
    tessary::printLine("Calloc failed for finalMemStats");
    std::free(state.memStats);
    state.memStats = nullptr;
    return false;
  }
  return true;
}

finalMemStats derive(const memStats& raw) {
  return {raw.totalMem,  raw.availableMem, raw.totalMem - raw.availableMem,
          raw.totalSwap, raw.freeSwap,     raw.totalSwap - raw.freeSwap};
}

}  // namespace

MEMORY_MON::MEMORY_MON() : implementation(new MEMORY_MON_INTERFACE) {
  tessary::printLine("Entered the memory mon constructor");
}

MEMORY_MON::~MEMORY_MON() {
  implementation.reset();
  tessary::printLine("Destructor for the memory mon reached");
}

finalMemStats* MEMORY_MON::tessary_getMemStats() {
  MEMORY_MON_INTERFACE& state = *implementation;
  const bool complete = state.memStats != nullptr && state.finalMemStats != nullptr;
  if (!complete && !allocateRecords(state)) return nullptr;
  state.getMemStats();
  *state.finalMemStats = derive(*state.memStats);
  return state.finalMemStats;
}

MEMORY_MON::MEMORY_MON_INTERFACE::MEMORY_MON_INTERFACE() {
  tessary::printLine("Constructor entered for memory mon interface");
  if (allocateRecords(*this)) tessary::printLine("Constructor done");
}

MEMORY_MON::MEMORY_MON_INTERFACE::~MEMORY_MON_INTERFACE() {
  tessary::printLine("Destructor for memory mon interface entered.");
  std::free(memStats);
  std::free(finalMemStats);
}

void MEMORY_MON::MEMORY_MON_INTERFACE::getMemStats() {
  if (memStats == nullptr) return;
  tessary::TextBuffer text;
  const tessary::Descriptor meminfo = tessary::openForReading(kMeminfo);
  if (!meminfo) {
    tessary::printLine("/proc/meminfo cannot be opened. Failed.");
    return;
  }
  const std::unique_ptr<char, Release> memItem{tessary::allocateTable<char>(kKeyBytes)};
  if (!memItem) {
    tessary::printLine("calloc failed for memItem");
    return;
  }
  parseMeminfo(text.readAll(meminfo.get()), memItem.get(), *memStats);
}

}  // namespace memory
