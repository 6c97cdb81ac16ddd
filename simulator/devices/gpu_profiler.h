// A GPU profiler that does not exist. While one is there, it answers the six functions of zoltrace.h, as a
// library of one process: see zoltrace.cpp. It needs no board.
//
//   GpuProfiler profiler;
//   profiler.offer(1, "Clocks / Second", [] { return 5.85e8; });
//   profiler.fail(GpuProfiler::Function::kGetRealtimeValues, ztTimeout, 2);   // the second reading
//
// It keeps to the order of calls that it documents: one that comes out of order answers ztInvalidState and
// changes nothing, as a call that fails on request does. Initialising it once more starts it anew.
#ifndef TESSARY_SIMULATOR_DEVICES_GPU_PROFILER_H
#define TESSARY_SIMULATOR_DEVICES_GPU_PROFILER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulator/board/fork_safe_mutex.h"
#include "simulator/board/history.h"
#include "tessary/zoltrace.h"

namespace simulator {

class GpuProfiler {
 public:
  enum class Function {
    kInit,
    kGetAvailableRealtimeMetrics,
    kStartRealtimeMonitor,
    kGetRealtimeValues,
    kStopRealtimeMonitor,
    kShutdown,
  };
  static constexpr std::size_t kFunctions = 6;
  static constexpr int kEveryTime = 0;

  using Value = std::function<double()>;
  using Listing = std::function<ztResultCode(ztRealtimeMetricProperties** metrics, uint64_t* count)>;
  using Reading = std::function<ztResultCode(ztRealtimeMetricValue** values, uint64_t* count)>;

  // One profiler at a time.
  GpuProfiler();
  ~GpuProfiler();
  GpuProfiler(const GpuProfiler&) = delete;
  GpuProfiler& operator=(const GpuProfiler&) = delete;

  static GpuProfiler* active();

  // -- what it offers

  // A metric more, after those before it. No name: a null pointer in its record. The value is asked for at
  // each reading. Ids may repeat: the first metric with an id is the one that is monitored.
  void offer(uint32_t id, std::optional<std::string> name, Value value);

  // -- faults; the calls of each function count from 1

  void fail(Function function, ztResultCode result, int call = kEveryTime);
  void fail(Function function, std::function<std::optional<ztResultCode>()> result);  // asked at each call

  // Answers in place of the profiler itself, whatever state it is in: arrays that are null or too short,
  // counts that are wrong, failures that hand something out all the same.
  void answerListing(Listing listing, int call = kEveryTime);
  void answerReading(Reading reading, int call = kEveryTime);

  // -- what happened

  // The calls in order, with what their arguments were or pointed to before the call:
  //   Init(null, null)
  //   GetAvailableRealtimeMetrics(null, 0)
  //   StartRealtimeMonitor({1, 3}, 2)
  //   GetRealtimeValues(null, 2)
  //   StopRealtimeMonitor()
  //   Shutdown()
  std::vector<std::string> calls() const;
  void keepHistory(bool keep);  // of the calls, or none: for a program that runs for hours

  // Is told of each call before it is answered, so that other events can be put in order with it.
  void onCall(std::function<void(const std::string& call)> observer);

  // -- for the functions of zoltrace.h

  ztResultCode init(const void* first, const void* second);
  ztResultCode getAvailableRealtimeMetrics(ztRealtimeMetricProperties** metrics, uint64_t* count);
  ztResultCode startRealtimeMonitor(const uint32_t* ids, uint32_t count);
  ztResultCode getRealtimeValues(ztRealtimeMetricValue** values, uint64_t* count);
  ztResultCode stopRealtimeMonitor();
  ztResultCode shutdown();

 private:
  enum class State { kUninitialised, kInitialised, kMonitoring };

  struct Metric {
    uint32_t id;
    std::optional<std::string> name;
    Value value;
  };

  template <typename Answer>
  struct Fault {
    Answer answer;
    int call;
  };

  const Metric* find(uint32_t id) const;
  int record(Function function, const std::string& call);  // which call of the function it is
  std::optional<ztResultCode> failure(Function function, int call) const;

  mutable ForkSafeMutex mutex_;
  State state_ = State::kUninitialised;
  std::vector<Metric> metrics_;
  using Failure = std::function<std::optional<ztResultCode>()>;
  std::array<std::vector<Fault<Failure>>, kFunctions> failures_;
  std::vector<Fault<Listing>> listings_;
  std::vector<Fault<Reading>> readings_;
  std::array<int, kFunctions> counts_{};
  History<std::string> calls_;
  std::function<void(const std::string&)> observer_;

  // What is handed out: it ends at the shutdown.
  std::vector<ztRealtimeMetricProperties> properties_;
  std::vector<uint32_t> monitored_;
  std::vector<ztRealtimeMetricValue> values_;
};

}  // namespace simulator

#endif
