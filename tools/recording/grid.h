// The times of a recording's samples. Each ends at a multiple of the interval, counted from the recording's
// start, however long reading takes: an hour at 1 s has 3,600 samples, and what reading takes is taken off
// the next wait instead of being added to it.
#ifndef TESSARY_TOOLS_RECORDING_GRID_H
#define TESSARY_TOOLS_RECORDING_GRID_H

#include <cstdint>
#include <optional>

namespace tool {

// All times are in nanoseconds of one clock.
class Grid {
 public:
  // A duration of 0 has no end.
  Grid(std::int64_t start, std::int64_t interval, std::int64_t duration = 0);

  // When the sample that begins now has to end; none when the recording is over. Where too little is left of
  // the present interval to measure anything, the next one is taken.
  std::optional<std::int64_t> plan(std::int64_t now);

  // The planned sample has ended. How many multiples of the interval have gone by without a sample since the
  // sample before: it came late, or it was long, as after a suspend.
  std::int64_t end(std::int64_t now);

 private:
  std::int64_t start_;
  std::int64_t interval_;
  std::int64_t duration_;
  std::int64_t last_ = 0;     // the multiple at which the sample before ended
  std::int64_t planned_ = 0;  // and that of the next one
};

}  // namespace tool

#endif
