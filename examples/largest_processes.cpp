// The ten processes with the most memory of their own.
#include <tessary/procmem_mon.h>

#include <algorithm>
#include <cstdio>

int main() {
  procmem::PERPROCMEM_MON monitor;
  // Never null. The list is the monitor's, and the next call refills it: this is a copy, to be sorted.
  std::vector<procmem::processMemoryMap> all = *monitor.tessary_getPerProcessMemStats();
  std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.pss > b.pss; });
  if (all.size() > 10) all.resize(10);
  for (const procmem::processMemoryMap& one : all) {
    if (one.rss == 0) continue;  // its smaps_rollup could not be read: another user's process
    std::printf("%7d %-16s %8llu KiB\n", one.pid, one.name.c_str(), static_cast<unsigned long long>(one.pss));
  }
}
