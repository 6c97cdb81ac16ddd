// Memory of each process.
#ifndef TESSARY_PROCMEM_MON_H
#define TESSARY_PROCMEM_MON_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tessary/export.h"

namespace procmem {

struct processMemoryMap {
  int pid;
  int ppid;             // -1 when it could not be read
  std::string name;     // the command name up to its first blank, with its parentheses: "(init)"
  uint64_t vmSize;      // KiB, virtual size
  uint64_t pss;         // kB, resident, each shared page divided by the number of processes that share it
  uint64_t rss;         // kB, resident
  uint64_t privateMem;  // kB, resident and not shared, clean and dirty
};

// Takes one snapshot at each call: no interval. The virtual size comes from /proc/<pid>/stat, the other sizes
// from /proc/<pid>/smaps_rollup.
//
// Kernel threads, that is process 2 and its children (in a container, too, where that is an ordinary
// process), are left out, and so are processes whose stat cannot be opened. Where smaps_rollup cannot be
// opened (no permission) or is empty (a process that has ended and is not yet reaped) pss, rss and privateMem
// are 0; an empty one also stays open, one descriptor each time, by design. A name with a blank puts the rest
// of the stat line out of step: ppid and vmSize are mostly -1 and 0 then or, right after a kernel thread,
// still that one's, so that the process is left out, too.
//
// Messages go to the platform log under "libtessary : procmem_mon". When memory is refused at construction,
// every call asks for it again, and reports and returns nothing while it is still refused.
//
// One object must not be used from two threads at once. The results belong to the monitor; the next call
// empties and refills them. A call needs 64 KiB of stack, and opens a folder and a node at the same time.
class TESSARY_API PERPROCMEM_MON {
 public:
  class PERPROCMEM_MON_INTERFACE;

  PERPROCMEM_MON();
  ~PERPROCMEM_MON();
  PERPROCMEM_MON(const PERPROCMEM_MON&) = delete;
  PERPROCMEM_MON& operator=(const PERPROCMEM_MON&) = delete;

  // All processes in the order in which /proc lists them, or those of the list in its order. Never null.
  std::vector<processMemoryMap>* tessary_getPerProcessMemStats();
  std::vector<processMemoryMap>* tessary_getPerProcessMemStats(std::vector<int> pids);

  std::unique_ptr<PERPROCMEM_MON_INTERFACE> implementation;
};

// The state behind the facade.
class TESSARY_API PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE {
 public:
  PERPROCMEM_MON_INTERFACE();
  ~PERPROCMEM_MON_INTERFACE();
  PERPROCMEM_MON_INTERFACE(const PERPROCMEM_MON_INTERFACE&) = delete;
  PERPROCMEM_MON_INTERFACE& operator=(const PERPROCMEM_MON_INTERFACE&) = delete;

  // Sets and returns pageSizeKiB.
  long getSysPageSize();

  // Reads name, ppid and vmSize of a process; what its stat lacks keeps its value, but for vmSize, which is
  // divided by 1024 all the same. -1 when the stat cannot be opened or memory is refused, else 0.
  int readProcStat(int pid);

  // Reads pss and rss of a process, and adds its private memory to privateMem. What its smaps_rollup lacks
  // keeps its value.
  void readProcSmapsRollup(int pid);

  // Appends one process to results, unless it is a kernel thread.
  void setProcMemStats(int pid);

  // Appends all processes, or those of the list.
  void getProcs();
  void getProcs(std::vector<int> pids);

  char* nameBuffer = nullptr;  // 128 bytes
  int ppid = -1;
  uint64_t vmSize = 0;                  // KiB
  uint64_t pss = 0;                     // kB
  uint64_t rss = 0;                     // kB
  uint64_t privateMem = 0;              // kB
  processMemoryMap* scratch = nullptr;  // the record that is being built
  std::vector<processMemoryMap> results;
  int64_t pageSizeKiB = 0;  // read by nothing
};

}  // namespace procmem

#endif
