#include "tessary/gpu_selftest.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "simulator/devices/gpu_profiler.h"
#include "tests/support.h"

namespace {

using simulator::Board;
using simulator::GpuProfiler;
using Function = GpuProfiler::Function;

struct Outcome {
  int result;
  std::string output;
};

template <typename Run>
Outcome run(Run routine) {
  Captured output;
  const int result = routine();
  return {result, output.text()};
}

Lines callsOfARun(Lines calls) {
  calls.insert(calls.end(), 10, "GetRealtimeValues(null, 0)");
  calls.insert(calls.end(), {"StopRealtimeMonitor()", "Shutdown()"});
  return calls;
}

TEST(GpuSelfTest, LogsUnderTheHeadingOfTheCode) {
  const Outcome lines = run([] {
    for (int code = 0; code <= 5; ++code) Log(static_cast<ztResultCode>(code), "100%s");
    Log(ztTimeout, nullptr);
    return 0;
  });
  EXPECT_EQ(lines.output,
            "Zoltrace: 100%s\n"
            "Zoltrace Timeout Error: 100%s\n"
            "Zoltrace Invalid Parameter Error: 100%s\n"
            "Zoltrace Invalid State Error: 100%s\n"
            "Zoltrace Internal Failure Error: 100%s\n"
            "Zoltrace: 100%s\n"
            "Zoltrace Timeout Error: \n");
}

TEST(GpuSelfTest, LooksMetricsUp) {
  EXPECT_EQ(LookupMetricToTrack("Clocks / Second"), 0);
  EXPECT_EQ(LookupMetricToTrack("GPU % Utilization"), 1);
  EXPECT_EQ(LookupMetricToTrack("GPU % Utilization "), -1);
  EXPECT_EQ(LookupMetricToTrack(nullptr), -1);

  const ztRealtimeMetricProperties metrics[] = {{5, nullptr, {}}, {6, "b", {}}, {6, "c", {}}};
  EXPECT_EQ(LookupMetricName(6, metrics, 3), metrics[1].name);
  EXPECT_STREQ(LookupMetricName(6, metrics, 1), "");
  EXPECT_STREQ(LookupMetricName(5, metrics, 3), "");
  EXPECT_STREQ(LookupMetricName(6, nullptr, 3), "");
}

TEST(GpuSelfTest, SamplesTheTwoTrackedMetrics) {
  Board board;
  GpuProfiler profiler;
  int clock = 585000000;
  profiler.offer(9, "GPU % Utilization", [] { return 12.25; });
  profiler.offer(8, "GPU % Bus Busy", [] { return 1; });
  profiler.offer(4000000000U, "Clocks / Second", [&] { return ++clock; });
  profiler.offer(6, "Clocks / Second", [] { return 2; });  // one more than the two slots hold
  profiler.fail(Function::kGetRealtimeValues, ztTimeout, 2);

  const Outcome outcome = run(RealTimeMetricsSample);

  EXPECT_EQ(outcome.result, 0);
  std::string expected = "GPU % Utilization , ID = 9\nClocks / Second , ID = -294967296\n";
  for (int reading = 1; reading <= 9; ++reading) {
    if (reading == 2) expected += "Zoltrace Timeout Error: Could not get realtime metric values.\n";
    expected +=
        "Zoltrace: Metric 'GPU % Utilization' has value 12.250000\n"
        "Zoltrace: Metric 'Clocks / Second' has value " +
        std::to_string(585000000 + reading) + ".000000\n\n";
  }
  EXPECT_EQ(outcome.output, expected);
  EXPECT_EQ(profiler.calls(), callsOfARun({"Init(null, null)", "GetAvailableRealtimeMetrics(null, 0)",
                                           "StartRealtimeMonitor({9, 4000000000}, 2)"}));
  EXPECT_EQ(board.waits(), std::vector<std::int64_t>(10, 50000));
}

TEST(GpuSelfTest, PrintsWhateverTheProfilerReturns) {
  static ztRealtimeMetricValue records[] = {{1, -0.5}, {2, 3}, {77, 4}};
  Board board;
  GpuProfiler profiler;
  profiler.offer(1, std::string(300, 'n'), [] { return 0; });
  profiler.offer(2, std::nullopt, [] { return 0; });
  profiler.answerReading([](auto** array, auto* count) { return *array = records, *count = 3, ztSuccess; },
                         1);
  profiler.answerReading([](auto** array, auto* count) { return *array = nullptr, *count = 3, ztSuccess; });

  EXPECT_EQ(run(RealTimeMetricsSample).output, "Zoltrace: Metric '" + std::string(247, 'n') +
                                                   "\nZoltrace: Metric '' has value 3.000000"
                                                   "\nZoltrace: Metric '' has value 4.000000\n" +
                                                   std::string(10, '\n'));
  EXPECT_EQ(profiler.calls().at(2), "StartRealtimeMonitor({}, 0)");

  profiler.answerListing(
      [](auto** metrics, auto* count) { return *metrics = nullptr, *count = 2, ztSuccess; });
  EXPECT_EQ(run(RealTimeMetricsSample).output, std::string(10, '\n'));
}

TEST(GpuSelfTest, TestsWithFixedMetrics) {
  Board board;
  GpuProfiler profiler;
  profiler.offer(1, "a", [] { return 7; });
  profiler.offer(2, "b", [] { return 8; });
  profiler.offer(3, "c", [] { return 0.1; });
  profiler.fail(Function::kGetRealtimeValues, ztInternalFailure, 1);
  profiler.answerReading([](auto** array, auto* count) { return *array = nullptr, *count = 2, ztSuccess; },
                         10);

  const Outcome outcome = run(run_test);

  EXPECT_EQ(outcome.result, 0);
  std::string expected = "Zoltrace Internal Failure Error: Could not get realtime metric values.\n";
  for (int pass = 2; pass <= 9; ++pass) expected += "Metric value = 7.000000\nMetric value = 0.100000\n\n";
  EXPECT_EQ(outcome.output, expected + "\n");
  EXPECT_EQ(profiler.calls(), callsOfARun({"Init(null, null)", "StartRealtimeMonitor({1, 3}, 2)"}));
  EXPECT_EQ(board.waits(), std::vector<std::int64_t>(20, 50000));
}

TEST(GpuSelfTest, EndsAtTheFirstFailure) {
  struct Row {
    Function function;
    const char* message;
    std::size_t callsOfSample;  // until its end, the shutdown included
    std::size_t callsOfTest;
  };
  const Row rows[] = {
      {Function::kInit, "Could not initialize the profiler interface.", 1, 1},
      {Function::kGetAvailableRealtimeMetrics, "Could not get available realtime metrics.", 3, 0},
      {Function::kStartRealtimeMonitor, "Could not start monitoring realtime metrics.", 4, 3},
      {Function::kStopRealtimeMonitor, "Could not stop monitoring realtime metrics.", 15, 14},
      {Function::kShutdown, "Could not shutdown the profiler interface.", 15, 14}};
  for (const Row& row : rows) {
    for (const bool sample : {true, false}) {
      const std::size_t calls = sample ? row.callsOfSample : row.callsOfTest;
      if (calls == 0) continue;
      SCOPED_TRACE(std::string(sample ? "RealTimeMetricsSample: " : "run_test: ") + row.message);
      Board board;
      GpuProfiler profiler;
      profiler.offer(1, "a", [] { return 1; });
      profiler.offer(3, "c", [] { return 3; });
      profiler.fail(row.function, ztInvalidState);
      const Outcome outcome = run(sample ? RealTimeMetricsSample : run_test);
      EXPECT_EQ(outcome.result, 1);
      EXPECT_EQ(outcome.output.substr(outcome.output.find("Zoltrace")),
                "Zoltrace Invalid State Error: " + std::string(row.message) + "\n");
      EXPECT_EQ(profiler.calls().size(), calls);
      EXPECT_EQ(profiler.calls().back(), calls == 1 ? "Init(null, null)" : "Shutdown()");
    }
  }
}

}  // namespace
