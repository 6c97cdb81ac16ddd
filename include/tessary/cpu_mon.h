// CPU load, steal time, clock and capacity of each core, and the identity of the board.
#ifndef TESSARY_CPU_MON_H
#define TESSARY_CPU_MON_H

#include <cstdint>
#include <memory>

#include "tessary/export.h"

namespace cpu {

// Reads every core that the system is configured for: sysconf(_SC_NPROCESSORS_CONF), N below, offline ones
// included.
//
// Construction reads the capacities and runs three shell commands to identify the board. It always succeeds:
// what it could not read stays empty, and what it could not allocate is reported by the operation that needs
// it. Messages go to the platform log under "libtessary : cpu_mon".
//
// One object must not be used from two threads at once. A result belongs to the monitor, lives until the
// monitor is destroyed, and is overwritten by the next call. A call needs 64 KiB of stack, and opens a folder
// and a node at the same time.
class TESSARY_API CPU_MON {
 public:
  class CPU_MON_INTERFACE;

  CPU_MON();
  ~CPU_MON();
  CPU_MON(const CPU_MON&) = delete;
  CPU_MON& operator=(const CPU_MON&) = delete;

  // The load of each core over one sampling interval, from two readings of /proc/stat on the caller's thread,
  // which sleeps in between. N+1 entries in percent: entry 0 is the total, the loads weighted by each core's
  // share of the capacity (each core weighs 1/N where the capacities could not be read); entry i+1 is core i.
  //
  // Only idle time counts as idle: a core that waits for I/O is busy. Guest time counts twice in the total,
  // as the kernel counts it in user time too. A core whose counters stood still has a load that is not
  // finite. The rows of /proc/stat are taken by position: an offline core has none, the rows below move up,
  // and the last entries show lines that belong to no core. A short or malformed row is not detected: what it
  // lacks keeps the value of the row before.
  //
  // Null when /proc/stat cannot be opened, or a table could not be allocated.
  double* tessary_getPerCoreUsage();

  // Takes the same measurement and returns its total in percent; -1.0 when the measurement failed.
  double tessary_getTotalCPULoad();

  // The steal time in percent that the last measurement found, laid out like the load: entry 0 is the
  // weighted total. Takes no measurement; all zeros before the first. Null when the table could not be
  // allocated.
  double* tessary_getPerCoreStealTime();

  // The interval in milliseconds, 1000 at first. Not checked: 0 does not wait, a negative one waits very
  // long. Writes "Changed Sample Time = " and the value to standard output.
  void tessary_setSamplingTime(int ms);

  // The current clock of each core in kHz, from /sys/devices/system/cpu/cpu<i>/cpufreq/cpuinfo_cur_freq, read
  // at the call: no interval. N entries; entry i is core i. An entry whose node holds no number keeps its
  // previous value. Null when a core's node cannot be opened (offline, no cpufreq driver, no permission): the
  // entries before it are new then, the others are not. Null too when the table could not be allocated.
  int64_t* tessary_getCPUFrequency();

  int numCores;
  std::unique_ptr<CPU_MON_INTERFACE> implementation;
};

// The state behind the facade. Its readers fill the object that they are given.
class TESSARY_API CPU_MON::CPU_MON_INTERFACE {
 public:
  CPU_MON_INTERFACE();

  // Leaves prevStealTime, the reserved tables, cpuCapacity2 and cpuFactor2 unreleased, by design.
  ~CPU_MON_INTERFACE();
  CPU_MON_INTERFACE(const CPU_MON_INTERFACE&) = delete;
  CPU_MON_INTERFACE& operator=(const CPU_MON_INTERFACE&) = delete;

  // The readers below that allocate do so anew at each call, and the earlier table is lost.

  // Allocates cpuCapacity, reads /sys/devices/system/cpu/cpu<i>/cpu_capacity of each core, and goes on to
  // getCPUFactor. Ends at the first node that cannot be opened, without factors. The nodes stay open, by
  // design.
  void getCPUCapacity(CPU_MON_INTERFACE* target);

  // Allocates cpuFactor: each core's share of the sum of the capacities, not finite when that sum is 0, and
  // zeros while there are no capacities.
  void getCPUFactor(CPU_MON_INTERFACE* target);

  // Allocates cpuCapacity2 (at least eight entries) and copies the eight capacities of the first CPU_topology
  // row whose model begins with socName; of row 0 when there is none. Does nothing while boardValid is -1.
  void getCPUCapacity2(CPU_MON_INTERFACE* target);

  // validateBoardInfo, getCPUCapacity2, then cpuFactor2 from cpuCapacity2. When there are no capacities
  // because the board is not supported or the memory was refused, cpuFactor2 is all zeros. Each call
  // allocates anew.
  void getCPUFactor2(CPU_MON_INTERFACE* target);

  // Runs the nvmem node's fuse words through od and takes bits 20 to 27 of the number that the last piece of
  // the output begins with, a piece being 19 characters of a line or what is left of it. Of a last line with
  // one word that is the word; of a longer one it may be the tail of a word, without its sign. 0 when there
  // is no output, as without the node; -1 only when the command cannot be run.
  void getFeatureID(CPU_MON_INTERFACE* target);

  // The first word of "getprop ro.board.platform", cut to nine characters. Empty when the command cannot be
  // run.
  void getPlatformName(CPU_MON_INTERFACE* target);

  // The first word of /sys/devices/soc0/machine, cut to 31 characters. Empty when the command cannot be run.
  void getSOCName(CPU_MON_INTERFACE* target);

  // Sets boardValid: 1 when platformName and socName begin with the names of boardInfoMap, else -1. The
  // feature ID that was read takes no part: the one of the matching row does.
  void validateBoardInfo(CPU_MON_INTERFACE* target);

  int* cpuCapacity = nullptr;  // N, the kernel's scale (largest core 1024)
  float* cpuFactor = nullptr;  // N, shares of 1; null when a capacity could not be read or memory was refused
  double* cpuUsage = nullptr;  // N+1, percent
  double* prevTotalTime = nullptr;  // N+1, ticks, one entry for each row of /proc/stat
  double* prevIdleTime = nullptr;   // N+1, ticks
  int64_t* cpuFrequency = nullptr;  // N, kHz
  int64_t featureID = 0;            // -1 when no command could be run; the two names are empty then
  char platformName[10] = {};
  char socName[32] = {};
  int* cpuCapacity2 = nullptr;  // N, at least eight, the kernel's scale; null until getCPUFactor2
  float* cpuFactor2 = nullptr;  // N, shares of 1; null until getCPUFactor2
  double* reserved1 = nullptr;  // N+1; used by nothing, like the other two
  double* reserved2 = nullptr;
  double* stealTime = nullptr;      // N+1, percent
  double* prevStealTime = nullptr;  // N+1, ticks
  double* reserved3 = nullptr;
  int boardValid;    // 1 validated, -1 unknown or not supported
  int samplingTime;  // milliseconds
  int numCores;      // N
};

}  // namespace cpu

#endif
