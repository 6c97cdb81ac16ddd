// A core's figures over time: what its load makes of /proc/stat, its clock, the load averages, the idle time
// and the temperatures.
#ifndef TESSARY_SIMULATOR_MODEL_CORE_H
#define TESSARY_SIMULATOR_MODEL_CORE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "simulator/model/signals.h"

namespace simulator {

// The columns of /proc/stat after the label, and their keys in a core's load.
constexpr std::size_t kTickColumns = 10;
constexpr std::size_t kIdleColumn = 3;  // what the others leave
constexpr std::size_t kIowaitColumn = 4;
constexpr std::size_t kGuestColumn = 8;  // from here on: counted in user and nice already
constexpr const char* kTickKeys[kTickColumns] = {"user", "nice",    "system", "idle",  "iowait",
                                                 "irq",  "softirq", "steal",  "guest", "guest_nice"};

struct CoreFile {
  int capacity = 1024;
  std::int64_t minKHz = 0;  // without a highest clock the core has no cpufreq nodes
  std::int64_t maxKHz = 0;
  std::optional<Signal> clock;              // kHz; else it follows the load
  std::array<Signal, kTickColumns> shares;  // percent of the time; idle is what they leave
  std::vector<Span> offline;                // the counters stand still then

  bool isOffline(Microseconds time) const;
  Wide passed(std::size_t column, Microseconds time) const;  // percent, integrated
  Wide busy(Microseconds time) const;                        // all but idle and iowait, likewise
  Thousandths busyAt(Microseconds time) const;               // percent
  std::int64_t kHzAt(Microseconds time) const;

 private:
  Wide whileOnline(const Signal& signal, Microseconds time) const;
};

}  // namespace simulator

#endif
