#include "tools/statistics/series.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace tool::statistics {

double mean(const Series& series) {
  if (series.empty()) return 0;
  return std::accumulate(series.begin(), series.end(), 0.0) / static_cast<double>(series.size());
}

double variance(const Series& series) {
  if (series.empty()) return 0;
  const double centre = mean(series);
  double sum = 0;
  for (const double value : series) sum += (value - centre) * (value - centre);
  return sum / static_cast<double>(series.size());
}

bool isConstant(const Series& series) {
  return std::all_of(series.begin(), series.end(), [&](double value) { return value == series.front(); });
}

double quantile(const Series& sorted, double probability) {
  const double place = probability * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(place);
  const double part = place - static_cast<double>(below);
  if (part == 0) return sorted[below];
  return sorted[below] + part * (sorted[below + 1] - sorted[below]);
}

double longestAbove(const Series& series, const Series& durations, double limit) {
  double longest = 0;
  double current = 0;
  for (std::size_t at = 0; at < series.size(); ++at) {
    current = series[at] > limit ? current + durations[at] : 0;
    longest = std::max(longest, current);
  }
  return longest;
}

}  // namespace tool::statistics
