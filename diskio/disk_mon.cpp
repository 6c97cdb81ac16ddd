#include "tessary/disk_mon.h"

#include "base/waiting.h"
#include "diskio/disk_log.h"

namespace diskio {

namespace {

constexpr int kHookCallerId = 8;

}  // namespace

DISK_MON::DISK_MON() : DISK_MON(nullptr) {}

DISK_MON::DISK_MON(int (*hook)(int)) : implementation(new DISK_MON_INTERFACE), waitHook(hook) {
  TESSARY_LOG_VERBOSE(kLog, "DISK_MON : Constructor done.\n");
}

DISK_MON::~DISK_MON() {
  implementation.reset();
  TESSARY_LOG_VERBOSE(kLog, "DISK_MON : Destructor done.\n");
}

void DISK_MON::tessary_setSamplingTime(int ms) { implementation->samplingTime = ms; }

std::vector<_iostats_t>& DISK_MON::tessary_getRawIOStats() {
  DISK_MON_INTERFACE& state = *implementation;
  state.assign_stats(state.getDiskStats(), state.result);
  return state.result;
}

std::vector<_iostats_t>& DISK_MON::tessary_getIOStats() {
  DISK_MON_INTERFACE& state = *implementation;
  state.assign_stats(state.getDiskStats(), state.firstSample);
  if (!tessary::waitInterval(waitHook, kHookCallerId, state.samplingTime)) {
    state.result.clear();
    return state.result;
  }
  state.assign_stats(state.getDiskStats(), state.secondSample);
  state.calc_delta(state.firstSample, state.secondSample);
  return state.result;
}

int DISK_MON::tessary_getNumOfIOStats() { return static_cast<int>(implementation->result.size()); }

DISK_MON::DISK_MON_INTERFACE::DISK_MON_INTERFACE() {
  TESSARY_LOG_VERBOSE(kLog, "DISK_MON_INTERFACE : Constructor done.\n");
}

DISK_MON::DISK_MON_INTERFACE::~DISK_MON_INTERFACE() {
  TESSARY_LOG_VERBOSE(kLog, "DISK_MON_INTERFACE : Destructor done.\n");
}

}  // namespace diskio
