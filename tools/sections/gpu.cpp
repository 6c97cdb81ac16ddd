#include <tessary/gpu_mon.h>

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "tools/sections/fresh.h"
#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

using Monitor = gpu::GPU_MON::GPU_MON_INTERFACE;

// The profiler is linked to the library: whether it works shows in the metrics that it offers.
Finding checkProfiler(const std::string&) {
  const gpu::GPU_MON monitor;
  if (monitor.implementation->metricCount != 0) return {};
  return {State::kAbsent, "offers no metrics"};
}

const Node kProfiler{"libZoltraceInterface.so", checkProfiler,
                     "the board's GPU profiler: no other machine has it"};
const Node kBusy{"/sys/class/vrdx/vrdx-3d0/gpu_busy_percentage", checkNumber,
                 "the kernel needs the board's GPU driver"};
const Node kMaxClock{"/sys/class/vrdx/vrdx-3d0/max_clock_mhz", checkNumber,
                     "the kernel needs the board's GPU driver"};

struct Gpu {
  Value clock;
  Value utilization;
  Value busBusy;
  Value read;
  Value written;
  Value busy;
  Value maxClock;
};

constexpr Column<Gpu> kColumns[] = {
    {"clock_mhz", "clock", kMegahertz, "The clock, from the board's GPU profiler.", get<&Gpu::clock>},
    {"utilization_percent", "utilization", kPercent, "Time in work, from the board's GPU profiler.",
     get<&Gpu::utilization>, kFigure, kMoreIsWorse},
    {"bus_busy_percent", "bus busy", kPercent, "Time that its bus was in use, from the board's GPU profiler.",
     get<&Gpu::busBusy>, kFigure, kMoreIsWorse},
    {"read_bytes_per_second", "read", kBytesPerSecond, "Bytes that it read, from the board's GPU profiler.",
     get<&Gpu::read>, kFigure, kMoreIsWorse},
    {"write_bytes_per_second", "written", kBytesPerSecond,
     "Bytes that it wrote, from the board's GPU profiler.", get<&Gpu::written>, kFigure, kMoreIsWorse},
    {"busy_percent", "busy", kPercent, "Time in work, from the driver's gpu_busy_percentage.",
     get<&Gpu::busy>, kFigure, kMoreIsWorse},
    {"max_clock_mhz", "maximum clock", kMegahertz,
     "The highest clock allowed, from the driver's max_clock_mhz.", get<&Gpu::maxClock>},
};
constexpr Table<Gpu> kGpu{nullptr, "", kColumns};

// A basic metric: where its figure goes, and from which unit.
struct Metric {
  Value Gpu::*figure;
  double scale;
};

constexpr double kMega = 1e6;
constexpr Metric kMetrics[] = {
    {&Gpu::clock, kMega}, {&Gpu::utilization, 1}, {&Gpu::busBusy, 1}, {&Gpu::read, 1}, {&Gpu::written, 1}};

// Where a sample stores the tracked metrics, in the profiler's order, which may be another than the names'.
constexpr float Monitor::*kSampled[] = {&Monitor::clocksPerSecond, &Monitor::utilizationPercent,
                                        &Monitor::busBusyPercent, &Monitor::readBytesPerSec,
                                        &Monitor::writeBytesPerSec};

class GpuSection : public Section {
 public:
  explicit GpuSection(const Plan&) {}

  void begin(int waitMs) override {
    if (!monitor_) monitor_.emplace();
    waitMs_ = waitMs;
  }

  std::vector<std::function<void()>> waits() override { return {sleepFor(waitMs_)}; }

  std::vector<TableSample> read() override {
    takeSample();
    Gpu gpu;
    for (std::size_t metric = 0; metric < std::size(kMetrics); ++metric) {
      gpu.*kMetrics[metric].figure = sampled(metric);
    }
    markStale(inner().busyPercent, inner().maxClock);
    gpu.busy = fromNode(monitor_->tessary_getGPUBusyPercent(), kBusy);
    inner().get_GPU_MaxClock(&inner());
    gpu.maxClock = fromNode(inner().maxClock, kMaxClock);
    return {{{kGpu.row(gpu)}, {}}};
  }

 private:
  Monitor& inner() { return *monitor_->implementation; }

  void takeSample() {
    for (const auto field : kSampled) markStale(inner().*field);
    try {
      monitor_->tessary_getGPUSample();
    } catch (const std::out_of_range&) {  // the figures say which are missing
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
    if (header == gpuHeaders.end() || at >= std::size(kSampled)) {
      return Absent{gpuHeaders.size() < std::size(kSampled)
                        ? "the GPU profiler offers fewer than five GPU metrics"
                        : "the GPU profiler offers no such metric"};
    }
    return finite(static_cast<double>(inner().*kSampled[at]) / kMetrics[metric].scale,
                  "the GPU profiler gave no value");
  }

  static Value fromNode(float figure, const Node& node) {
    if (isFresh(figure) && figure >= 0) return static_cast<double>(figure);
    return absentBecause(node, "it could not be read");
  }

  int waitMs_ = 0;
  std::optional<gpu::GPU_MON> monitor_;
};

}  // namespace

const SectionInfo& gpuSection() {
  static const SectionInfo info{
      {"gpu", "GPU", {kGpu.info()}}, {kProfiler, kBusy, kMaxClock}, openSection<GpuSection>};
  return info;
}

}  // namespace tool
