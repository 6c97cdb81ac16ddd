// GPU clock, utilization, bus load and memory traffic: from the platform's closed profiler (zoltrace.h), and
// from two sysfs nodes of the GPU driver.
#ifndef TESSARY_GPU_MON_H
#define TESSARY_GPU_MON_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tessary/export.h"

// The tables below are process-wide: every gpu::GPU_MON that is constructed adds its own set to them, none
// takes it away, and nothing guards them against use from several threads. They are built when the library is
// loaded.

struct GpuMetricEntry {
  std::string name;  // the profiler's; empty for a metric without a name
  uint32_t id;       // the profiler's
  uint32_t index;    // its position in the profiler's list, and in the array
};

// The five names to look for, in the order in which the getters of gpu::GPU_MON expect them:
// "Clocks / Second", "GPU % Utilization", "GPU % Bus Busy", "Read Total (Bytes/sec)",
// "Write Total (Bytes/sec)". A metric is tracked when its own name is the beginning of one of them: an exact
// or a shortened name, or an empty one.
TESSARY_API extern std::vector<std::string> gpuBasicMetrics;

// The positions of the tracked metrics in the profiler's list, in the profiler's order, and their names as
// the profiler writes them. gpuHeaders grows by GPU_MON_INTERFACE::setGPUHeaders, too.
TESSARY_API extern std::vector<int> requiredIndices;
TESSARY_API extern std::vector<std::string> gpuHeaders;

// Empty: neither filled nor read by the library.
TESSARY_API extern std::vector<double> gpuValues;

// All metrics that the profiler offered to the monitor that was constructed last: as many entries as it
// offered. Null before the first monitor, and when the memory was refused. Earlier arrays stay where they
// are: none is ever released.
TESSARY_API extern GpuMetricEntry* gpuMap;

namespace gpu {

// Construction initialises the profiler, and starts the monitoring of all metrics that it offers; destruction
// stops it and shuts the profiler down. Both always succeed. Where the profiler fails, as on a board without
// it, the monitor has its sysfs figures alone: messages go to the platform log under "libtessary : gpu_mon"
// and to standard output.
//
// The profiler is one for the process, so that the destruction of one monitor ends the monitoring of all. One
// object must not be used from two threads at once, and monitors are constructed and sampled from one thread
// at a time. A call needs 64 KiB of stack, besides what the profiler uses, and opens one node.
class TESSARY_API GPU_MON {
 public:
  class GPU_MON_INTERFACE;

  GPU_MON();
  ~GPU_MON();
  GPU_MON(const GPU_MON&) = delete;
  GPU_MON& operator=(const GPU_MON&) = delete;

  // Takes the profiler's current values; nothing waits. The five sampled fields below get the values at the
  // positions in entries 0 to 4 of requiredIndices: what the process's first monitor found, whichever monitor
  // samples. They hold what they are named for when the profiler lists the tracked metrics in the order of
  // gpuBasicMetrics.
  //
  // Throws std::out_of_range when requiredIndices holds fewer than five entries, as without a working
  // profiler; the fields before the missing one are new then. A reading that fails is reported on standard
  // output. The fields keep their values when the profiler hands out no array of values. An array is read at
  // the five positions whatever count comes with it: the profiler hands out one value for each metric on
  // offer.
  void tessary_getGPUSample();

  // A copy of gpuHeaders.
  std::vector<std::string> tessary_getGPUHeaders();

  // The figures of the last tessary_getGPUSample, 0 before the first.
  float tessary_getGPUFrequency();    // MHz
  float tessary_gpuBusBusy();         // percent
  float tessary_getReadBandwidth();   // bytes per second
  float tessary_getWriteBandwidth();  // bytes per second

  // The last sample's utilization in percent, as the profiler measures it. -1.0 until
  // GPU_MON_INTERFACE::get_GPU_MaxClock has read the maximum clock, and again after it has failed to: for
  // comparison, each call reads the busy percentage too, weighs it by the clock's share of the maximum, and
  // logs it.
  float tessary_getGPUUtilization();

  // The busy percentage from /sys/class/vrdx/vrdx-3d0/gpu_busy_percentage, read at the call; -1.0 when the
  // node cannot be opened. The previous figure when the node holds no number.
  float tessary_getGPUBusyPercent();

  std::unique_ptr<GPU_MON_INTERFACE> implementation;
};

// The state behind the facade.
class TESSARY_API GPU_MON::GPU_MON_INTERFACE {
 public:
  GPU_MON_INTERFACE();

  // Leaves metricIds and gpuMap unreleased, by design.
  ~GPU_MON_INTERFACE();
  GPU_MON_INTERFACE(const GPU_MON_INTERFACE&) = delete;
  GPU_MON_INTERFACE& operator=(const GPU_MON_INTERFACE&) = delete;

  // Appends the five basic names to gpuHeaders, whatever is there, and writes all of gpuHeaders to standard
  // output, one entry a line.
  void setGPUHeaders();

  // Reads /sys/class/vrdx/vrdx-3d0/max_clock_mhz into the target's maxClock: -1.0 when the node cannot be
  // opened, the previous figure when it holds no number. The target is not null. Nothing but the host calls
  // it.
  void get_GPU_MaxClock(GPU_MON_INTERFACE* target);

  float currentFrequency = 0;     // always 0: only logged
  float busyPercent = 0;          // of the last tessary_getGPUBusyPercent that could open the node
  float spareFigure = 0;          // read by nothing
  float maxClock = -1;            // MHz; -1.0 not read
  uint32_t* metricIds = nullptr;  // of all metrics on offer, in the profiler's order; null when refused
  uint64_t metricCount = 0;       // metrics on offer; then, values in the profiler's last reading
  float clocksPerSecond = 0;      // Hz, of the last sample like the four below
  float utilizationPercent = 0;
  float busBusyPercent = 0;
  float readBytesPerSec = 0;  // bytes per second
  float writeBytesPerSec = 0;
};

}  // namespace gpu

#endif
