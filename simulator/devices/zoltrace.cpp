// The closed GPU profiler's functions, in front of those of libZoltraceInterface.so: the active GpuProfiler
// answers them. Without one they are the library's own.

#include "tessary/zoltrace.h"

#include <dlfcn.h>

#include "simulator/devices/gpu_profiler.h"

#define STANDS_IN extern "C" __attribute__((visibility("default")))

namespace {

using simulator::GpuProfiler;

// The function of the same name that comes after this one; a failure where no library has it.
template <typename... Arguments>
ztResultCode callNext(const char* name, Arguments... arguments) {
  using Function = ztResultCode(Arguments...);
  auto* const function = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
  return function != nullptr ? function(arguments...) : ztInternalFailure;
}

}  // namespace

STANDS_IN ztResultCode zoltrace_Init(void* first, void* second) {
  GpuProfiler* const profiler = GpuProfiler::active();
  return profiler != nullptr ? profiler->init(first, second) : callNext("zoltrace_Init", first, second);
}

STANDS_IN ztResultCode zoltrace_GetAvailableRealtimeMetrics(ztRealtimeMetricProperties** metrics,
                                                            uint64_t* count) {
  GpuProfiler* const profiler = GpuProfiler::active();
  return profiler != nullptr ? profiler->getAvailableRealtimeMetrics(metrics, count)
                             : callNext("zoltrace_GetAvailableRealtimeMetrics", metrics, count);
}

STANDS_IN ztResultCode zoltrace_StartRealtimeMonitor(const uint32_t* ids, uint32_t count) {
  GpuProfiler* const profiler = GpuProfiler::active();
  return profiler != nullptr ? profiler->startRealtimeMonitor(ids, count)
                             : callNext("zoltrace_StartRealtimeMonitor", ids, count);
}

STANDS_IN ztResultCode zoltrace_GetRealtimeValues(ztRealtimeMetricValue** values, uint64_t* count) {
  GpuProfiler* const profiler = GpuProfiler::active();
  return profiler != nullptr ? profiler->getRealtimeValues(values, count)
                             : callNext("zoltrace_GetRealtimeValues", values, count);
}

STANDS_IN ztResultCode zoltrace_StopRealtimeMonitor() {
  GpuProfiler* const profiler = GpuProfiler::active();
  return profiler != nullptr ? profiler->stopRealtimeMonitor() : callNext("zoltrace_StopRealtimeMonitor");
}

STANDS_IN ztResultCode zoltrace_Shutdown() {
  GpuProfiler* const profiler = GpuProfiler::active();
  return profiler != nullptr ? profiler->shutdown() : callNext("zoltrace_Shutdown");
}
