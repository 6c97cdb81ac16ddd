// The closed GPU profiler on a machine that has none: it cannot be initialised, so that whatever comes next
// is out of order. It offers no metrics and no values.

#include "tessary/zoltrace.h"

#define STANDS_IN extern "C" __attribute__((visibility("default")))

STANDS_IN ztResultCode zoltrace_Init(void*, void*) { return ztInternalFailure; }

STANDS_IN ztResultCode zoltrace_GetAvailableRealtimeMetrics(ztRealtimeMetricProperties** metrics,
                                                            uint64_t* count) {
  *metrics = nullptr;
  *count = 0;
  return ztInvalidState;
}

STANDS_IN ztResultCode zoltrace_StartRealtimeMonitor(const uint32_t*, uint32_t) { return ztInvalidState; }

STANDS_IN ztResultCode zoltrace_GetRealtimeValues(ztRealtimeMetricValue** values, uint64_t* count) {
  *values = nullptr;
  *count = 0;
  return ztInvalidState;
}

STANDS_IN ztResultCode zoltrace_StopRealtimeMonitor() { return ztInvalidState; }

STANDS_IN ztResultCode zoltrace_Shutdown() { return ztInvalidState; }
