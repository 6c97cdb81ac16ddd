// Sectors read and written by each whole disk.
#ifndef TESSARY_DISK_MON_H
#define TESSARY_DISK_MON_H

#include <cstdint>
#include <memory>
#include <vector>

#include "tessary/export.h"

namespace diskio {

// A line of /proc/diskstats, in the order of its columns. A column that the line lacks is 0: older kernels
// have fewer.
struct _diskstats_t {
  uint16_t majorNumber;
  uint16_t minorNumber;
  char deviceName[36];  // a longer one is cut
  uint64_t readsCompleted;
  uint64_t readsMerged;
  uint64_t sectorsRead;
  uint64_t readTimeMs;
  uint64_t writesCompleted;
  uint64_t writesMerged;
  uint64_t sectorsWritten;
  uint64_t writeTimeMs;
  uint64_t iosInProgress;
  uint64_t ioTimeMs;
  uint64_t weightedIoTimeMs;
  uint64_t discardsCompleted;
  uint64_t discardsMerged;
  uint64_t sectorsDiscarded;
  uint64_t discardTimeMs;
  uint64_t flushesCompleted;
  uint64_t flushTimeMs;
};

// Counts of the kernel's sectors, 512 bytes each whatever the disk's own are; not bytes, not per second.
struct _iostats_t {
  char deviceName[32];  // a longer one is cut
  uint64_t sectorsRead;
  uint64_t sectorsWritten;
};

// Reads /proc/diskstats. A disk is reported when /sys/block has a readable entry of its name, which a
// partition has not, nor a disk with a slash in its name, which sysfs spells otherwise; RAM disks and loop
// devices are left out. Disks stand in the kernel's order.
//
// Construction always succeeds and reads nothing. Messages go to the platform log under
// "libtessary : disk_mon": a line with fewer than 14 columns is reported there and skipped.
//
// One object must not be used from two threads at once. Both results are the same vector: it belongs to the
// monitor, lives until the monitor is destroyed, and is overwritten by the next call of either. A call needs
// 64 KiB of stack, and opens one node.
class TESSARY_API DISK_MON {
 public:
  class DISK_MON_INTERFACE;

  // The hook is called with 8 instead of sleeping; the second reading is taken when it returns 110. Null:
  // sleep.
  DISK_MON();
  explicit DISK_MON(int (*hook)(int));
  ~DISK_MON();
  DISK_MON(const DISK_MON&) = delete;
  DISK_MON& operator=(const DISK_MON&) = delete;

  // The interval in milliseconds, 500 at first. Not checked: 0 does not wait, a negative one waits very long.
  void tessary_setSamplingTime(int ms);

  // The sectors since boot, read at the call: no interval. Empty when /proc/diskstats cannot be opened.
  std::vector<_iostats_t>& tessary_getRawIOStats();

  // The sectors of one sampling interval, from two readings on the caller's thread, which waits in between.
  // Empty when /proc/diskstats cannot be opened, or the hook stopped the measurement.
  //
  // The readings are paired by position, under the names of the first, and their difference is taken modulo
  // 2^64: when a disk appeared in between, those behind its place show figures of two disks. Throws
  // std::out_of_range when the second reading has fewer disks than the first: the result then holds those
  // that it has.
  std::vector<_iostats_t>& tessary_getIOStats();

  // The number of records in the result now, of whichever of the two calls ran last; 0 before the first.
  int tessary_getNumOfIOStats();

  std::unique_ptr<DISK_MON_INTERFACE> implementation;
  int (*waitHook)(int);  // null: sleep
};

// The readings and the result. Vectors keep their storage from call to call.
class TESSARY_API DISK_MON::DISK_MON_INTERFACE {
 public:
  DISK_MON_INTERFACE();
  ~DISK_MON_INTERFACE();
  DISK_MON_INTERFACE(const DISK_MON_INTERFACE&) = delete;
  DISK_MON_INTERFACE& operator=(const DISK_MON_INTERFACE&) = delete;

  // Reads /proc/diskstats into `parsed`, and returns that; empty when it cannot be opened.
  std::vector<_diskstats_t>& getDiskStats();

  // Replaces the target by the reported columns of the disks.
  void assign_stats(std::vector<_diskstats_t>& disks, std::vector<_iostats_t>& target);

  // Replaces `result` by second - first, record by record of the first. Throws as tessary_getIOStats does.
  void calc_delta(std::vector<_iostats_t>& first, std::vector<_iostats_t>& second);

  std::vector<_diskstats_t> parsed;
  int samplingTime = 500;  // milliseconds
  std::vector<_iostats_t> firstSample;
  std::vector<_iostats_t> secondSample;
  std::vector<_iostats_t> result;
};

}  // namespace diskio

#endif
