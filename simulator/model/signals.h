// What a figure of a board does over time. A signal has a value at each moment and, as what counters are made
// of, an integral from the board's start. Both are whole numbers: the same board, seed and time give the same
// figures on every machine, and a counter that is read twice moved by exactly its rate times the time
// between. Times are microseconds since the board's start.
#ifndef TESSARY_SIMULATOR_MODEL_SIGNALS_H
#define TESSARY_SIMULATOR_MODEL_SIGNALS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "simulator/board/time_units.h"

namespace simulator {

using Thousandths = std::int64_t;  // of the figure's own unit
__extension__ typedef __int128 Wide;

constexpr Thousandths kOne = 1000;
constexpr Wide kOneForASecond = Wide{kOne} * kMicrosecondsInSecond;  // the integral

// Steps of equal length that repeat, each a level from 0 to kFull.
class Wave {
 public:
  static constexpr std::int64_t kFull = 1000000;

  static std::shared_ptr<const Wave> sine();
  static std::shared_ptr<const Wave> noise(std::uint64_t seed);

  std::int64_t steps() const { return static_cast<std::int64_t>(levels_.size()); }
  std::int64_t level(Microseconds time, Microseconds step) const;
  Wide area(Microseconds time, Microseconds step) const;  // of level times microsecond, from time 0

 private:
  explicit Wave(std::vector<std::int64_t> levels);

  std::vector<std::int64_t> levels_;
  std::vector<std::int64_t> sums_;  // of the levels before
};

// Values of which each holds from its time on; none: the figure is absent. Before the first it is, too.
class Series {
 public:
  struct Point {
    Microseconds time;
    std::optional<Thousandths> value;
  };

  explicit Series(std::vector<Point> points);  // in the order of their times

  std::optional<Thousandths> at(Microseconds time) const;
  Wide integral(Microseconds time) const;  // what is absent adds nothing
  Thousandths lowest() const { return lowest_; }
  Thousandths highest() const { return highest_; }
  bool isWhole() const;  // never absent

 private:
  std::size_t behind(Microseconds time) const;  // the number of points up to then

  std::vector<Point> points_;
  std::vector<Wide> sums_;  // the integral up to each point
  Thousandths lowest_ = 0;
  Thousandths highest_ = 0;
};

class Signal {
 public:
  struct Range {
    Thousandths from;
    Thousandths to;
  };

  Signal(Thousandths value = 0);                                                  // constant
  static Signal square(Range range, Microseconds period, Microseconds firstFor);  // one, then the other
  static Signal ramp(Range range, Microseconds over, bool repeats);  // stays there, or starts again
  static Signal sine(Range range, Microseconds period);
  static Signal noise(Range range, Microseconds step, std::shared_ptr<const Wave> wave, std::uint64_t place);

  static Signal series(std::shared_ptr<const Series> series);

  // The signal as it is `phase` later.
  Signal shifted(Microseconds phase) const;

  Thousandths at(Microseconds time) const;
  Wide integral(Microseconds time) const;  // thousandths times microseconds
  bool isThere(Microseconds time) const;   // its value is 0 while it is not
  bool isAlwaysThere() const { return !series_ || series_->isWhole(); }
  Thousandths lowest() const { return from_ < to_ ? from_ : to_; }
  Thousandths highest() const { return from_ < to_ ? to_ : from_; }

 private:
  enum class Form { kConstant, kSquare, kRamp, kSawtooth, kWave, kSeries };

  Signal(Form form, Range range, Microseconds period)
      : form_{form}, from_{range.from}, to_{range.to}, period_{period} {}
  std::int64_t level(Microseconds time) const;
  Wide area(Microseconds time) const;

  Form form_ = Form::kConstant;
  Thousandths from_ = 0;
  Thousandths to_ = 0;
  Microseconds period_ = 1;  // of a wave: of one step
  Microseconds firstFor_ = 0;
  Microseconds phase_ = 0;
  std::shared_ptr<const Wave> wave_;
  std::shared_ptr<const Series> series_;
};

// Time in [from, to).
struct Span {
  Microseconds from = 0;
  Microseconds to = 0;

  bool holds(Microseconds time) const { return time >= from && time < to; }
};

// A counter that the signal, in units a second, moves. It wraps at 2^bits.
struct Counter {
  Signal perSecond;
  std::uint64_t start = 0;
  int bits = 64;

  std::uint64_t at(Microseconds time) const;
  void wrapAt(Microseconds time, int bitsOfCounter);  // it passes through 0 at this time
};

// A well-mixed number from a seed and the name of what it is for.
std::uint64_t mixed(std::uint64_t seed, std::string_view name);

}  // namespace simulator

#endif
