#include "simulator/devices/gpu_profiler.h"

#include <algorithm>
#include <stdexcept>

namespace simulator {

namespace {

GpuProfiler* activeProfiler = nullptr;

std::string describe(const void* pointer) { return pointer == nullptr ? "null" : "set"; }

// The two arguments that are handed out into: what they point to now.
template <typename Record>
std::string describe(Record* const* array, const uint64_t* count) {
  return "(" + (array != nullptr ? describe(*array) : "nowhere") + ", " +
         (count != nullptr ? std::to_string(*count) : "nowhere") + ")";
}

std::string describe(const uint32_t* ids, uint32_t count) {
  std::string list = "null";
  if (ids != nullptr) {
    list = "{";
    for (uint32_t i = 0; i < count; ++i) list += (i == 0 ? "" : ", ") + std::to_string(ids[i]);
    list += "}";
  }
  return "(" + list + ", " + std::to_string(count) + ")";
}

template <typename Faults>
auto findFault(const Faults& faults, int call) {
  return std::find_if(faults.begin(), faults.end(), [call](const auto& fault) {
    return fault.call == call || fault.call == GpuProfiler::kEveryTime;
  });
}

template <typename Record>
ztResultCode handOut(std::vector<Record>& records, Record** array, uint64_t* count) {
  if (array == nullptr || count == nullptr) return ztInvalidParameter;
  *array = records.data();
  *count = records.size();
  return ztSuccess;
}

}  // namespace

GpuProfiler::GpuProfiler() {
  if (activeProfiler != nullptr) throw std::logic_error("there is a GPU profiler already");
  activeProfiler = this;
}

GpuProfiler::~GpuProfiler() { activeProfiler = nullptr; }

GpuProfiler* GpuProfiler::active() { return activeProfiler; }

void GpuProfiler::offer(uint32_t id, std::optional<std::string> name, Value value) {
  const std::lock_guard lock{mutex_};
  metrics_.push_back({id, std::move(name), std::move(value)});
}

void GpuProfiler::fail(Function function, ztResultCode result, int call) {
  const std::lock_guard lock{mutex_};
  failures_[static_cast<std::size_t>(function)].push_back({[result] { return result; }, call});
}

void GpuProfiler::fail(Function function, std::function<std::optional<ztResultCode>()> result) {
  const std::lock_guard lock{mutex_};
  failures_[static_cast<std::size_t>(function)].push_back({std::move(result), kEveryTime});
}

void GpuProfiler::answerListing(Listing listing, int call) {
  const std::lock_guard lock{mutex_};
  listings_.push_back({std::move(listing), call});
}

void GpuProfiler::answerReading(Reading reading, int call) {
  const std::lock_guard lock{mutex_};
  readings_.push_back({std::move(reading), call});
}

std::vector<std::string> GpuProfiler::calls() const {
  const std::lock_guard lock{mutex_};
  return calls_.events();
}

void GpuProfiler::keepHistory(bool keep) {
  const std::lock_guard lock{mutex_};
  calls_.keep(keep);
}

void GpuProfiler::onCall(std::function<void(const std::string& call)> observer) {
  const std::lock_guard lock{mutex_};
  observer_ = std::move(observer);
}

int GpuProfiler::record(Function function, const std::string& call) {
  calls_.add(call);
  if (observer_) observer_(call);
  return ++counts_[static_cast<std::size_t>(function)];
}

std::optional<ztResultCode> GpuProfiler::failure(Function function, int call) const {
  for (const auto& fault : failures_[static_cast<std::size_t>(function)]) {
    if (fault.call != call && fault.call != kEveryTime) continue;
    if (const auto result = fault.answer()) return result;
  }
  return std::nullopt;
}

const GpuProfiler::Metric* GpuProfiler::find(uint32_t id) const {
  const auto metric =
      std::find_if(metrics_.begin(), metrics_.end(), [id](const Metric& other) { return other.id == id; });
  return metric != metrics_.end() ? &*metric : nullptr;
}

ztResultCode GpuProfiler::init(const void* first, const void* second) {
  const std::lock_guard lock{mutex_};
  const int call = record(Function::kInit, "Init(" + describe(first) + ", " + describe(second) + ")");
  if (const auto result = failure(Function::kInit, call)) return *result;
  state_ = State::kInitialised;
  return ztSuccess;
}

ztResultCode GpuProfiler::getAvailableRealtimeMetrics(ztRealtimeMetricProperties** metrics, uint64_t* count) {
  const std::lock_guard lock{mutex_};
  const int call = record(Function::kGetAvailableRealtimeMetrics,
                          "GetAvailableRealtimeMetrics" + describe(metrics, count));
  const auto listing = findFault(listings_, call);
  if (listing != listings_.end()) return listing->answer(metrics, count);
  if (const auto result = failure(Function::kGetAvailableRealtimeMetrics, call)) return *result;
  if (state_ == State::kUninitialised) return ztInvalidState;
  properties_.clear();
  for (const Metric& metric : metrics_) {
    properties_.push_back({metric.id, metric.name ? metric.name->c_str() : nullptr, {}});
  }
  return handOut(properties_, metrics, count);
}

ztResultCode GpuProfiler::startRealtimeMonitor(const uint32_t* ids, uint32_t count) {
  const std::lock_guard lock{mutex_};
  const int call = record(Function::kStartRealtimeMonitor, "StartRealtimeMonitor" + describe(ids, count));
  if (const auto result = failure(Function::kStartRealtimeMonitor, call)) return *result;
  if (state_ != State::kInitialised) return ztInvalidState;
  if (ids == nullptr && count != 0) return ztInvalidParameter;
  const bool known = std::all_of(ids, ids + count, [this](uint32_t id) { return find(id) != nullptr; });
  if (!known) return ztInvalidParameter;
  monitored_.assign(ids, ids + count);
  state_ = State::kMonitoring;
  return ztSuccess;
}

ztResultCode GpuProfiler::getRealtimeValues(ztRealtimeMetricValue** values, uint64_t* count) {
  const std::lock_guard lock{mutex_};
  const int call = record(Function::kGetRealtimeValues, "GetRealtimeValues" + describe(values, count));
  const auto reading = findFault(readings_, call);
  if (reading != readings_.end()) return reading->answer(values, count);
  if (const auto result = failure(Function::kGetRealtimeValues, call)) return *result;
  if (state_ != State::kMonitoring) return ztInvalidState;
  values_.clear();
  for (const uint32_t id : monitored_) values_.push_back({id, find(id)->value()});
  return handOut(values_, values, count);
}

ztResultCode GpuProfiler::stopRealtimeMonitor() {
  const std::lock_guard lock{mutex_};
  const int call = record(Function::kStopRealtimeMonitor, "StopRealtimeMonitor()");
  if (const auto result = failure(Function::kStopRealtimeMonitor, call)) return *result;
  if (state_ != State::kMonitoring) return ztInvalidState;
  state_ = State::kInitialised;
  return ztSuccess;
}

ztResultCode GpuProfiler::shutdown() {
  const std::lock_guard lock{mutex_};
  const int call = record(Function::kShutdown, "Shutdown()");
  if (const auto result = failure(Function::kShutdown, call)) return *result;
  if (state_ == State::kUninitialised) return ztInvalidState;
  state_ = State::kUninitialised;
  properties_ = {};
  monitored_ = {};
  values_ = {};
  return ztSuccess;
}

}  // namespace simulator
