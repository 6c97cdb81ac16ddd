#include "tools/sections/library.h"

#include <tessary/cpu_mon.h>
#include <tessary/gpu_selftest.h>
#include <tessary/version.h>

#include <iostream>
#include <sstream>

#include "tools/sections/source.h"

namespace tool {

std::string libraryVersion() { return getLibraryVersion(); }

std::string libraryBuild() {
  std::ostringstream text;
  std::streambuf* const console = std::cout.rdbuf(text.rdbuf());
  printLibraryVersion();
  std::cout.rdbuf(console);
  return text.str();
}

BoardIdentity boardIdentity() {
  const cpu::CPU_MON monitor;
  return {boardModel(), monitor.implementation->platformName, monitor.implementation->socName};
}

const std::vector<SelfTest>& selfTests() {
  static const std::vector<SelfTest> all{{"RealTimeMetricsSample", RealTimeMetricsSample},
                                         {"run_test", run_test}};
  return all;
}

}  // namespace tool
