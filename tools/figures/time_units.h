// What the clocks' units are to each other.
#ifndef TESSARY_TOOLS_FIGURES_TIME_UNITS_H
#define TESSARY_TOOLS_FIGURES_TIME_UNITS_H

#include <cstdint>

namespace tool {

constexpr std::int64_t kMillisecondsInSecond = 1000;
constexpr std::int64_t kNanosecondsInMillisecond = 1000000;
constexpr std::int64_t kNanosecondsInSecond = 1000000000;

}  // namespace tool

#endif
