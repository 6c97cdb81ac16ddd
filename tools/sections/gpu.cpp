#include <tessary/gpu_mon.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <stdexcept>

#include "tools/sections/sections.h"

namespace tool {

namespace {

using Monitor = gpu::GPU_MON::GPU_MON_INTERFACE;

enum Origin { kProfiler, kBusy, kMaxClock };

// The profiler is linked to the library: whether it works shows in the metrics that it offers.
Finding checkProfiler(const std::string&) {
  const gpu::GPU_MON monitor;
  if (monitor.implementation->metricCount != 0) return {};
  return {State::kAbsent, "offers no metrics"};
}

const std::vector<Source> kSources{
    {"libZoltraceInterface.so", checkProfiler, "the board's GPU profiler: no other machine has it"},
    {"/sys/class/vrdx/vrdx-3d0/gpu_busy_percentage", checkNumber, "the kernel needs the board's GPU driver"},
    {"/sys/class/vrdx/vrdx-3d0/max_clock_mhz", checkNumber, "the kernel needs the board's GPU driver"},
};

constexpr float kUnread = std::numeric_limits<float>::quiet_NaN();

// Where a sample stores the tracked metrics, in the profiler's order, which may be another than the names'.
constexpr std::array<float Monitor::*, 5> kSampled{&Monitor::clocksPerSecond, &Monitor::utilizationPercent,
                                                   &Monitor::busBusyPercent, &Monitor::readBytesPerSec,
                                                   &Monitor::writeBytesPerSec};

class GpuSection : public Section {
 public:
  explicit GpuSection(const Plan& plan) : intervalMs_{plan.intervalMs} {}

  void begin() override {
    if (!monitor_) monitor_.emplace();
  }

  std::vector<std::function<void()>> waits() override { return {sleepFor(intervalMs_)}; }

  Sample read() override {
    constexpr double kMega = 1e6;
    constexpr double kOne = 1;
    constexpr std::array<double, kSampled.size()> kScale{kMega, kOne, kOne, kOne, kOne};
    takeSample();
    Row row;
    for (std::size_t metric = 0; metric < kSampled.size(); ++metric) {
      Value figure = sampled(metric);
      if (double* const value = std::get_if<double>(&figure)) *value /= kScale[metric];
      row.push_back(std::move(figure));
    }
    inner().busyPercent = kUnread;
    row.push_back(fromNode(monitor_->tessary_getGPUBusyPercent(), kBusy));
    inner().maxClock = kUnread;
    inner().get_GPU_MaxClock(&inner());
    row.push_back(fromNode(inner().maxClock, kMaxClock));
    return {{{row}, {}}};
  }

 private:
  Monitor& inner() { return *monitor_->implementation; }

  void takeSample() {
    for (const auto field : kSampled) inner().*field = kUnread;
    try {
      monitor_->tessary_getGPUSample();
    } catch (const std::out_of_range&) {  // the figures below say which are missing
    }
  }

  // The figure of a basic metric, by the name under which the profiler offers it.
  Value sampled(std::size_t metric) {
    const auto isIts = [metric](const std::string& header) {
      const auto match =
          std::find_if(gpuBasicMetrics.begin(), gpuBasicMetrics.end(),
                       [&](const std::string& name) { return name.compare(0, header.size(), header) == 0; });
      return match == gpuBasicMetrics.begin() + static_cast<std::ptrdiff_t>(metric);
    };
    const auto header = std::find_if(gpuHeaders.begin(), gpuHeaders.end(), isIts);
    const auto at = static_cast<std::size_t>(header - gpuHeaders.begin());
    if (header == gpuHeaders.end() || at >= kSampled.size()) {
      return Absent{gpuHeaders.size() < kSampled.size()
                        ? "the GPU profiler offers fewer than five GPU metrics"
                        : "the GPU profiler offers no such metric"};
    }
    return finite(static_cast<double>(inner().*kSampled[at]), "the GPU profiler gave no value");
  }

  static Value fromNode(float figure, Origin origin) {
    if (figure >= 0) return static_cast<double>(figure);
    return absentBecause(kSources[origin], kSources[origin].target, "it could not be read");
  }

  int intervalMs_;
  std::optional<gpu::GPU_MON> monitor_;
};

}  // namespace

const SectionInfo kGpuSection{"gpu",
                              "GPU",
                              {{nullptr,
                                {{"clock_mhz", "clock", kMegahertz},
                                 {"utilization_percent", "utilization", kPercent},
                                 {"bus_busy_percent", "bus busy", kPercent},
                                 {"read_bytes_per_second", "read", kBytesPerSecond},
                                 {"write_bytes_per_second", "written", kBytesPerSecond},
                                 {"busy_percent", "busy", kPercent},
                                 {"max_clock_mhz", "maximum clock", kMegahertz}}}},
                              kSources,
                              openSection<GpuSection>};

}  // namespace tool
