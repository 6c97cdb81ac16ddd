// Runs of the platform's closed GPU profiler (zoltrace.h) on its own, for a test program or a developer. They
// report on standard output. A gpu::GPU_MON must not be there meanwhile: it uses the same profiler.
#ifndef TESSARY_GPU_SELFTEST_H
#define TESSARY_GPU_SELFTEST_H

#include <cstdint>

#include "tessary/export.h"
#include "tessary/zoltrace.h"

// Writes one line: a heading that tells what the code means, and the message. A null message is an empty one.
TESSARY_API void Log(ztResultCode code, const char* message);

// 0 for "Clocks / Second", 1 for "GPU % Utilization", -1 for any other name, null included.
TESSARY_API int LookupMetricToTrack(const char* name);

// The name of the first of the `count` records that has the id: the profiler's own text, not a copy. Empty
// when there is no such record, or it has no name, or `metrics` is null.
TESSARY_API const char* LookupMetricName(uint32_t id, const ztRealtimeMetricProperties* metrics,
                                         uint64_t count);

// Both take the profiler from its initialisation through ten readings to its shutdown, on the caller's
// thread: 0 when all of that worked, 1 when the profiler failed, but for a failed reading, which costs only
// its own pass. A reading that succeeds without an array has no values.

// Asks the profiler for its metrics, and writes all values of each reading. It monitors the metrics with the
// two names of LookupMetricToTrack: the first two of them, should it offer more. Half a second.
TESSARY_API int RealTimeMetricsSample();

// Monitors the profiler's metrics 1 and 3 without asking which there are, and writes the first two values of
// each reading; the profiler must have two, since their number is not looked at. One second.
TESSARY_API int run_test();

#endif
