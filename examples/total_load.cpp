// The total load of the machine, over a quarter of a second.
#include <tessary/cpu_mon.h>

#include <cstdio>

int main() {
  cpu::CPU_MON cpu;                  // reads the board's identity and its cores' capacities
  cpu.tessary_setSamplingTime(250);  // milliseconds between the two readings of /proc/stat
  const double load = cpu.tessary_getTotalCPULoad();
  if (load < 0) return 1;  // /proc/stat could not be read; the log says why
  std::printf("%.1f percent\n", load);
}
