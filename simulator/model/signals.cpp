#include "simulator/model/signals.h"

#include <algorithm>
#include <cmath>

namespace simulator {

namespace {

constexpr int kSineSteps = 64;
constexpr int kNoiseSteps = 1024;

// The increment and the finishing steps of the splitmix64 generator.
std::uint64_t nextRandom(std::uint64_t& state) {
  std::uint64_t bits = state += 0x9e3779b97f4a7c15;
  bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9;
  bits = (bits ^ (bits >> 27)) * 0x94d049bb133111eb;
  return bits ^ (bits >> 31);
}

}  // namespace

Wave::Wave(std::vector<std::int64_t> levels) : levels_{std::move(levels)}, sums_{0} {
  for (const std::int64_t level : levels_) sums_.push_back(sums_.back() + level);
}

std::shared_ptr<const Wave> Wave::sine() {
  static const std::shared_ptr<const Wave> wave = [] {
    std::vector<std::int64_t> levels;
    for (int step = 0; step < kSineSteps; ++step) {
      const double angle = 2 * 3.14159265358979323846 * (step + 0.5) / kSineSteps;
      levels.push_back(std::llround(0.5 * kFull * (1 + std::sin(angle))));
    }
    return std::shared_ptr<const Wave>{new Wave{std::move(levels)}};
  }();
  return wave;
}

std::shared_ptr<const Wave> Wave::noise(std::uint64_t seed) {
  std::vector<std::int64_t> levels(kNoiseSteps);
  for (std::int64_t& level : levels) level = static_cast<std::int64_t>(nextRandom(seed) % (kFull + 1));
  return std::shared_ptr<const Wave>{new Wave{std::move(levels)}};
}

std::int64_t Wave::level(Microseconds time, Microseconds step) const {
  return levels_[static_cast<std::size_t>(time / step % steps())];
}

Wide Wave::area(Microseconds time, Microseconds step) const {
  const std::int64_t passed = time / step;
  const auto at = static_cast<std::size_t>(passed % steps());
  return (Wide{passed / steps()} * sums_.back() + sums_[at]) * step + Wide{levels_[at]} * (time % step);
}

Series::Series(std::vector<Point> points) : points_{std::move(points)} {
  Wide sum = 0;
  for (std::size_t i = 0; i < points_.size(); ++i) {
    if (i > 0) sum += Wide{points_[i - 1].value.value_or(0)} * (points_[i].time - points_[i - 1].time);
    sums_.push_back(sum);
    lowest_ = std::min(lowest_, points_[i].value.value_or(0));
    highest_ = std::max(highest_, points_[i].value.value_or(0));
  }
}

std::size_t Series::behind(Microseconds time) const {
  const auto next = std::upper_bound(points_.begin(), points_.end(), time,
                                     [](Microseconds then, const Point& point) { return then < point.time; });
  return static_cast<std::size_t>(next - points_.begin());
}

std::optional<Thousandths> Series::at(Microseconds time) const {
  const std::size_t count = behind(time);
  return count > 0 ? points_[count - 1].value : std::nullopt;
}

Wide Series::integral(Microseconds time) const {
  const std::size_t count = behind(time);
  if (count == 0) return 0;
  const Point& last = points_[count - 1];
  return sums_[count - 1] + Wide{last.value.value_or(0)} * (time - last.time);
}

bool Series::isWhole() const {
  return !points_.empty() && points_.front().time <= 0 &&
         std::all_of(points_.begin(), points_.end(),
                     [](const Point& point) { return point.value.has_value(); });
}

Signal::Signal(Thousandths value) : from_{value}, to_{value} {}

Signal Signal::square(Range range, Microseconds period, Microseconds firstFor) {
  Signal signal{Form::kSquare, range, period};
  signal.firstFor_ = firstFor;
  return signal;
}

Signal Signal::ramp(Range range, Microseconds over, bool repeats) {
  return {repeats ? Form::kSawtooth : Form::kRamp, range, over};
}

Signal Signal::sine(Range range, Microseconds period) {
  Signal signal{Form::kWave, range, std::max<Microseconds>(period / kSineSteps, 1)};
  signal.wave_ = Wave::sine();
  return signal;
}

Signal Signal::noise(Range range, Microseconds step, std::shared_ptr<const Wave> wave, std::uint64_t place) {
  Signal signal{Form::kWave, range, step};
  signal.phase_ = static_cast<std::int64_t>(place % static_cast<std::uint64_t>(wave->steps())) * step;
  signal.wave_ = std::move(wave);
  return signal;
}

Signal Signal::series(std::shared_ptr<const Series> series) {
  Signal signal{Form::kSeries, {series->lowest(), series->highest()}, 1};
  signal.series_ = std::move(series);
  return signal;
}

bool Signal::isThere(Microseconds time) const { return !series_ || series_->at(time + phase_).has_value(); }

Signal Signal::shifted(Microseconds phase) const {
  Signal signal = *this;
  signal.phase_ += phase;
  return signal;
}

std::int64_t Signal::level(Microseconds time) const {
  switch (form_) {
    case Form::kConstant:
    case Form::kSeries:
      return 0;
    case Form::kSquare:
      return time % period_ < firstFor_ ? 0 : Wave::kFull;
    case Form::kRamp:
      return static_cast<std::int64_t>(Wide{Wave::kFull} * std::min(time, period_) / period_);
    case Form::kSawtooth:
      return static_cast<std::int64_t>(Wide{Wave::kFull} * (time % period_) / period_);
    case Form::kWave:
      return wave_->level(time, period_);
  }
  return 0;
}

Wide Signal::area(Microseconds time) const {
  const auto slope = [this](Microseconds part) {
    return Wide{Wave::kFull} * part * part / (2 * Wide{period_});
  };
  switch (form_) {
    case Form::kConstant:
    case Form::kSeries:
      return 0;
    case Form::kSquare:
      return Wide{Wave::kFull} *
             (time / period_ * (period_ - firstFor_) + std::max<Microseconds>(time % period_ - firstFor_, 0));
    case Form::kRamp:
      return time < period_ ? slope(time) : slope(period_) + Wide{Wave::kFull} * (time - period_);
    case Form::kSawtooth:
      return time / period_ * slope(period_) + slope(time % period_);
    case Form::kWave:
      return wave_->area(time, period_);
  }
  return 0;
}

Thousandths Signal::at(Microseconds time) const {
  if (series_) return series_->at(time + phase_).value_or(0);
  return from_ + static_cast<Thousandths>(Wide{to_ - from_} * level(time + phase_) / Wave::kFull);
}

Wide Signal::integral(Microseconds time) const {
  if (series_) return series_->integral(time + phase_) - series_->integral(phase_);
  // Rounded down, whichever way the signal goes: what the others leave of a core's time never shrinks.
  const Wide moved = Wide{to_ - from_} * (area(time + phase_) - area(phase_));
  const Wide rounded = moved < 0 ? (moved - Wave::kFull + 1) / Wave::kFull : moved / Wave::kFull;
  return Wide{from_} * time + rounded;
}

std::uint64_t Counter::at(Microseconds time) const {
  const auto moved = static_cast<std::uint64_t>(perSecond.integral(time) / kOneForASecond);
  const std::uint64_t count = start + moved;
  return bits < 64 ? count & ((std::uint64_t{1} << bits) - 1) : count;
}

void Counter::wrapAt(Microseconds time, int bitsOfCounter) {
  start = 0;
  bits = 64;
  start -= at(time);
  bits = bitsOfCounter;
}

std::uint64_t mixed(std::uint64_t seed, std::string_view name) {
  std::uint64_t state = seed;
  for (const char character : name) state = nextRandom(state) ^ static_cast<unsigned char>(character);
  return nextRandom(state);
}

}  // namespace simulator
