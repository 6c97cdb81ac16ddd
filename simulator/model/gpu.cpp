#include <algorithm>

#include "simulator/devices/gpu_profiler.h"
#include "simulator/model/model.h"

namespace simulator {

namespace {

constexpr char kGpuFolder[] = "/sys/class/vrdx/vrdx-3d0/";

std::optional<ztResultCode> failure(const Board& board, const BoardFile& file, const std::string& function) {
  const Microseconds now = boardTime(board);
  for (const Fault& fault : file.faults) {
    if (fault.target == Fault::Target::kProfiler && fault.name == function && fault.span.holds(now))
      return static_cast<ztResultCode>(fault.value);
  }
  return std::nullopt;
}

void layOutProfiler(Board& board, const SharedFile& file) {
  auto profiler = std::make_shared<GpuProfiler>();
  profiler->keepHistory(board.keepsHistory());
  for (const GpuMetricFile& metric : file->gpu->metrics) {
    profiler->offer(metric.id, metric.name, [&board, file, &metric] {
      return static_cast<double>(metric.value.at(boardTime(board))) / kOne;
    });
  }
  for (std::size_t i = 0; i < GpuProfiler::kFunctions; ++i) {
    profiler->fail(
        static_cast<GpuProfiler::Function>(i),
        [&board, file, name = std::string{kProfilerFunctions[i]}] { return failure(board, *file, name); });
  }
  board.keep(std::move(profiler));
}

}  // namespace

void layOutGpu(Board& board, const SharedFile& file) {
  if (!file->gpu) return;
  const std::string folder = kGpuFolder;
  board.file(folder + "gpu_busy_percentage",
             [&board, file] { return std::to_string(file->gpu->busy.at(boardTime(board)) / kOne) + " %\n"; });
  if (file->gpu->maxMHz) board.file(folder + "max_clock_mhz", line(*file->gpu->maxMHz));
  if (!file->gpu->metrics.empty()) layOutProfiler(board, file);
}

}  // namespace simulator
