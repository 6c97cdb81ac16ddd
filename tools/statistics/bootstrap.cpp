#include "tools/statistics/bootstrap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <random>
#include <vector>

namespace tool::statistics {

namespace {

using Rank = std::uint32_t;

// The engine's outputs from its first one on, which are the same for each series: drawn once, for all threads.
class RandomNumbers {
 public:
  static constexpr std::size_t kInPiece = 8192;
  using Piece = std::array<std::uint64_t, kInPiece>;

  static const Piece& piece(std::size_t number) {
    static RandomNumbers all;
    const std::lock_guard lock{all.mutex_};
    while (all.pieces_.size() <= number) {
      for (std::uint64_t& random : all.pieces_.emplace_back()) random = all.engine_();
    }
    return all.pieces_[number];
  }

 private:
  std::mutex mutex_;
  std::mt19937_64 engine_;
  std::deque<Piece> pieces_;  // whose elements stay where they are
};

struct Block {
  std::size_t start;
  std::size_t length;
};

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

  // Those of one resample, of as many values as the series.
  void draw(std::vector<Block>& blocks) {
    blocks.clear();
    for (std::size_t left = size_; left > 0; left -= blocks.back().length) {
      const std::uint64_t random = next();
      const auto start = static_cast<std::size_t>((random >> 32) * size_ >> 32);
      blocks.push_back({start, std::min<std::size_t>(lengths_[random % kLengths], left)});
    }
  }

 private:
  static constexpr std::size_t kLengths = 4096;

  std::uint64_t next() {
    const std::size_t at = drawn_++ % RandomNumbers::kInPiece;
    if (at == 0) piece_ = &RandomNumbers::piece(drawn_ / RandomNumbers::kInPiece);
    return (*piece_)[at];
  }

  std::size_t drawn_ = 0;
  const RandomNumbers::Piece* piece_ = nullptr;
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

// Where in the series, twice, the values of the upper levels stand. A high quantile needs no others, and so most of a
// resample need not be looked at.
class Upper {
 public:
  Upper(const std::vector<Rank>& ranks, Rank lowest) {
    before_.reserve(ranks.size() + 1);
    for (const Rank rank : ranks) {
      before_.push_back(static_cast<std::uint32_t>(ranks_.size()));
      if (rank >= lowest) ranks_.push_back(rank);
    }
    before_.push_back(static_cast<std::uint32_t>(ranks_.size()));
  }

  // How often a resample has each level; returns how many values that are.
  std::size_t count(const std::vector<Block>& blocks, std::vector<Rank>& counts) const {
    std::fill(counts.begin(), counts.end(), 0);
    std::size_t total = 0;
    for (const Block& block : blocks) {
      const std::size_t end = before_[block.start + block.length];
      total += end - before_[block.start];
      for (std::size_t at = before_[block.start]; at < end; ++at) ++counts[ranks_[at]];
    }
    return total;
  }

 private:
  std::vector<std::uint32_t> before_;  // of each place of the series: how many stand before it
  std::vector<Rank> ranks_;
};

// The lowest level of those that hold a few times as many values as lie above the quantile; but never the lowest of all,
// which has what the others leave.
Rank lowestOfInterest(const Series& sorted, const Series& levels, double probability) {
  constexpr double kTimes = 4;
  const auto size = static_cast<double>(sorted.size());
  const double count = std::min(size, kTimes * (1 - probability) * size + 1);
  const double value = sorted[sorted.size() - static_cast<std::size_t>(count)];
  return static_cast<Rank>(
      std::max<std::ptrdiff_t>(std::lower_bound(levels.begin(), levels.end(), value) - levels.begin(), 1));
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
  Series sorted = series;
  std::sort(sorted.begin(), sorted.end());
  Series levels = sorted;
  levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
  const std::vector<Rank> places = ranks(series, levels);
  const Rank lowest = lowestOfInterest(sorted, levels, probability);
  const Upper upper{places, lowest};
  const auto below = static_cast<std::size_t>(probability * static_cast<double>(series.size() - 1));

  std::vector<Rank> counts(levels.size());
  std::vector<Block> resample;
  Blocks blocks{series.size(), meanBlock};
  Series quantiles;
  for (int number = 0; number < resamples; ++number) {
    blocks.draw(resample);
    std::size_t counted = upper.count(resample, counts);
    if (counted < series.size() - below && lowest > 1) counted = Upper{places, 1}.count(resample, counts);
    counts[0] = static_cast<Rank>(series.size() - counted);
    quantiles.push_back(quantileOf(levels, counts, series.size(), probability));
  }
  return std::sqrt(variance(quantiles));
}

}  // namespace tool::statistics
