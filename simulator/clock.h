// The board's time. Stepped time stands still but for the waits: each wait moves the clock of the thread that
// waits, at once, by exactly what it asked for. A thread starts with the time of the thread that created it
// and, when it is joined, passes its own on, so that monitors which wait side by side take one interval, not
// several, and every run with the same waits reads the same times. Real time is the machine's, counted from
// the board's start.
#ifndef TESSARY_SIMULATOR_CLOCK_H
#define TESSARY_SIMULATOR_CLOCK_H

#include <cstdint>

namespace simulator {

using Nanoseconds = std::int64_t;

class Clock {
 public:
  enum class Mode { kStepped, kReal };

  explicit Clock(Mode mode, Nanoseconds start = 0);

  Mode mode() const { return mode_; }

  // Since the board's start, as the calling thread sees it.
  Nanoseconds now() const;

  // Passes `duration`: moves the thread's stepped time, or sleeps.
  void wait(Nanoseconds duration);

  // For joins: the calling thread's time becomes at least `time`.
  void advanceTo(Nanoseconds time);

  // The machine's clock `id`, read as the board's: stepped time counts from a fixed date.
  Nanoseconds read(int id) const;

 private:
  Mode mode_;
  Nanoseconds origin_;  // real time: the machine's boot clock at the board's start
};

}  // namespace simulator

#endif
