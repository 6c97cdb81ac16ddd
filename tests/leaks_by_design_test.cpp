// What one monitor of each kind leaves unreleased by design, to the byte: run by itself under the check for
// leaks, whose table of suppressions must come out as tests/CMakeLists.txt has it.

#include <gtest/gtest.h>

#include <memory>

#include "simulator/board/board.h"
#include "simulator/devices/gpu_profiler.h"
#include "tessary/cpu_mon.h"
#include "tessary/gpu_mon.h"
#include "tessary/process_mon.h"
#include "tests/support.h"

namespace {

TEST(LeaksByDesign, OfOneMonitorOfEachKind) {
  simulator::Board board{simulator::Cores{8}};
  board.property("ro.board.platform", "brindle");
  board.file("/sys/devices/soc0/machine", "VX4410P\n");
  board.folder("/proc");
  simulator::GpuProfiler profiler;
  for (const std::string& name : gpuBasicMetrics) profiler.offer(1, name, [] { return 0; });
  {
    // Four tables of 9 doubles, which the destructor leaves, and two of 8 capacities and shares: 352 bytes
    // in 6.
    const cpu::CPU_MON monitor;
    monitor.implementation->getCPUFactor2(monitor.implementation.get());
  }
  {
    // Five ids, and five entries of 40 bytes: 220 in 2, and 65 in the 3 names that are too long for an entry.
    const gpu::GPU_MON monitor;
    gpuMap = nullptr;  // the last table of the process is in use, else
  }
  {
    process::PROCESS_MON monitor{hook<kProceed>};  // a record at each call: 104 in 1
    monitor.tessary_getProcessStats();
  }
}

}  // namespace
