// A host program as a user writes it, built against an installed copy of the library.
#include <tessary/cpu_mon.h>
#include <tessary/version.h>

#include <cmath>
#include <cstdio>

int main() {
  cpu::CPU_MON cpu;
  cpu.implementation->samplingTime = 20;
  const double load = cpu.tessary_getTotalCPULoad();
  std::printf("%s: %d cores, total load %.1f percent\n", getLibraryVersion().c_str(), cpu.numCores, load);
  return std::isnan(load) || load >= 0 ? 0 : 1;
}
