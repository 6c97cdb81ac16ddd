#include "tessary/gpu_mon.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "simulator/devices/gpu_profiler.h"
#include "tests/support.h"

namespace {

using gpu::GPU_MON;
using simulator::Board;
using simulator::GpuProfiler;
using Function = GpuProfiler::Function;

constexpr char kBusyNode[] = "/sys/class/vrdx/vrdx-3d0/gpu_busy_percentage";
constexpr char kMaxClockNode[] = "/sys/class/vrdx/vrdx-3d0/max_clock_mhz";

// The profiler's calls appear among the lines of standard output and among those of the log, so that their
// order is seen.
class GpuMon : public testing::Test {
 protected:
  GpuMon() {
    gpuHeaders.clear();
    requiredIndices.clear();
    profiler->onCall([this](const std::string& call) {
      std::cout << "-> " << call << '\n';
      board.addLogLine({0, "", "-> " + call});
    });
  }

  void offerBasicMetrics() {
    for (uint32_t i = 0; i < gpuBasicMetrics.size(); ++i) {
      profiler->offer(11 + i, gpuBasicMetrics[i], [this, i] { return values[i]; });
    }
  }

  // Since the last call of it.
  std::string output() { return output_.text(); }
  Lines log() {
    Lines texts;
    const std::vector<simulator::LogLine> lines = board.log();
    for (; linesSeen_ < lines.size(); ++linesSeen_) {
      const auto& [priority, tag, text] = lines[linesSeen_];
      texts.push_back((priority == kVerbose ? "V " : priority == kError ? "E " : "") + text);
      EXPECT_EQ(tag, priority == 0 ? "" : "libtessary : gpu_mon");
    }
    return texts;
  }

  Board board;
  std::optional<GpuProfiler> profiler{std::in_place};
  double values[5] = {585000000, 40, 12.5, 1e9, 2.5e8};

