#include "tools/statistics/bootstrap.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>

namespace tool::statistics {

namespace {

using Rank = std::uint32_t;

// A resample needs two random numbers a block: both are parts of one output of the engine. Only the engine is
// the same in each standard library, not its distributions.
class Blocks {
 public:
  Blocks(std::size_t size, double meanBlock) : size_{size} {
    // Geometric lengths: a block goes on with probability 1 - 1/meanBlock. Longer than the series is long
    // enough.
    const double logStay = std::log1p(-1 / std::max(meanBlock, 1.0));
    for (std::size_t at = 0; at < kLengths; ++at) {
      const double fraction = (static_cast<double>(at) + 0.5) / kLengths;
      const double longer = meanBlock > 1 ? std::floor(std::log(fraction) / logStay) : 0;
      lengths_.push_back(1 + static_cast<std::uint32_t>(std::min(longer, static_cast<double>(size))));
    }
  }

  struct Block {
    std::size_t start;
    std::size_t length;
  };

  Block next() {
    const std::uint64_t random = engine_();
    return {static_cast<std::size_t>((random >> 32) * size_ >> 32), lengths_[random % kLengths]};
  }

 private:
  static constexpr std::size_t kLengths = 4096;

  std::mt19937_64 engine_;
  std::uint64_t size_;
  std::vector<std::uint32_t> lengths_;  // all equally likely
};

// The rank of each value among the different ones, which are `levels`; twice, since the series is a circle.
std::vector<Rank> ranks(const Series& series, const Series& levels) {
  std::vector<Rank> ranks;
  ranks.reserve(2 * series.size());
  for (const double value : series) {
    ranks.push_back(
        static_cast<Rank>(std::lower_bound(levels.begin(), levels.end(), value) - levels.begin()));
  }
  for (std::size_t at = 0; at < series.size(); ++at) ranks.push_back(ranks[at]);
  return ranks;
}

// A resample of so many values: how often it has each level.
void draw(std::size_t size, const std::vector<Rank>& ranks, Blocks& blocks, std::vector<Rank>& counts) {
  std::fill(counts.begin(), counts.end(), 0);
  for (std::size_t left = size; left > 0;) {
    const Blocks::Block block = blocks.next();
    const std::size_t length = std::min(block.length, left);
    left -= length;
    for (std::size_t at = block.start; at < block.start + length; ++at) ++counts[ranks[at]];
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
    draw(series.size(), places, blocks, counts);
    quantiles.push_back(quantileOf(levels, counts, series.size(), probability));
  }
  return std::sqrt(variance(quantiles));
}

}  // namespace tool::statistics
