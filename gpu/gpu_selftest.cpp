#include "tessary/gpu_selftest.h"

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

constexpr const char* kTrackedNames[] = {"Clocks / Second", "GPU % Utilization"};
constexpr int kNotTracked = -1;

// The profiler's own ids; what they measure is the profiler's to say.
constexpr uint32_t kFixedIds[] = {1, 3};

constexpr int kPasses = 10;
constexpr useconds_t kPause = 50000;  // microseconds

constexpr std::size_t kTextBytes = 256;

constexpr int kCompleted = 0;
constexpr int kFailed = 1;

const char* headingOf(ztResultCode code) {
  switch (code) {
    case ztTimeout:
      return "Zoltrace Timeout Error";
    case ztInvalidParameter:
      return "Zoltrace Invalid Parameter Error";
    case ztInvalidState:
      return "Zoltrace Invalid State Error";
    case ztInternalFailure:
      return "Zoltrace Internal Failure Error";
    default:
      return "Zoltrace";
  }
}

bool succeeded(ztResultCode result, const char* complaint) {
  if (result == ztSuccess) return true;
  Log(result, complaint);
  return false;
}

int giveUp() {
  zoltrace_Shutdown();
  return kFailed;
}

bool initialize() {
  return succeeded(zoltrace_Init(nullptr, nullptr), "Could not initialize the profiler interface.");
}

bool start(const uint32_t* ids, uint32_t count) {
  return succeeded(zoltrace_StartRealtimeMonitor(ids, count), "Could not start monitoring realtime metrics.");
}

int stopAndShutDown() {
  if (!succeeded(zoltrace_StopRealtimeMonitor(), "Could not stop monitoring realtime metrics."))
    return giveUp();
  return succeeded(zoltrace_Shutdown(), "Could not shutdown the profiler interface.") ? kCompleted : kFailed;
}

struct Values {
  ztResultCode result;
  const ztRealtimeMetricValue* records;  // null when there are none
  uint64_t count;
};

Values readValues() {
  ztRealtimeMetricValue* records = nullptr;
  uint64_t count = 0;
  const ztResultCode result = zoltrace_GetRealtimeValues(&records, &count);
  return {result, records, records != nullptr ? count : 0};
}

bool succeeded(const Values& values) {
  return succeeded(values.result, "Could not get realtime metric values.");
}

void printNamed(const char* name, double value) {
  char text[kTextBytes] = {};
  std::snprintf(text, sizeof text, "Metric '%s' has value %lf", name, value);
  Log(ztSuccess, text);
}

}  // namespace

void Log(ztResultCode code, const char* message) {
  std::printf("%s: %s\n", headingOf(code), message != nullptr ? message : "");
}

int LookupMetricToTrack(const char* name) {
  if (name == nullptr) return kNotTracked;
  for (int i = 0; i < static_cast<int>(std::size(kTrackedNames)); ++i) {
    if (std::strcmp(name, kTrackedNames[i]) == 0) return i;
  }
  return kNotTracked;
}

const char* LookupMetricName(uint32_t id, const ztRealtimeMetricProperties* metrics, uint64_t count) {
  if (metrics == nullptr) return "";
  for (uint64_t i = 0; i < count; ++i) {
    if (metrics[i].id == id) return metrics[i].name != nullptr ? metrics[i].name : "";
  }
  return "";
}

int RealTimeMetricsSample() {
  if (!initialize()) return kFailed;

  ztRealtimeMetricProperties* metrics = nullptr;
  uint64_t metricCount = 0;
  if (!succeeded(zoltrace_GetAvailableRealtimeMetrics(&metrics, &metricCount),
                 "Could not get available realtime metrics.")) {
    return giveUp();
  }
  if (metrics == nullptr) metricCount = 0;

  uint32_t ids[std::size(kTrackedNames)] = {};
  uint32_t taken = 0;
  for (uint64_t i = 0; i < metricCount && taken < std::size(ids); ++i) {
    if (LookupMetricToTrack(metrics[i].name) == kNotTracked) continue;
    ids[taken++] = metrics[i].id;
    std::printf("%s , ID = %d\n", metrics[i].name, static_cast<int>(metrics[i].id));
  }
  if (!start(ids, taken)) return giveUp();

  for (int pass = 0; pass < kPasses; ++pass) {
    ::usleep(kPause);
    const Values values = readValues();
    if (!succeeded(values)) continue;
    for (uint64_t i = 0; i < values.count; ++i) {
      const ztRealtimeMetricValue& record = values.records[i];
      printNamed(LookupMetricName(record.id, metrics, metricCount), record.value);
    }
    std::printf("\n");
  }
  return stopAndShutDown();
}

int run_test() {
  if (!initialize()) return kFailed;
  if (!start(kFixedIds, static_cast<uint32_t>(std::size(kFixedIds)))) return giveUp();

  for (int pass = 0; pass < kPasses; ++pass) {
    ::usleep(kPause);
    const Values values = readValues();
    ::usleep(kPause);
    if (!succeeded(values)) continue;
    if (values.records != nullptr) {
      for (std::size_t i = 0; i < std::size(kFixedIds); ++i) {
        std::printf("Metric value = %lf\n", values.records[i].value);
      }
    }
    std::printf("\n");
  }
  return stopAndShutDown();
}
