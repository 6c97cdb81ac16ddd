// The machine's RAM and swap.
#ifndef TESSARY_MEMORY_MON_H
#define TESSARY_MEMORY_MON_H

#include <cstdint>
#include <memory>

#include "tessary/export.h"

namespace memory {

// As /proc/meminfo gives them, in kB of 1024 bytes.
struct memStats {
  uint64_t totalMem;
  uint64_t availableMem;
  uint64_t freeMem;  // this, cached and buffers are read and reported nowhere
  uint64_t cached;
  uint64_t buffers;
  uint64_t totalSwap;
  uint64_t freeSwap;
};

// In kB. What is used is what is not available: free memory, the page cache and buffers take no part.
struct finalMemStats {
  uint64_t totalMem;
  uint64_t availableMem;
  uint64_t usedMem;
  uint64_t totalSwap;
  uint64_t freeSwap;
  uint64_t usedSwap;
};

// Reads /proc/meminfo at each call; nothing waits. All messages go to standard output. One object must not be
// used from two threads at once. A call needs 64 KiB of stack, and opens one node.
class TESSARY_API MEMORY_MON {
 public:
  class MEMORY_MON_INTERFACE;

  MEMORY_MON();
  ~MEMORY_MON();
  MEMORY_MON(const MEMORY_MON&) = delete;
  MEMORY_MON& operator=(const MEMORY_MON&) = delete;

  // The figures of now. The record belongs to the monitor, lives until the monitor is destroyed, and is
  // overwritten by the next call. Where the file cannot be read it holds the figures of the last time that it
  // could, zeros if there was none; a key that the file lacks keeps its value likewise. The differences are
  // unsigned and may wrap.
  //
  // A record whose memory was refused at construction is asked for again, with the same message; null while
  // it is refused. The figures stay the old ones, too, when the memory for the file's keys is refused.
  finalMemStats* tessary_getMemStats();

  std::unique_ptr<MEMORY_MON_INTERFACE> implementation;
};

// The two records, which the object owns.
class TESSARY_API MEMORY_MON::MEMORY_MON_INTERFACE {
 public:
  MEMORY_MON_INTERFACE();
  ~MEMORY_MON_INTERFACE();
  MEMORY_MON_INTERFACE(const MEMORY_MON_INTERFACE&) = delete;
  MEMORY_MON_INTERFACE& operator=(const MEMORY_MON_INTERFACE&) = delete;

  // Reads /proc/meminfo into the raw record. Does nothing while there is none.
  void getMemStats();

  memory::memStats* memStats = nullptr;
  memory::finalMemStats* finalMemStats = nullptr;
};

}  // namespace memory

#endif
