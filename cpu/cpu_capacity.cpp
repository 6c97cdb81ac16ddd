#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "base/reading.h"
#include "base/scanner.h"
#include "base/table.h"
#include "cpu/cpu_log.h"
#include "cpu/cpu_nodes.h"
#include "tessary/board.h"
#include "tessary/cpu_mon.h"

namespace cpu {

namespace {

constexpr int kTopologyCores = 8;

// A negative number of cores asks for more than there is, and is refused like any other failed allocation.
std::size_t entriesOf(int numCores, int atLeast = 0) {
  return static_cast<std::size_t>(numCores < 0 ? numCores : std::max(numCores, atLeast));
}

// Each capacity's share of their sum, in single precision; none where there are no capacities. The sum is a
// signed 32-bit one: it wraps, it does not trap.
void computeShares(const int* capacities, float* shares, int numCores) {
  if (capacities == nullptr) return;
  std::uint32_t sum = 0;
  for (int core = 0; core < numCores; ++core) sum += static_cast<std::uint32_t>(capacities[core]);
  const auto total = static_cast<float>(static_cast<std::int32_t>(sum));
  for (int core = 0; core < numCores; ++core) {
    shares[core] = static_cast<float>(capacities[core]) / total;
    TESSARY_LOG_VERBOSE(kLog, "CPU_MON_INTERFACE : cpu %d cpu_factor = %f.\n", core,
                        static_cast<double>(shares[core]));
  }
}

// The comparison runs over the length of the board's name, not of the row's: a longer name than the row's
// finds nothing, a shorter one the first row that begins with it. Boards that are in no row are taken for the
// first.
const CpuTopologyRow& findTopology(const char* socName) {
  const std::size_t length = std::strlen(socName);
  for (const CpuTopologyRow& row : CPU_topology) {
    if (std::strncmp(socName, row.socModel, length) == 0) return row;
  }
  return CPU_topology[0];
}

}  // namespace

void CPU_MON::CPU_MON_INTERFACE::getCPUCapacity(CPU_MON_INTERFACE* target) {
  target->cpuCapacity = tessary::allocateTable<int>(entriesOf(target->numCores));
  if (target->cpuCapacity == nullptr) {
    logAllocationFailure();
    return;
  }
  const tessary::Folder cpus{kCpuFolder};
  tessary::TextBuffer text;
  NodePath path;
  for (int core = 0; core < target->numCores; ++core) {
    tessary::Descriptor node = cpus.open(path.join("cpu", core, "/cpu_capacity"));
    if (!node) {
      TESSARY_LOG_ERROR(kLog, "Error while reading the CPU capacity node for CPU%d. Error number = %d\n",
                        core, errno);
      return;
    }
    tessary::Scanner{text.readOnce(node.get())}.number(target->cpuCapacity[core]);
    TESSARY_LOG_VERBOSE(kLog, "CPU_MON : cpu %d cpu_capacity = %d.\n", core, target->cpuCapacity[core]);
    node.leaveOpen();
  }
  getCPUFactor(target);
}

void CPU_MON::CPU_MON_INTERFACE::getCPUFactor(CPU_MON_INTERFACE* target) {
  target->cpuFactor = tessary::allocateTable<float>(entriesOf(target->numCores));
  if (target->cpuFactor == nullptr) {
    logAllocationFailure();
    return;
  }
  computeShares(target->cpuCapacity, target->cpuFactor, target->numCores);
}

void CPU_MON::CPU_MON_INTERFACE::getCPUCapacity2(CPU_MON_INTERFACE* target) {
  if (target->boardValid == -1) {
    TESSARY_LOG_ERROR(kLog, "The board under test is not supported.\n");
    return;
  }
  target->cpuCapacity2 = tessary::allocateForever<int>(entriesOf(target->numCores, kTopologyCores));
  if (target->cpuCapacity2 == nullptr) {
    logAllocationFailure();
    return;
  }
  const CpuTopologyRow& row = findTopology(target->socName);
  std::copy(std::begin(row.capacity), std::end(row.capacity), target->cpuCapacity2);
}

void CPU_MON::CPU_MON_INTERFACE::getCPUFactor2(CPU_MON_INTERFACE* target) {
  validateBoardInfo(target);
  getCPUCapacity2(target);
  target->cpuFactor2 = tessary::allocateForever<float>(entriesOf(target->numCores));
  if (target->cpuFactor2 == nullptr) {
    logAllocationFailure();
    return;
  }
  if (target->boardValid != -1) computeShares(target->cpuCapacity2, target->cpuFactor2, target->numCores);
}

}  // namespace cpu
