#include "tessary/process_mon.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "base/console.h"
#include "base/waiting.h"

namespace process {

namespace {

using State = PROCESS_MON::PROCESS_MON_INTERFACE;

constexpr int kCallerId = 7;  // tells the wait hook who waits

bool startedBefore(const processStats& a, const processStats& b) {
  if (a.startTime < b.startTime) return true;
  return a.startTime == b.startTime && a.pid < b.pid;
}

// By references, since comparePid takes copies, names included. Until the ids wrap around, /proc lists the
// processes in this order.
void sortSample(State& state) {
  std::vector<processStats>& sample = state.currentSample;
  if (std::is_sorted(sample.begin(), sample.end(), startedBefore)) return;
  std::sort(sample.begin(), sample.end(), startedBefore);
}

template <typename Record>
void release(std::vector<Record>& records) {
  std::vector<Record>().swap(records);
}

void keepSample(State& state) { state.previousSample = std::exchange(state.currentSample, {}); }

template <typename Read>
void takeFirstSample(State& state, Read read) {
  state.numCores = ::sysconf(_SC_NPROCESSORS_CONF);
  state.clockTicks = ::sysconf(_SC_CLK_TCK);
  ::gettimeofday(&state.startTime, nullptr);
  read();
  sortSample(state);
  keepSample(state);
  state.samplingTime = 1000;
}

template <typename Read>
std::vector<resultProcInfo>* measure(State& state, tessary::WaitHook hook, Read read) {
  release(state.results);
  ::gettimeofday(&state.startTime, nullptr);
  if (!tessary::waitInterval(hook, kCallerId, state.samplingTime)) return &state.results;
  try {
    state.currentSample.reserve(state.previousSample.size());
    read();
    sortSample(state);
    state.getDiff(state.previousSample, state.currentSample);
  } catch (...) {  // of memory: what was read by then is no part of the next sample
    release(state.currentSample);
    throw;
  }
  keepSample(state);
  return &state.results;
}

void announce(PROCESS_MON& monitor) {
  tessary::printLine("The constructor of the proc_mon is called");
  monitor.numCores = static_cast<int>(monitor.implementation->numCores);
}

}  // namespace

// By value, as hosts are built against it. NOLINTNEXTLINE(performance-unnecessary-value-param)
bool comparePid(processStats a, processStats b) { return startedBefore(a, b); }

PROCESS_MON::PROCESS_MON() : PROCESS_MON(nullptr) {}

PROCESS_MON::PROCESS_MON(int (*hook)(int))
    : numCores(0), implementation(new PROCESS_MON_INTERFACE), waitHook(hook) {
  announce(*this);
}

PROCESS_MON::PROCESS_MON(int (*hook)(int), std::vector<int> pids)
    : numCores(0), implementation(new PROCESS_MON_INTERFACE{std::move(pids)}), waitHook(hook) {
  announce(*this);
}

PROCESS_MON::~PROCESS_MON() {
  implementation.reset();
  tessary::printLine("Destructor of the proc_mon is called");
}

std::vector<resultProcInfo>* PROCESS_MON::tessary_getProcessStats() {
  return measure(*implementation, waitHook, [&] { implementation->getData(); });
}

std::vector<resultProcInfo>* PROCESS_MON::tessary_getProcessStats(std::vector<int> pids) {
  return measure(*implementation, waitHook, [&] { implementation->getData(std::move(pids)); });
}

void PROCESS_MON::tessary_setSamplingTime(int ms) {
  implementation->samplingTime = ms;
  tessary::printLine("Current Sample Time = ", implementation->samplingTime);
}

PROCESS_MON::PROCESS_MON_INTERFACE::PROCESS_MON_INTERFACE() : startTime{}, endTime{} {
  takeFirstSample(*this, [&] { getData(); });
}

PROCESS_MON::PROCESS_MON_INTERFACE::PROCESS_MON_INTERFACE(std::vector<int> pids) : startTime{}, endTime{} {
  takeFirstSample(*this, [&] { getData(std::move(pids)); });
}

PROCESS_MON::PROCESS_MON_INTERFACE::~PROCESS_MON_INTERFACE() = default;

}  // namespace process
