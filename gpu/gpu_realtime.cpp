#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/console.h"
#include "base/table.h"
#include "gpu/gpu_log.h"
#include "tessary/gpu_mon.h"
#include "tessary/zoltrace.h"

static_assert(sizeof(ztRealtimeMetricProperties) == 40 && offsetof(ztRealtimeMetricProperties, name) == 8);
static_assert(sizeof(ztRealtimeMetricValue) == 16 && offsetof(ztRealtimeMetricValue, value) == 8);

namespace gpu {

namespace {

using State = GPU_MON::GPU_MON_INTERFACE;

// In the order of the entries of requiredIndices.
constexpr float State::*kSampledFields[] = {&State::clocksPerSecond, &State::utilizationPercent,
                                            &State::busBusyPercent, &State::readBytesPerSec,
                                            &State::writeBytesPerSec};

GpuMetricEntry* allocateMap(std::size_t entries) {
  auto* const map = tessary::allocateForever<GpuMetricEntry>(entries);
  if (map != nullptr) std::uninitialized_value_construct_n(map, entries);
  return map;
}

bool isBasicMetric(std::string_view name) {
  return std::any_of(gpuBasicMetrics.begin(), gpuBasicMetrics.end(),
                     [name](const std::string& basic) { return basic.compare(0, name.size(), name) == 0; });
}

// The tracked metrics of one monitor. The process's tables get them together or, where memory is refused, none of them:
// every monitor reads at the positions that stand there first.
struct Tracked {
  std::vector<int> positions;
  std::vector<std::string> names;
};

void enterMetric(State& state, std::size_t position, const ztRealtimeMetricProperties& metric,
                 Tracked& tracked) {
  const bool named = metric.name != nullptr;
  if (state.metricIds != nullptr) state.metricIds[position] = metric.id;
  if (gpuMap != nullptr) {
    gpuMap[position] = {named ? metric.name : "", metric.id, static_cast<uint32_t>(position)};
  }
  if (named && isBasicMetric(metric.name)) {
    tracked.positions.push_back(static_cast<int>(position));
    tracked.names.emplace_back(metric.name);
  }
}

void enter(Tracked tracked) {
  requiredIndices.reserve(requiredIndices.size() + tracked.positions.size());
  gpuHeaders.reserve(gpuHeaders.size() + tracked.names.size());
  requiredIndices.insert(requiredIndices.end(), tracked.positions.begin(), tracked.positions.end());
  std::move(tracked.names.begin(), tracked.names.end(), std::back_inserter(gpuHeaders));
}

// What the profiler says of asking it for its metrics.
ztResultCode takeMetrics(State& state) {
  ztRealtimeMetricProperties* metrics = nullptr;
  uint64_t count = 0;
  const ztResultCode listed = zoltrace_GetAvailableRealtimeMetrics(&metrics, &count);
  state.metricIds = tessary::allocateForever<uint32_t>(count);
  if (state.metricIds == nullptr) tessary::printLine("Calloc failed");
  tessary::printLine("Num available metrics = " + std::to_string(count));
  state.metricCount = count;
  gpuMap = allocateMap(count);
  // Before the shutdown that follows a failed listing: the array is the profiler's.
  Tracked tracked;
  for (uint64_t i = 0; metrics != nullptr && i < count; ++i) enterMetric(state, i, metrics[i], tracked);
  enter(std::move(tracked));
  return listed;
}

}  // namespace

// Goes on to the end whatever fails: the profiler answers calls that are out of order with a failure.
GPU_MON::GPU_MON_INTERFACE::GPU_MON_INTERFACE() {
  TESSARY_LOG_VERBOSE(kLog, "Inside the Metal GPU Constructor");
  if (zoltrace_Init(nullptr, nullptr) != ztSuccess) {
    tessary::printLine("could not initialize the profiler.");
    TESSARY_LOG_ERROR(kLog, "Tessary: Could Not initialize Zoltrace");
  }

  ztResultCode listed = ztSuccess;
  try {
    listed = takeMetrics(*this);
  } catch (...) {  // of memory: no destructor will do it
    zoltrace_Shutdown();
    throw;
  }
  if (listed != ztSuccess) {
    tessary::printLine("Could not get available realtime metrics.");
    zoltrace_Shutdown();
  }

  if (zoltrace_StartRealtimeMonitor(metricIds, static_cast<uint32_t>(metricCount)) != ztSuccess) {
    TESSARY_LOG_VERBOSE(kLog, "PIL : Could not start monitoring realtime metrics.");
    zoltrace_Shutdown();
  }
  // Primes the profiler: what it has this soon is dropped.
  ztRealtimeMetricValue* dropped = nullptr;
  zoltrace_GetRealtimeValues(&dropped, &metricCount);
  TESSARY_LOG_VERBOSE(kLog, "Constructor ended");
  TESSARY_LOG_VERBOSE(kLog, "GPU_MON_INTERFACE : Constructor done.\n");
}

GPU_MON::GPU_MON_INTERFACE::~GPU_MON_INTERFACE() {
  currentFrequency = 0;
  busyPercent = 0;
  spareFigure = 0;
  if (zoltrace_StopRealtimeMonitor() != ztSuccess) {
    tessary::printLine("Could not stop monitoring the metrics.");
    zoltrace_Shutdown();  // the next one comes all the same, by design
  }
  if (zoltrace_Shutdown() != ztSuccess) tessary::printLine("Could not shutdown the profiler.");
  TESSARY_LOG_VERBOSE(kLog, "GPU_MON_INTERFACE : Destructor done.\n");
}

void GPU_MON::tessary_getGPUSample() {
  State& state = *implementation;
  ztRealtimeMetricValue* values = nullptr;
  if (zoltrace_GetRealtimeValues(&values, &state.metricCount) != ztSuccess) {
    tessary::printLine("Could not get realtime metric values.");
  }
  for (std::size_t k = 0; k < std::size(kSampledFields); ++k) {
    const auto position = static_cast<std::size_t>(requiredIndices.at(k));
    // Whatever count the profiler left: it may answer "none" while it warms up, and leave that alone later.
    if (values != nullptr) state.*kSampledFields[k] = static_cast<float>(values[position].value);
  }
}

}  // namespace gpu
