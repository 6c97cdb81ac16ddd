// Traffic on the memory bus, from the kernel's bandwidth profiler /dev/profiler.
#ifndef TESSARY_DDR_MON_H
#define TESSARY_DDR_MON_H

#include <cstdint>
#include <memory>

#include "tessary/export.h"

// The counter registers that the older device interface is told to read: filled and sent by each construction
// of a monitor on it, and zeros before. Process-wide and unguarded: construct the monitors from one thread.
TESSARY_API extern uint32_t offset_reg_values[24];

namespace ddr {

// The records of the device interface, as the driver reads and writes them. A command is 1 start, 2 get or 3
// close.

// A sample of the two counters of a bus half.
struct counterPair {
  int32_t first;
  int32_t second;
};

// The older interface: raw counters. The figures A1, A2, B1 and B2 are sums of six counters each.
struct legacyCommandRecord {
  uint32_t command;
  uint32_t started;  // 1 once the start command has been sent
  counterPair a[6];
  counterPair b[6];
};

// The newer interface: figures ready-made.
struct gen3CommandRecord {
  uint32_t aTotal;
  uint32_t a1;
  uint32_t a2;
  uint32_t bTotal;
  uint32_t b1;
  uint32_t b2;
  uint32_t command;
};

// What the older interface is set up with; the meaning of the words is the driver's.
struct configurationRecord {
  uint32_t words[4];
};

// Profiles the memory bus from construction to destruction. Construction looks at the board's platform name
// (checkMachineName, board.h) to choose between the newer device interface ("brindle" boards) and the older
// one. It always succeeds; when the device is not there or refuses, every reading returns null. All messages
// go to standard output.
//
// One object must not be used from two threads at once.
class TESSARY_API DDR_MON {
 public:
  class DDR_MON_INTERFACE;

  DDR_MON();

  // Stops profiling on the device, closes it, and releases the records and the figures. A device that refuses
  // is reported on standard output.
  ~DDR_MON();
  DDR_MON(const DDR_MON&) = delete;
  DDR_MON& operator=(const DDR_MON&) = delete;

  // How often tessary_getDDRStats is called, in milliseconds, 1000 at first: the older interface turns counts
  // per sampling time into counts per second. 0 or less is not taken.
  void tessary_setSamplingTime(int ms);

  // Reads the device once; does not wait. Six figures: A1, A2, A total, B1, B2, B total. On the older
  // interface they are per second and signed (a negative one is in two's complement), and the caller keeps to
  // the sampling time; on the newer one they are the driver's own, whatever the sampling time. The array
  // belongs to the monitor, lives until it is destroyed, and is overwritten by the next call.
  //
  // Null once anything has failed on the device or memory was refused, and from then on, though the device is
  // still asked.
  uint64_t* tessary_getDDRStats();

  int count;         // of figures: 6
  int samplingTime;  // milliseconds
  std::unique_ptr<DDR_MON_INTERFACE> implementation;
};

// The device and its records.
class TESSARY_API DDR_MON::DDR_MON_INTERFACE {
 public:
  DDR_MON_INTERFACE();
  ~DDR_MON_INTERFACE();
  DDR_MON_INTERFACE(const DDR_MON_INTERFACE&) = delete;
  DDR_MON_INTERFACE& operator=(const DDR_MON_INTERFACE&) = delete;

  // As tessary_getDDRStats. A sampling time of 0 or less counts as 1000 ms.
  uint64_t* getDDRStats(int samplingTimeMs);

  uint64_t* results;                   // six figures; null when their memory was refused
  int count;                           // of figures: 6
  int descriptor;                      // of /dev/profiler, -1 when it could not be opened
  legacyCommandRecord* legacyCommand;  // null on the newer interface, and when its memory was refused
  gen3CommandRecord* gen3Command;      // null on the older interface, and when its memory was refused
  configurationRecord configuration;
  int errorFlag;  // 1 once anything has failed
};

}  // namespace ddr

#endif
