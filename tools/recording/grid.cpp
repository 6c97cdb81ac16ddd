#include "tools/recording/grid.h"

#include <algorithm>

namespace tool {

namespace {

// The part of an interval that is enough for a sample.
constexpr std::int64_t kEnough = 4;

std::int64_t roundedUp(std::int64_t value, std::int64_t unit) { return (value + unit - 1) / unit; }

}  // namespace

Grid::Grid(std::int64_t start, std::int64_t interval, std::int64_t duration)
    : start_{start}, interval_{interval}, duration_{duration} {}

std::optional<std::int64_t> Grid::plan(std::int64_t now) {
  const std::int64_t passed = now - start_;
  const std::int64_t least = interval_ / kEnough;
  planned_ = std::max(last_ + 1, roundedUp(passed + least, interval_));
  const std::int64_t planned = planned_ * interval_;
  if (duration_ == 0 || planned <= duration_) return start_ + planned;
  // The last one is as long as the duration leaves it, and so is the only one of a short recording.
  const bool first = last_ == 0;
  if (passed >= duration_ || (!first && duration_ - passed < least)) return std::nullopt;
  planned_ = last_;
  return start_ + duration_;
}

std::int64_t Grid::end(std::int64_t now) {
  const std::int64_t ended = std::max(planned_, (now - start_) / interval_);
  const std::int64_t missed = std::max<std::int64_t>(ended - last_ - 1, 0);
  last_ = ended;
  return missed;
}

}  // namespace tool
