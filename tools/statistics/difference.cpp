#include "tools/statistics/difference.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "tools/statistics/tails.h"

namespace tool::statistics {

namespace {

double sumOfSquares(const Series& units) { return variance(units) * static_cast<double>(units.size()); }

}  // namespace

double Difference::probability() const {
  if (error == 0) return value == 0 ? 1 : 0;
  return studentTails(value / error, freedom);
}

double Difference::margin(double alpha) const {
  return error == 0 ? 0 : studentLimit(alpha, freedom) * error;
}

double Difference::smallest(double alpha, double power) const {
  if (error == 0) return 0;
  return (studentLimit(alpha, freedom) + studentLimit(2 * (1 - power), freedom)) * error;
}

Difference difference(const Estimate& base, const Estimate& other) {
  const double first = base.error * base.error;
  const double second = other.error * other.error;
  const double both = first + second;
  Difference result{other.value - base.value, std::sqrt(both), base.freedom + other.freedom};
  if (both > 0)
    result.freedom = both * both / (first * first / base.freedom + second * second / other.freedom);
  return result;
}

Estimate ofUnits(const Series& units) {
  const double freedom = static_cast<double>(units.size()) - 1;
  return {mean(units), std::sqrt(sumOfSquares(units) / freedom / static_cast<double>(units.size())), freedom};
}

Difference pooledDifference(const Series& base, const Series& other) {
  const auto bases = static_cast<double>(base.size());
  const auto others = static_cast<double>(other.size());
  const double freedom = bases + others - 2;
  const double spread = (sumOfSquares(base) + sumOfSquares(other)) / freedom;
  return {mean(other) - mean(base), std::sqrt(spread * (1 / bases + 1 / others)), freedom};
}

Series holm(const Series& probabilities) {
  std::vector<std::size_t> order(probabilities.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(),
            [&](std::size_t left, std::size_t right) { return probabilities[left] < probabilities[right]; });
  Series corrected(probabilities.size());
  double largest = 0;
  for (std::size_t place = 0; place < order.size(); ++place) {
    const auto left = static_cast<double>(order.size() - place);
    largest = std::max(largest, std::min(1.0, left * probabilities[order[place]]));
    corrected[order[place]] = largest;
  }
  return corrected;
}

}  // namespace tool::statistics
