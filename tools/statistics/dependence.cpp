#include "tools/statistics/dependence.h"

#include <algorithm>
#include <cmath>

namespace tool::statistics {

namespace {

constexpr double kPi = 3.14159265358979323846;

// The correlations up to this lag are followed; the rest is noise.
std::size_t bandwidth(const Series& covariances, std::size_t run, double size) {
  const double limit = 2 * std::sqrt(std::log10(size) / size) * covariances[0];
  const auto isSmall = [&](std::size_t lag) { return std::fabs(covariances[lag]) < limit; };
  const std::size_t longest = covariances.size() - 1;
  // The first lag that `run` small correlations follow.
  for (std::size_t lag = 0; lag + run <= longest; ++lag) {
    std::size_t small = 0;
    while (small < run && isSmall(lag + small + 1)) ++small;
    if (small == run) return std::min(2 * std::max<std::size_t>(lag, 1), longest);
  }
  return longest;
}

// Flat to the half, then falling to 0: Politis and Romano's window.
double window(double place) { return std::min(1.0, 2 * (1 - place)); }

}  // namespace

Series autocovariance(const Series& series, std::size_t lags) {
  const double centre = mean(series);
  Series deviations = series;
  for (double& value : deviations) value -= centre;
  Series covariances;
  for (std::size_t lag = 0; lag <= lags; ++lag) {
    double sum = 0;
    for (std::size_t at = lag; at < deviations.size(); ++at) sum += deviations[at] * deviations[at - lag];
    covariances.push_back(sum / static_cast<double>(series.size()));
  }
  return covariances;
}

double longRunVariance(const Series& series, std::size_t components) {
  const auto size = static_cast<double>(series.size());
  const double centre = mean(series);
  double power = 0;
  for (std::size_t component = 1; component <= components; ++component) {
    // cos((at + 1/2) w) for each sample from the two before it.
    const double frequency = kPi * static_cast<double>(component) / size;
    const double turn = 2 * std::cos(frequency);
    double cosine = std::cos(frequency / 2);
    double before = cosine;
    double sum = 0;
    for (const double value : series) {
      sum += (value - centre) * cosine;
      const double next = turn * cosine - before;
      before = cosine;
      cosine = next;
    }
    power += sum * sum * 2 / size;
  }
  return power / static_cast<double>(components);
}

double effectiveNumber(const Series& series, double longRunVariance) {
  const auto size = static_cast<double>(series.size());
  if (series.size() < 2) return 0;
  const double spread = variance(series);
  return longRunVariance <= spread ? size : size * spread / longRunVariance;
}

double blockLength(const Series& series) {
  const auto size = static_cast<double>(series.size());
  if (series.size() < 2 || isConstant(series)) return 1;
  const auto run = static_cast<std::size_t>(std::max(5.0, std::ceil(std::log10(size))));
  const std::size_t lags =
      std::min(static_cast<std::size_t>(std::ceil(std::sqrt(size))) + run, series.size() - 1);
  const Series covariances = autocovariance(series, lags);

  const std::size_t width = bandwidth(covariances, run, size);
  double sum = covariances[0];
  double weighted = 0;
  for (std::size_t lag = 1; lag <= width; ++lag) {
    const double part = 2 * window(static_cast<double>(lag) / static_cast<double>(width)) * covariances[lag];
    sum += part;
    weighted += static_cast<double>(lag) * part;
  }
  const double longest = std::ceil(std::min(3 * std::sqrt(size), size / 3));
  if (sum == 0) return longest;
  const double length = std::cbrt(2 * weighted * weighted / (2 * sum * sum) * size);
  return std::clamp(length, 1.0, std::max(longest, 1.0));
}

}  // namespace tool::statistics
