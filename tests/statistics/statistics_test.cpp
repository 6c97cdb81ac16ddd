// The numbers are those that reference.py prints, which computes them by other programs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "tools/statistics/bootstrap.h"
#include "tools/statistics/dependence.h"
#include "tools/statistics/difference.h"
#include "tools/statistics/series.h"
#include "tools/statistics/tails.h"

namespace tool::statistics {
namespace {

constexpr std::size_t kComponents = 12;

// Equal to so many digits, as far out as it may be.
void expectClose(double value, double expected, double relative = 1e-9) {
  EXPECT_NEAR(value, expected, std::fabs(expected) * relative);
}

// The load of reference.py.
class Load {
 public:
  explicit Load(double persistence, std::uint64_t state = 12345) : persistence_{persistence}, state_{state} {}

  Series take(std::size_t count, double level = 40) {
    Series series;
    while (series.size() < count) {
      state_ = (state_ * 1103515245 + 12345) % 0x80000000;
      value_ = persistence_ * value_ + static_cast<double>(state_) / 0x1p31 - 0.5;
      series.push_back(level + 10 * value_);
    }
    return series;
  }

 private:
  double persistence_;
  std::uint64_t state_;
  double value_ = 0;
};

Series swing(std::size_t count, double period) {
  Series series;
  for (std::size_t at = 0; at < count; ++at) {
    series.push_back(40 + 30 * std::sin(2 * 3.14159265358979323846 * static_cast<double>(at) / period));
  }
  return series;
}

TEST(Statistics, QuantilesLieBetweenTheNearestValues) {
  Series sorted{3.5, -1, 4, 4, 10, 2.25, 7};
  expectClose(mean(sorted), 4.25);
  expectClose(variance(sorted), 10.4107142857);
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(quantile(sorted, 0), -1);
  expectClose(quantile(sorted, 0.05), -0.025);
  EXPECT_EQ(quantile(sorted, 0.5), 4);
  expectClose(quantile(sorted, 0.95), 9.1);
  EXPECT_EQ(quantile(sorted, 1), 10);
  EXPECT_EQ(quantile({6}, 0.95), 6);
}

TEST(Statistics, TimeAboveALimitHasNoBreak) {
  const Series durations{1, 1, 2, 1, 1, 0.5};
  EXPECT_EQ(longestAbove({95, 95, 91, 90, 95, 95}, durations, 90), 4);
  EXPECT_EQ(longestAbove({95, 90, 91, 90, 95, 95}, durations, 90), 2);
  EXPECT_EQ(longestAbove({90, 90, 90, 90, 90, 90}, durations, 90), 0);
}

TEST(Statistics, TailsAreExactFarOut) {
  expectClose(studentTails(2.5, 3), 0.0877066470081);
  expectClose(studentTails(0.1, 16), 0.921586609452);
  expectClose(studentTails(6, 16), 1.85221328709e-05);
  expectClose(studentTails(-12, 40.5), 6.47226584567e-15);
  expectClose(studentTails(40, 8), 1.67857188791e-10);
  expectClose(studentTails(3, 1), 0.204832764699);
  EXPECT_EQ(studentTails(0, 5), 1);

  expectClose(studentLimit(0.05, 10), 2.22813885196);
  expectClose(studentLimit(1e-5, 16), 6.33004790961);
  expectClose(studentLimit(0.5, 2), 0.816496580928);

  expectClose(incompleteBeta(2, 3, 0.4), 0.5248);
  expectClose(incompleteBeta(8, 0.5, 0.999), 0.900869821732);
  expectClose(incompleteBeta(0.5, 20, 0.01), 0.471369935485);
}

struct Persistent {
  double persistence;
  double covariances[4];
  double longRunVariance;
  double effective;
  double block;
  double errorOfP95;
};

constexpr Persistent kPersistent[] = {{0,
                                       {8.24487619772, -0.31623432694, -0.0338311340957, -0.387825860696},
                                       4.66557492607,
                                       1000,
                                       1.90404839851,
                                       0.0704288377722},
                                      {0.6,
                                       {12.2486999505, 7.00562189653, 4.1685172557, 2.50322621012},
                                       28.1261464334,
                                       435.491580033,
                                       13.4440855079,
                                       0.319999886805},
                                      {0.9,
                                       {36.7045210438, 32.2989683624, 28.6242376081, 25.3119181517},
                                       409.176587828,
                                       89.7033753536,
                                       26.289483725,
                                       0.735231907881}};

TEST(Statistics, DependenceIsMeasured) {
  for (const Persistent& expected : kPersistent) {
    SCOPED_TRACE(expected.persistence);
    const Series series = Load{expected.persistence}.take(1000);
    const Series covariances = autocovariance(series, 3);
    for (std::size_t lag = 0; lag < 4; ++lag) expectClose(covariances[lag], expected.covariances[lag]);
    const double variance = longRunVariance(series, kComponents);
    expectClose(variance, expected.longRunVariance);
    expectClose(effectiveNumber(series, variance), expected.effective);
    expectClose(blockLength(series), expected.block);
    // 200 resamples know it to 5 percent.
    expectClose(quantileError(series, 0.95, expected.block, 200), expected.errorOfP95, 0.15);
  }
}

TEST(Statistics, AnEvenSwingIsKnownWellAndATrendIsNot) {
  const Series even = swing(1000, 64);
  expectClose(blockLength(even), 91.5057237304);
  EXPECT_GT(effectiveNumber(even, longRunVariance(even, kComponents)), 300);

  Series trend;
  while (trend.size() < 1000) trend.push_back(static_cast<double>(trend.size()));
  EXPECT_LT(effectiveNumber(trend, longRunVariance(trend, kComponents)), 15);
}

TEST(Statistics, ConstantsAndShortSeriesHaveNoSpread) {
  const Series constant(100, 5.0);
  EXPECT_EQ(longRunVariance(constant, kComponents), 0);
  EXPECT_EQ(effectiveNumber(constant, 0), 100);
  EXPECT_EQ(blockLength(constant), 1);
  EXPECT_EQ(quantileError(constant, 0.95, 1, 20), 0);
  EXPECT_EQ(effectiveNumber({5}, 0), 0);
  EXPECT_EQ(blockLength({1, 2}), 1);
  EXPECT_EQ(quantileError({5}, 0.95, 1, 20), 0);
}

TEST(Statistics, ResamplesAreTheSameEachTime) {
  const Series series = Load{0.6}.take(300);
  EXPECT_EQ(quantileError(series, 0.95, 12, 50), quantileError(series, 0.95, 12, 50));
}

TEST(Statistics, UnequalSidesAreComparedByWelch) {
  const Series left{10, 12, 11, 13};
  const Difference welch = difference(ofUnits(left), ofUnits({15, 14, 19}));
  EXPECT_EQ(welch.value, 4.5);
  expectClose(welch.value / welch.error, 2.7136021012);
  expectClose(welch.freedom, 2.72023313905);
  expectClose(welch.probability(), 0.0811829026189);
  expectClose(welch.margin(0.01), 10.7427571726, 1e-8);

  const Difference one = pooledDifference(left, {16});
  expectClose(one.value / one.error, 3.11769145362);
  expectClose(one.probability(), 0.0525658235234);
}

// By the noncentral t distribution a change of this size is found in 89.55 percent.
TEST(Statistics, TheSmallestChangeIsMostlyFound) {
  expectClose(Difference{0, 1, 30}.smallest(0.01, 0.9), 4.06041067613, 1e-8);
}

TEST(Statistics, ConstantsDifferWithoutDoubt) {
  EXPECT_EQ(difference({5, 0, 8}, {5, 0, 8}).probability(), 1);
  EXPECT_EQ(difference({5, 0, 8}, {6, 0, 8}).probability(), 0);
  EXPECT_EQ(difference({5, 0, 8}, {6, 0, 8}).margin(0.01), 0);
  // All of the error, and so its freedom, is the other side's.
  expectClose(difference({5, 0, 8}, {6, 0.5, 12}).freedom, 12);
}

TEST(Statistics, HolmWeighsTheLeastProbableMost) {
  const Series corrected = holm({0.01, 0.04, 0.03, 0.005, 0.9});
  const Series expected{0.04, 0.09, 0.09, 0.025, 0.9};
  for (std::size_t at = 0; at < expected.size(); ++at) expectClose(corrected[at], expected[at]);
  EXPECT_TRUE(holm({}).empty());
}

// What all of this is for: a load that persists is compared with itself 300 times at 1 percent. With
// the samples taken as independent, more than half of the pairs would differ.
TEST(Statistics, PersistenceRaisesNoFalseAlarms) {
  Load load{0.9, 99};
  int byMean = 0;
  int byQuantile = 0;
  int independent = 0;
  const auto estimates = [](Series series, Estimate& ofMean, Estimate& ofP95, Estimate& naive) {
    constexpr double kFreedom = kComponents;
    const auto size = static_cast<double>(series.size());
    ofMean = {mean(series), std::sqrt(longRunVariance(series, kComponents) / size), kFreedom};
    naive = {mean(series), std::sqrt(variance(series) / size), size};
    const double error = quantileError(series, 0.95, blockLength(series), 50);
    std::sort(series.begin(), series.end());
    ofP95 = {quantile(series, 0.95), error, kFreedom};
  };
  for (int pair = 0; pair < 300; ++pair) {
    Estimate base[3];
    Estimate other[3];
    estimates(load.take(1200), base[0], base[1], base[2]);
    estimates(load.take(1200), other[0], other[1], other[2]);
    byMean += difference(base[0], other[0]).probability() < 0.01;
    byQuantile += difference(base[1], other[1]).probability() < 0.01;
    independent += difference(base[2], other[2]).probability() < 0.01;
  }
  EXPECT_LE(byMean, 9);
  EXPECT_LE(byQuantile, 12);
  EXPECT_GE(independent, 150);
}

}  // namespace
}  // namespace tool::statistics
