// What is measured over and over on one machine: the values of a figure, one a sample, in the order of time.
#ifndef TESSARY_TOOLS_STATISTICS_SERIES_H
#define TESSARY_TOOLS_STATISTICS_SERIES_H

#include <vector>

namespace tool::statistics {

using Series = std::vector<double>;

// 0 for an empty series.
double mean(const Series& series);

// Divided by n, as the autocovariance at lag 0 is.
double variance(const Series& series);

bool isConstant(const Series& series);

// The quantile of sorted values, 0 <= probability <= 1: linear between the two nearest ones. Definition 7 of
// Hyndman and Fan, "Sample Quantiles in Statistical Packages", The American Statistician 50 (1996); what R
// and NumPy do unless told otherwise. `sorted` has at least one value.
double quantile(const Series& sorted, double probability);

// The longest time that the series stays above the limit without a break, in the unit of `durations`, of
// which each sample has one.
double longestAbove(const Series& series, const Series& durations, double limit);

}  // namespace tool::statistics

#endif
