#include <algorithm>
#include <cerrno>

#include "base/path.h"
#include "base/reading.h"
#include "base/scanner.h"
#include "cpu/cpu_log.h"
#include "cpu/cpu_nodes.h"
#include "tessary/cpu_mon.h"

namespace cpu {

int64_t* CPU_MON::tessary_getCPUFrequency() {
  int64_t* const frequencies = implementation->cpuFrequency;
  if (frequencies == nullptr) {
    logAllocationFailure();
    return nullptr;
  }
  const int cores = std::min(numCores, implementation->numCores);  // the table holds no more
  const tessary::Folder cpus{kCpuFolder};
  tessary::TextBuffer text;
  NodePath path;
  for (int core = 0; core < cores; ++core) {
    const tessary::Descriptor node = cpus.open(path.join("cpu", core, "/cpufreq/cpuinfo_cur_freq"));
    if (!node) {
      TESSARY_LOG_ERROR(kLog, "Error while reading the CPU frequency node for CPU%d. Error number = %d\n",
                        core, errno);
      return nullptr;
    }
    tessary::Scanner{text.readOnce(node.get())}.number(frequencies[core]);
    TESSARY_LOG_VERBOSE(kLog, "CPU_MON : cpu %d freq = %ld.\n", core, static_cast<long>(frequencies[core]));
  }
  return frequencies;
}

}  // namespace cpu