 private:
  Captured output_;
  std::size_t linesSeen_ = 0;
};

using Fields = std::vector<float>;

Fields sampledFields(const GPU_MON& monitor) {
  const auto& state = *monitor.implementation;
  return {state.clocksPerSecond, state.utilizationPercent, state.busBusyPercent, state.readBytesPerSec,
          state.writeBytesPerSec};
}

TEST_F(GpuMon, DrivesTheProfilerFromItsInitialisationToItsShutdown) {
  offerBasicMetrics();
  { GPU_MON monitor; }

  EXPECT_EQ(output(),
            "-> Init(null, null)\n"
            "-> GetAvailableRealtimeMetrics(null, 0)\n"
            "Num available metrics = 5\n"
            "-> StartRealtimeMonitor({11, 12, 13, 14, 15}, 5)\n"
            "-> GetRealtimeValues(null, 5)\n"
            "Constructor worked successfully for GPU MON Interface\n"
            "Destructor called for the interface\n"
            "-> StopRealtimeMonitor()\n"
            "-> Shutdown()\n");
}

// Every call after the first is out of order then, and fails too.
TEST_F(GpuMon, GoesOnWhenTheProfilerCannotBeInitialised) {
  profiler->fail(Function::kInit, ztTimeout);
  {
    GPU_MON monitor;
    EXPECT_EQ(log(),
              (Lines{"V Inside the Metal GPU Constructor", "-> Init(null, null)",
                     "E Tessary: Could Not initialize Zoltrace", "-> GetAvailableRealtimeMetrics(null, 0)",
                     "-> Shutdown()", "-> StartRealtimeMonitor({}, 0)",
                     "V PIL : Could not start monitoring realtime metrics.", "-> Shutdown()",
                     "-> GetRealtimeValues(null, 0)", "V Constructor ended",
                     "V GPU_MON_INTERFACE : Constructor done.\n"}));
    EXPECT_THROW(monitor.tessary_getGPUSample(), std::out_of_range);
  }
  EXPECT_EQ(output(),
            "-> Init(null, null)\n"
            "could not initialize the profiler.\n"
            "-> GetAvailableRealtimeMetrics(null, 0)\n"
            "Num available metrics = 0\n"
            "Could not get available realtime metrics.\n"
            "-> Shutdown()\n"
            "-> StartRealtimeMonitor({}, 0)\n"
            "-> Shutdown()\n"
            "-> GetRealtimeValues(null, 0)\n"
            "Constructor worked successfully for GPU MON Interface\n"
            "-> GetRealtimeValues(null, 0)\n"
            "Could not get realtime metric values.\n"
            "Destructor called for the interface\n"
            "-> StopRealtimeMonitor()\n"
            "Could not stop monitoring the metrics.\n"
            "-> Shutdown()\n"
            "-> Shutdown()\n"
            "Could not shutdown the profiler.\n");
  EXPECT_EQ(log(), (Lines{"-> GetRealtimeValues(null, 0)", "-> StopRealtimeMonitor()", "-> Shutdown()",
                          "-> Shutdown()", "V GPU_MON_INTERFACE : Destructor done.\n",
                          "V GPU MON destructor called."}));
}

// The listing fails after it has handed out its array, which the shutdown then takes back.
TEST_F(GpuMon, EntersTheMetricsOfAFailedListingBeforeItShutsDown) {
  profiler->offer(7, "GPU", [] { return 1; });
  profiler->answerListing(
      [this](auto** metrics, auto* count) {
        static ztRealtimeMetricProperties record{7, "GPU", {}};
        profiler->onCall([](const std::string& call) {
          std::cout << "-> " << call << '\n';
          if (call == "Shutdown()") record.name = nullptr;
        });
        return *metrics = &record, *count = 1, ztInternalFailure;
      },
      1);
  { GPU_MON monitor; }
  EXPECT_EQ(gpuHeaders, Lines{"GPU"});
  EXPECT_EQ(gpuMap[0].name, "GPU");
  EXPECT_EQ(output().find("-> Init(null, null)\n"
                          "-> GetAvailableRealtimeMetrics(null, 0)\n"
                          "Num available metrics = 1\n"
                          "Could not get available realtime metrics.\n"
                          "-> Shutdown()\n"
                          "-> StartRealtimeMonitor({7}, 1)\n"),
            0U);
}

TEST_F(GpuMon, AnswersEachFailureOfTheProfilerWithItsOwnCalls) {
  const struct {
    std::vector<std::pair<Function, int>> failing;  // the function and which of its calls
    const char* output;                             // from the start of the monitoring on
  } rows[] = {
      {{{Function::kStartRealtimeMonitor, 1}},
       "-> StartRealtimeMonitor({7}, 1)\n-> Shutdown()\n-> GetRealtimeValues(null, 1)\n"
       "Constructor worked successfully for GPU MON Interface\nDestructor called for the interface\n"
       "-> StopRealtimeMonitor()\nCould not stop monitoring the metrics.\n-> Shutdown()\n-> Shutdown()\n"
       "Could not shutdown the profiler.\n"},
      {{{Function::kGetRealtimeValues, 1}},  // the priming read, which nobody looks at
       "-> StartRealtimeMonitor({7}, 1)\n-> GetRealtimeValues(null, 1)\n"
       "Constructor worked successfully for GPU MON Interface\nDestructor called for the interface\n"
       "-> StopRealtimeMonitor()\n-> Shutdown()\n"},
      {{{Function::kStopRealtimeMonitor, 1}, {Function::kShutdown, 2}},
       "-> StartRealtimeMonitor({7}, 1)\n-> GetRealtimeValues(null, 1)\n"
       "Constructor worked successfully for GPU MON Interface\nDestructor called for the interface\n"
       "-> StopRealtimeMonitor()\nCould not stop monitoring the metrics.\n-> Shutdown()\n-> Shutdown()\n"
       "Could not shutdown the profiler.\n"},
      {{{Function::kShutdown, 1}},
       "-> StartRealtimeMonitor({7}, 1)\n-> GetRealtimeValues(null, 1)\n"
       "Constructor worked successfully for GPU MON Interface\nDestructor called for the interface\n"
       "-> StopRealtimeMonitor()\n-> Shutdown()\nCould not shutdown the profiler.\n"},
  };
  for (const auto& row : rows) {
    profiler.reset();
    profiler.emplace();
    profiler->onCall([](const std::string& call) { std::cout << "-> " << call << '\n'; });
    profiler->offer(7, "GPU", [] { return 1; });
    for (const auto& [function, call] : row.failing) profiler->fail(function, ztInvalidParameter, call);
    output();
    { GPU_MON monitor; }
    const std::string all = output();
    EXPECT_EQ(all.substr(all.find("-> Start")), row.output);
  }
}

TEST_F(GpuMon, HasItsSysfsFiguresOnAMachineWithoutAProfiler) {
  profiler.reset();
  board.file(kBusyNode, "3 %\n");
  GPU_MON monitor;
  EXPECT_THROW(monitor.tessary_getGPUSample(), std::out_of_range);
  EXPECT_EQ(monitor.tessary_getGPUBusyPercent(), 3.0F);
}

TEST_F(GpuMon, TracksMetricsWhoseNamesBeginABasicOne) {
  const std::optional<std::string> offered[] = {
      "GPU % Utilization", "Clocks / Second (average)", std::nullopt,         "GPU", "",
      "clocks / second",   "Clocks / Second",           std::string(300, 'W')};
  uint32_t id = 100;
  for (const auto& name : offered) profiler->offer(id++, name, [] { return 0; });
  GPU_MON monitor;

  EXPECT_EQ(requiredIndices, (std::vector<int>{0, 3, 4, 6}));
  EXPECT_EQ(monitor.tessary_getGPUHeaders(), (Lines{"GPU % Utilization", "GPU", "", "Clocks / Second"}));
  EXPECT_EQ(profiler->calls().at(2), "StartRealtimeMonitor({100, 101, 102, 103, 104, 105, 106, 107}, 8)");
  for (uint32_t i = 0; i < std::size(offered); ++i) {
    EXPECT_EQ(gpuMap[i].name, offered[i].value_or(""));
    EXPECT_EQ(gpuMap[i].id, 100 + i);
    EXPECT_EQ(gpuMap[i].index, i);
  }
}

TEST_F(GpuMon, SamplesByTheProfilersOwnOrder) {
  profiler->offer(1, "Temperature", [] { return 99; });
  for (const std::size_t metric : {1U, 0U, 4U, 3U, 2U}) {
    profiler->offer(2, gpuBasicMetrics[metric], [this] { return values[1]++; });
  }
  GPU_MON monitor;
  EXPECT_EQ(sampledFields(monitor), (Fields{0, 0, 0, 0, 0}));
  monitor.tessary_getGPUSample();
  EXPECT_EQ(sampledFields(monitor), (Fields{45, 46, 47, 48, 49}));  // 40 to 44 went to the priming
}

TEST_F(GpuMon, ReadsWhateverAReadingLeaves) {
  static ztRealtimeMetricValue records[] = {{11, 1}, {12, 2}, {13, 3}, {14, 4}, {15, 5}};
  offerBasicMetrics();
  profiler->fail(Function::kGetRealtimeValues, ztTimeout, 3);
  profiler->answerReading(
      [](auto** array, auto* count) { return *array = records, *count = 5, ztResultCode{7}; }, 4);
  profiler->answerReading([](auto** array, auto* count) { return *array = nullptr, *count = 5, ztSuccess; },
                          5);
  profiler->answerReading([](auto** array, auto* count) { return *array = records, *count = 0, ztSuccess; },
                          7);
  GPU_MON monitor;
  const Fields usual = {585e6F, 40, 12.5F, 1e9F, 2.5e8F};
  const Fields left = {1, 2, 3, 4, 5};
  for (const Fields& expected : {usual, usual, left, left, usual, left}) {
    monitor.tessary_getGPUSample();
    EXPECT_EQ(sampledFields(monitor), expected);
  }
}

TEST_F(GpuMon, ThrowsAtTheFirstMissingPosition) {
  profiler->offer(1, "Clocks / Second", [] { return 7; });
  profiler->offer(2, "GPU % Utilization", [] { return 8; });
  GPU_MON monitor;
  EXPECT_THROW(monitor.tessary_getGPUSample(), std::out_of_range);
  EXPECT_EQ(sampledFields(monitor), (Fields{7, 8, 0, 0, 0}));
}

TEST_F(GpuMon, SurvivesAListingThatIsNotThereAndRefusedMemory) {
  profiler->answerListing(
      [](auto** metrics, auto* count) { return *metrics = nullptr, *count = 3, ztSuccess; }, 1);
  GPU_MON withoutMetrics;
  EXPECT_EQ(profiler->calls().back(), "GetRealtimeValues(null, 3)");
  EXPECT_EQ(gpuMap[2].name, "");

  offerBasicMetrics();
  board.failAllocation(1);
  output();
  GPU_MON withoutIds;
  EXPECT_EQ(output().find("-> Init(null, null)\n-> GetAvailableRealtimeMetrics(null, 0)\n"
                          "Calloc failed\nNum available metrics = 5\n-> StartRealtimeMonitor(null, 5)\n"),
            0u);
  EXPECT_EQ(gpuMap[4].id, 15u);

  board.failAllocation(2);
  GPU_MON withoutMap;
  EXPECT_EQ(gpuMap, nullptr);
  EXPECT_EQ(withoutMap.implementation->metricIds[4], 15u);
}

TEST_F(GpuMon, SharesItsTablesAndTheProfilerWithEveryOtherMonitor) {
  offerBasicMetrics();
  auto first = std::make_unique<GPU_MON>();
  GPU_MON second;
  EXPECT_EQ(requiredIndices, (std::vector<int>{0, 1, 2, 3, 4, 0, 1, 2, 3, 4}));
  first.reset();
  EXPECT_EQ(gpuHeaders.size(), 10u);
  second.tessary_getGPUSample();
  EXPECT_EQ(sampledFields(second), (Fields{0, 0, 0, 0, 0}));  // the profiler is shut down
}

TEST_F(GpuMon, HandsOutTheLastSample) {
  offerBasicMetrics();
  GPU_MON monitor;
  monitor.tessary_getGPUSample();
  log();
  EXPECT_EQ(monitor.tessary_getGPUFrequency(), 585.0F);
  EXPECT_EQ(monitor.tessary_gpuBusBusy(), 12.5F);
  EXPECT_EQ(monitor.tessary_getReadBandwidth(), 1e9F);
  EXPECT_EQ(monitor.tessary_getWriteBandwidth(), 2.5e8F);
  EXPECT_EQ(log(),
            (Lines{"V GPU_MON : The current gpu frequency = 0.000000\n", "V GPU Busy Percent = 12.500000\n",
                   "V GPU Read BW = 1000000000.000000\n", "V GPU Read BW = 250000000.000000\n"}));
}

TEST_F(GpuMon, ReadsTheBusyPercentageAtEachCall) {
  GPU_MON monitor;
  board.file(kBusyNode, "37 %\n");
  EXPECT_EQ(monitor.tessary_getGPUBusyPercent(), 37.0F);
  board.file(kBusyNode, "busy\n");
  EXPECT_EQ(monitor.tessary_getGPUBusyPercent(), 37.0F);
  board.refuse(kBusyNode, EACCES);
  EXPECT_EQ(monitor.tessary_getGPUBusyPercent(), -1.0F);
  EXPECT_EQ(monitor.implementation->busyPercent, 37.0F);
}

TEST_F(GpuMon, ReturnsTheProfilersUtilizationOnceTheMaximumClockIsKnown) {
  offerBasicMetrics();
  GPU_MON monitor;
  GPU_MON::GPU_MON_INTERFACE& state = *monitor.implementation;
  monitor.tessary_getGPUSample();
  board.file(kBusyNode, "37 %\n");
  board.file(kMaxClockNode, "690\n");
  log();
  EXPECT_EQ(monitor.tessary_getGPUUtilization(), -1.0F);
  state.get_GPU_MaxClock(&state);
  EXPECT_EQ(monitor.tessary_getGPUUtilization(), 40.0F);
  board.refuse(kBusyNode, ENOENT);
  EXPECT_EQ(monitor.tessary_getGPUUtilization(), 40.0F);
  board.refuse(kMaxClockNode, EPERM);
  state.get_GPU_MaxClock(&state);
  EXPECT_EQ(state.maxClock, -1.0F);

  EXPECT_EQ(log(),
            (Lines{"V GPU_MON : The current gpu frequency = 0.000000\n",
                   "E GPU_MON : Error while reading the GPU node to get max clock.\n",
                   "V GPU_MON_INTERFACE : The  gpu max clock = 690.000000\n",
                   "V GPU_MON : The current gpu frequency = 0.000000\n",
                   "V GPU_MON : The current gpu busy percent = 37.000000\n",
                   "V GPU_MON : The GPU utilization = 31.369566\n",  // (37 * 585) / 690, in single precision
                   "V GPU_MON : The current gpu frequency = 0.000000\n",
                   "E GPU_MON : Error while reading the GPU node for BusyPercent. Error number = 2\n",
                   "V GPU_MON : The GPU utilization = -0.847826\n",
                   "E GPU_MON : Error while reading the GPU node to get MaxClock. Error number = 1\n",
                   "V GPU_MON_INTERFACE : The  gpu max clock = -1.000000\n"}));
}

TEST_F(GpuMon, AppendsTheBasicHeadersOnRequest) {
  profiler->offer(1, "GPU", [] { return 0; });
  GPU_MON monitor;
  output();
  monitor.implementation->setGPUHeaders();
  monitor.implementation->setGPUHeaders();
  const std::string basic =
      "Clocks / Second\nGPU % Utilization\nGPU % Bus Busy\nRead Total (Bytes/sec)\nWrite Total (Bytes/sec)\n";
  EXPECT_EQ(output(), "Setting all the basic headers\nGPU\n" + basic +
                          "Setting all the basic headers\nGPU\n" + basic + basic);
}

TEST_F(GpuMon, LeavesNoProfilerRunningWhenItIsRefusedMemory) {
  profiler->answerListing([](auto**, auto*) -> ztResultCode { throw std::bad_alloc{}; }, 1);
  EXPECT_THROW(GPU_MON{}, std::bad_alloc);
  EXPECT_EQ(profiler->calls().back(), "Shutdown()");
}

}  // namespace
