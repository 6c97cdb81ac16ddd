// The units that the simulator counts time in.
#ifndef TESSARY_SIMULATOR_BOARD_TIME_UNITS_H
#define TESSARY_SIMULATOR_BOARD_TIME_UNITS_H

#include <cstdint>

namespace simulator {

using Nanoseconds = std::int64_t;
using Microseconds = std::int64_t;

constexpr Nanoseconds kNanosecondsInSecond = 1000000000;
constexpr Microseconds kMicrosecondsInSecond = 1000000;

}  // namespace simulator

#endif
