// What the library adds to the platform's own calls, which return at once here: the closed profiler's and the
// bandwidth profiler's. The floor is the call alone.

#include <sys/ioctl.h>
#include <sys/types.h>

#include <cstdarg>
#include <memory>

#include "bench/subjects.h"
#include "bench/tree.h"
#include "tessary/ddr_mon.h"
#include "tessary/gpu_mon.h"
#include "tessary/zoltrace.h"

namespace {

ztRealtimeMetricProperties metrics[5];
ztRealtimeMetricValue values[5];

}  // namespace

extern "C" ztResultCode zoltrace_Init(void*, void*) { return ztSuccess; }

extern "C" ztResultCode zoltrace_GetAvailableRealtimeMetrics(ztRealtimeMetricProperties** list,
                                                             uint64_t* count) {
  for (uint32_t i = 0; i < 5; ++i) {
    metrics[i].id = i + 1;
    metrics[i].name = gpuBasicMetrics[i].c_str();
  }
  *list = metrics;
  *count = 5;
  return ztSuccess;
}

extern "C" ztResultCode zoltrace_StartRealtimeMonitor(const uint32_t*, uint32_t) { return ztSuccess; }

extern "C" ztResultCode zoltrace_GetRealtimeValues(ztRealtimeMetricValue** list, uint64_t* count) {
  *list = values;
  *count = 5;
  return ztSuccess;
}

extern "C" ztResultCode zoltrace_StopRealtimeMonitor() { return ztSuccess; }
extern "C" ztResultCode zoltrace_Shutdown() { return ztSuccess; }

extern "C" int ioctl(int /*descriptor*/, unsigned long /*request*/, ...) noexcept { return 0; }

namespace {

const bool kGpu = bench::add({"GPU sample over the profiler's call", 1, "sample", bench::Nodes::kOwn},
                             {{{},
                               bench::Who::kLibrary,
                               [] {
                                 const auto monitor = std::make_shared<gpu::GPU_MON>();
                                 return [monitor] { monitor->tessary_getGPUSample(); };
                               }},
                              {{}, bench::Who::kFloor, [] {
                                 return [] {
                                   ztRealtimeMetricValue* list = nullptr;
                                   uint64_t count = 0;
                                   zoltrace_GetRealtimeValues(&list, &count);
                                   asm volatile("" : : "g"(list) : "memory");
                                 };
                               }}});

const bool kDdr = bench::add({"DDR figures over the device's call", 1, "sample", bench::Nodes::kOwn},
                             {{{},
                               bench::Who::kLibrary,
                               [] {
                                 const auto tree = std::make_shared<bench::Tree>();
                                 tree->file("/dev/profiler", "");
                                 const auto monitor = std::make_shared<ddr::DDR_MON>();
                                 return [tree, monitor] { monitor->tessary_getDDRStats(); };
                               }},
                              {{}, bench::Who::kFloor, [] {
                                 return [] {
                                   char record[104];
                                   ::ioctl(3, 0xc0689801UL, record);
                                   asm volatile("" : : "g"(record) : "memory");
                                 };
                               }}});

}  // namespace
