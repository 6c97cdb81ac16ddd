// The total load of the machine, over a quarter of a second.
#include <tessary/cpu_mon.h>

#include <cmath>
#include <cstdio>

int main() {
  cpu::CPU_MON cpu;                  // reads the board's identity and its cores' capacities
  cpu.tessary_setSamplingTime(250);  // milliseconds between the two readings of /proc/stat
  const double load = cpu.tessary_getTotalCPULoad();
  if (!std::isfinite(load) || load == -1.0) return 1;  // not measured; the log says why
  std::printf("%.1f percent\n", load);
}
