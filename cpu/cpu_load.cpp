#include <algorithm>
#include <cerrno>
#include <iterator>
#include <numeric>

#include "base/reading.h"
#include "base/scanner.h"
#include "base/waiting.h"
#include "cpu/cpu_log.h"
#include "tessary/cpu_mon.h"

namespace cpu {

namespace {

constexpr double kUnmeasured = -1.0;

// cpu3 10132153 290696 3084719 46828483 16683 0 25195 0 175628 0
// user nice system idle iowait irq softirq steal guest guest_nice, in ticks. The label is not looked at, and
// a column that does not scan keeps the value of the row before.
class TickRow {
 public:
  void scan(tessary::Scanner& text) {
    text.row().skipWord();
    for (double& ticks : columns_) text.real(ticks);
    text.space();
  }

  double idle() const { return columns_[3]; }
  double steal() const { return columns_[7]; }

  // The kernel has counted guest time in user and nice already; it counts once more here.
  double total() const { return std::accumulate(std::begin(columns_), std::end(columns_), 0.0); }

 private:
  double columns_[10] = {};
};

using State = CPU_MON::CPU_MON_INTERFACE;

void rememberRow(State& state, int row, const TickRow& ticks) {
  state.prevIdleTime[row] = ticks.idle();
  state.prevTotalTime[row] = ticks.total();
  state.prevStealTime[row] = ticks.steal();
}

// Standing counters divide by zero: the shares are not finite then.
void deriveRow(State& state, int row, const TickRow& ticks) {
  const double delta = ticks.total() - state.prevTotalTime[row];
  state.cpuUsage[row] = 100 - ((ticks.idle() - state.prevIdleTime[row]) * 100 / delta);
  state.stealTime[row] = (ticks.steal() - state.prevStealTime[row]) * 100 / delta;
}

// Replaces the kernel's own aggregate by the cores' figures, weighted by their shares of the capacity.
void weighTotals(State& state, int cores) {
  state.cpuUsage[0] = 0;
  state.stealTime[0] = 0;
  for (int core = 0; core < cores; ++core) {
    const double share =
        state.cpuFactor != nullptr ? static_cast<double>(state.cpuFactor[core]) : 1.0 / state.numCores;
    state.cpuUsage[0] += state.cpuUsage[core + 1] * share;
    state.stealTime[0] += state.stealTime[core + 1] * share;
    TESSARY_LOG_VERBOSE(kLog, "CPU_MON : cpu%d cpu_load = %lf.\n", core, state.cpuUsage[core + 1]);
  }
}

tessary::Descriptor openStat() {
  tessary::Descriptor stat = tessary::openForReading("/proc/stat");
  if (!stat) TESSARY_LOG_ERROR(kLog, "Error while reading the CPU node. Error number = %d\n", errno);
  return stat;
}

}  // namespace

double* CPU_MON::tessary_getPerCoreUsage() {
  State& state = *implementation;
  const int cores = std::min(numCores, state.numCores);  // the tables hold no more

  tessary::TextBuffer text;
  TickRow ticks;
  {
    const tessary::Descriptor stat = openStat();
    if (!stat) return nullptr;
    if (state.prevIdleTime == nullptr || state.prevTotalTime == nullptr || state.stealTime == nullptr ||
        state.prevStealTime == nullptr || state.cpuUsage == nullptr) {
      logAllocationFailure();
      return nullptr;
    }
    tessary::Scanner rows{text.readAll(stat.get())};
    for (int row = 0; row <= cores; ++row) {
      ticks.scan(rows);
      rememberRow(state, row, ticks);
    }
    state.cpuUsage[0] = 0;
  }

  tessary::waitInterval(nullptr, 0, state.samplingTime);

  const tessary::Descriptor stat = openStat();
  if (!stat) return nullptr;
  tessary::Scanner rows{text.readAll(stat.get())};
  for (int row = 0; row <= cores; ++row) {
    ticks.scan(rows);
    deriveRow(state, row, ticks);
    rememberRow(state, row, ticks);
  }
  weighTotals(state, cores);
  return state.cpuUsage;
}

double CPU_MON::tessary_getTotalCPULoad() {
  const double* const usage = tessary_getPerCoreUsage();
  const double total = usage != nullptr ? usage[0] : kUnmeasured;
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON : total cpu = %lf.\n", total);
  return total;
}

double* CPU_MON::tessary_getPerCoreStealTime() { return implementation->stealTime; }

}  // namespace cpu
