// The ten busiest processes of half a second.
#include <tessary/process_mon.h>

#include <algorithm>
#include <cstdio>

int main() {
  process::PROCESS_MON processes;          // takes the first sample
  processes.tessary_setSamplingTime(500);  // milliseconds
  // Never null. The list is the monitor's, and the next call refills it: this is a copy, to be sorted.
  std::vector<process::resultProcInfo> busy = *processes.tessary_getProcessStats();
  // One that has ended comes with all that it ever used, and the share 0.
  busy.erase(std::remove_if(busy.begin(), busy.end(), [](const auto& one) { return one.cpuShare <= 0; }),
             busy.end());
  std::sort(busy.begin(), busy.end(), [](const auto& a, const auto& b) { return a.cpuShare > b.cpuShare; });
  if (busy.size() > 10) busy.resize(10);
  for (const process::resultProcInfo& one : busy) {
    std::printf("%7d %-16.64s %6.1f percent of a processor\n", one.pid, one.name, 100 * one.cpuShare);
  }
}
