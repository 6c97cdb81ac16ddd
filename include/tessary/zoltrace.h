// The closed GPU profiler of the platform, libZoltraceInterface.so: its six functions and their records, as
// far as gpu_mon.h and gpu_selftest.h rely on them. The library is the platform's; libtessary.so links
// against it.
//
// The profiler is uninitialised, initialised (zoltrace_Init) or monitoring (zoltrace_StartRealtimeMonitor). A
// call that is out of order answers with a result other than ztSuccess. There is one profiler in a process,
// whoever uses it.
#ifndef TESSARY_ZOLTRACE_H
#define TESSARY_ZOLTRACE_H

#include <cstdint>

extern "C" {

// Codes beyond these are failures too.
enum ztResultCode : int32_t {
  ztSuccess = 0,
  ztTimeout = 1,
  ztInvalidParameter = 2,
  ztInvalidState = 3,
  ztInternalFailure = 4,
};

// A metric that the profiler offers. 40 bytes.
struct ztRealtimeMetricProperties {
  uint32_t id;
  const char* name;            // as shown to users, NUL-terminated: "GPU % Utilization"
  unsigned char reserved[24];  // a further description, unknown here
};

// The current value of a metric. 16 bytes.
struct ztRealtimeMetricValue {
  uint32_t id;
  // In the unit that the metric's name tells: Hz for "Clocks / Second", percent, bytes per second.
  double value;
};

// The two pointers are unknown here: libtessary.so passes null.
ztResultCode zoltrace_Init(void*, void*);

// Hands out the metrics on offer. The array and its texts belong to the profiler, which does not say for how
// long: use them before the next call.
ztResultCode zoltrace_GetAvailableRealtimeMetrics(ztRealtimeMetricProperties** metrics, uint64_t* count);

ztResultCode zoltrace_StartRealtimeMonitor(const uint32_t* ids, uint32_t count);

// Hands out one value for each monitored metric, in the order in which the ids were given to
// zoltrace_StartRealtimeMonitor. The array belongs to the profiler.
ztResultCode zoltrace_GetRealtimeValues(ztRealtimeMetricValue** values, uint64_t* count);

ztResultCode zoltrace_StopRealtimeMonitor();

ztResultCode zoltrace_Shutdown();
}

#endif
