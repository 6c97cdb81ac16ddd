#include "tessary/cpu_mon.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "base/console.h"
#include "base/table.h"
#include "cpu/cpu_log.h"

namespace cpu {

namespace {

// A row for the aggregate line and one for each core. Row 0 is written whatever the number of cores is.
std::size_t rowsOf(int numCores) { return static_cast<std::size_t>(std::max(numCores, 0)) + 1; }

}  // namespace

CPU_MON::CPU_MON() : numCores(0), implementation(new CPU_MON_INTERFACE) {
  numCores = static_cast<int>(::sysconf(_SC_NPROCESSORS_CONF));
}

CPU_MON::~CPU_MON() {
  implementation.reset();
  numCores = 0;  // what a host sees that goes on using the object's memory
}

void CPU_MON::tessary_setSamplingTime(int ms) {
  implementation->samplingTime = ms;
  tessary::printLine("Changed Sample Time = ", implementation->samplingTime);
}

CPU_MON::CPU_MON_INTERFACE::CPU_MON_INTERFACE()
    : boardValid(-1), numCores(static_cast<int>(::sysconf(_SC_NPROCESSORS_CONF))) {
  getCPUCapacity(this);

  const std::size_t rows = rowsOf(numCores);
  cpuUsage = tessary::allocateTable<double>(rows);
  prevTotalTime = tessary::allocateTable<double>(rows);
  prevIdleTime = tessary::allocateTable<double>(rows);
  cpuFrequency = tessary::allocateTable<int64_t>(static_cast<std::size_t>(numCores));

  getFeatureID(this);
  getPlatformName(this);
  getSOCName(this);

  stealTime = tessary::allocateTable<double>(rows);
  prevStealTime = tessary::allocateForever<double>(rows);
  reserved1 = tessary::allocateForever<double>(rows);
  reserved2 = tessary::allocateForever<double>(rows);
  reserved3 = tessary::allocateForever<double>(rows);

  samplingTime = 1000;
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON_INTERFACE : Constructor done.\n");
}

CPU_MON::CPU_MON_INTERFACE::~CPU_MON_INTERFACE() {
  std::free(cpuUsage);
  std::free(prevTotalTime);
  std::free(prevIdleTime);
  std::free(cpuFactor);
  std::free(cpuCapacity);
  std::free(cpuFrequency);
  std::free(stealTime);
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON_INTERFACE : Destructor done.\n");
}

}  // namespace cpu
