#include <algorithm>
#include <limits>

#include "simulator/devices/gpu_profiler.h"
#include "simulator/model/model.h"

namespace simulator {

namespace {

constexpr char kGpuFolder[] = "/sys/class/vrdx/vrdx-3d0/";

// In the order of GpuProfiler::Function.
constexpr const char* kFunctions[GpuProfiler::kFunctions] = {"Init",
                                                             "GetAvailableRealtimeMetrics",
                                                             "StartRealtimeMonitor",
                                                             "GetRealtimeValues",
                                                             "StopRealtimeMonitor",
                                                             "Shutdown"};

std::optional<GpuProfiler::Function> findFunction(const std::string& name) {
  const auto found = std::find(std::begin(kFunctions), std::end(kFunctions), name);
  if (found == std::end(kFunctions)) return std::nullopt;
  return static_cast<GpuProfiler::Function>(found - std::begin(kFunctions));
}

void checkFunction(BoardFile& file, Fault& fault) {
  const bool hasProfiler = file.gpu && !file.gpu->metrics.empty();
  if (!hasProfiler || !findFunction(fault.name)) failAsMissing(file, fault.namePlace);
}

void armFunction(Board& board, const SharedFile& file, const Fault& fault) {
  const auto failure = [&board, file, &fault]() -> std::optional<ztResultCode> {
    if (!fault.span.holds(boardTime(board))) return std::nullopt;
    return static_cast<ztResultCode>(fault.value);
  };
  GpuProfiler::active()->fail(*findFunction(fault.name), failure);
}

void layOutProfiler(Board& board, const SharedFile& file) {
  auto profiler = std::make_shared<GpuProfiler>();
  profiler->keepHistory(board.keepsHistory());
  for (const GpuMetricFile& metric : file->gpu->metrics) {
    profiler->offer(metric.id, metric.name, [&board, file, &metric] {
      const Microseconds now = boardTime(board);
      if (!metric.value.isThere(now)) return std::numeric_limits<double>::quiet_NaN();
      return static_cast<double>(metric.value.at(now)) / kOne;
    });
  }
  board.keep(std::move(profiler));
}

}  // namespace

const FaultTarget kProfilerFaults{"profiler", FaultTarget::Names::kText, "result", checkFunction,
                                  armFunction};

void layOutGpu(Board& board, const SharedFile& file) {
  if (!file->gpu) return;
  const std::string folder = kGpuFolder;
  board.file(folder + "gpu_busy_percentage",
             [&board, file] { return std::to_string(file->gpu->busy.at(boardTime(board)) / kOne) + " %\n"; });
  hideWhileAbsent(board, file, folder + "gpu_busy_percentage", file->gpu->busy);
  if (const auto& maxMHz = file->gpu->maxMHz) {
    board.file(folder + "max_clock_mhz",
               [&board, file, &maxMHz] { return line(maxMHz->at(boardTime(board)) / kOne); });
    hideWhileAbsent(board, file, folder + "max_clock_mhz", *maxMHz);
  }
  if (!file->gpu->metrics.empty()) layOutProfiler(board, file);
}

}  // namespace simulator
