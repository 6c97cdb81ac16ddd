#include "tools/statistics/bootstrap.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace tool::statistics {

namespace {

using Rank = std::uint32_t;

// Only the engine is the same in each standard library, not its distributions.
class Blocks {
 public:
  Blocks(std::size_t size, double meanBlock)
      : size_{size},
        logStay_{meanBlock > 1 ? std::log1p(-1 / meanBlock) : -std::numeric_limits<double>::infinity()} {}

  std::size_t start() {
    return std::min(static_cast<std::size_t>(fraction() * static_cast<double>(size_)), size_ - 1);
  }

  // Geometric: a block goes on with probability 1 - 1/meanBlock. Longer than the resample is long enough.
  std::size_t length() {
    const double length = std::floor(std::log(fraction()) / logStay_);
    return 1 + static_cast<std::size_t>(std::min(length, static_cast<double>(size_)));
  }

 private:
  // Above 0, and 1 at most.
  double fraction() { return (static_cast<double>(engine_() >> 11) + 1) * 0x1p-53; }

  std::mt19937_64 engine_;
  std::size_t size_;
  double logStay_;
};

// The rank of each value among the different ones, which are `levels`.
std::vector<Rank> ranks(const Series& series, const Series& levels) {
  std::vector<Rank> ranks;
  ranks.reserve(series.size());
  for (const double value : series) {
    ranks.push_back(
        static_cast<Rank>(std::lower_bound(levels.begin(), levels.end(), value) - levels.begin()));
  }
  return ranks;
}

void drawCounts(const std::vector<Rank>& ranks, Blocks& blocks, std::vector<Rank>& counts) {
  std::fill(counts.begin(), counts.end(), 0);
  for (std::size_t left = ranks.size(); left > 0;) {
    std::size_t at = blocks.start();
    std::size_t length = std::min(blocks.length(), left);
    left -= length;
    for (; length > 0; --length) {
      ++counts[ranks[at]];
      if (++at == ranks.size()) at = 0;  // the series is a circle
    }
  }
}

// The value at a place among as many values of each level as `counts` says. Sought from the top, where the
// quantiles of interest are.
double valueAt(const Series& levels, const std::vector<Rank>& counts, std::size_t size, std::size_t place) {
  std::size_t level = levels.size();
  for (std::size_t first = size; first > place;) first -= counts[--level];
  return levels[level];
}

double quantileOf(const Series& levels, const std::vector<Rank>& counts, std::size_t size,
                  double probability) {
  const double place = probability * static_cast<double>(size - 1);
  const auto below = static_cast<std::size_t>(place);
  const double part = place - static_cast<double>(below);
  const double value = valueAt(levels, counts, size, below);
  return part == 0 ? value : value + part * (valueAt(levels, counts, size, below + 1) - value);
}

}  // namespace

double quantileError(const Series& series, double probability, double meanBlock, int resamples) {
  Series levels = series;
  std::sort(levels.begin(), levels.end());
  levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
  const std::vector<Rank> places = ranks(series, levels);

  std::vector<Rank> counts(levels.size());
  Blocks blocks{series.size(), meanBlock};
  Series quantiles;
  for (int resample = 0; resample < resamples; ++resample) {
    drawCounts(places, blocks, counts);
    quantiles.push_back(quantileOf(levels, counts, series.size(), probability));
  }
  return std::sqrt(variance(quantiles));
}

}  // namespace tool::statistics
