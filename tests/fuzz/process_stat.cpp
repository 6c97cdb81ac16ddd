#include "tessary/process_mon.h"
#include "tessary/procmem_mon.h"
#include "tests/fuzz/target.h"

// Both readers of /proc/<pid>/stat, which scan it differently.
FUZZ_TARGET(text) {
  static simulator::Board board;
  board.file("/proc/7/stat", text);
  board.file("/proc/7/smaps_rollup", "0-1 ---p 0 00:00 0 [rollup]\nRss: 1 kB\nPss: 1 kB\n");
  board.folder("/proc");
  static process::PROCESS_MON processes{[](int) { return 110; }};
  // A name beyond its field ends the process, by design; the kernel has none.
  std::vector<process::processStats>& read = processes.implementation->currentSample;
  processes.implementation->readSchedStat(7);
  const bool fits = read.empty() || read.front().name.size() <= sizeof process::resultProcInfo::name;
  read.clear();
  if (fits) processes.tessary_getProcessStats();
  static procmem::PERPROCMEM_MON memory;
  memory.tessary_getPerProcessMemStats();
}
