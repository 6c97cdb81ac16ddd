// Samples of one machine are not independent: a core that is busy now is busy a moment later. How much less
// they say than as many independent ones.
#ifndef TESSARY_TOOLS_STATISTICS_DEPENDENCE_H
#define TESSARY_TOOLS_STATISTICS_DEPENDENCE_H

#include <cstddef>

#include "tools/statistics/series.h"

namespace tool::statistics {

// At the lags 0 to `lags`, each divided by n.
Series autocovariance(const Series& series, std::size_t lags);

// The long-run variance, n times the variance of the mean: the autocovariances of all lags together, which is
// the spectral density at frequency 0. It is estimated by the series' components on the `components` slowest
// cosines, all with one weight. Then (mean - expectation) / sqrt(longRunVariance / n) has Student's t
// distribution with `components` degrees of freedom. Mueller, "A theory of robust long-run variance
// estimation", Journal of Econometrics 141 (2007); Lazarus, Lewis, Stock and Watson, "HAR Inference:
// Recommendations for Practice", Journal of Business & Economic Statistics 36 (2018).
//
// Why not a sum of autocorrelations that ends where they turn negative: a load that swings evenly has
// correlations of both signs which cancel out; its mean over some swings is known well.
double longRunVariance(const Series& series, std::size_t components);

// n / (1 + 2 sum rho): as many independent samples would tell the mean as well. Never more than n; 0 for less
// than two samples, n for a constant.
double effectiveNumber(const Series& series, double longRunVariance);

// The mean length of the blocks of the stationary bootstrap that estimates best. Politis and White,
// "Automatic block-length selection for the dependent bootstrap", Econometric Reviews 23 (2004), as corrected
// by Patton, Politis and White, Econometric Reviews 28 (2009). At least 1.
double blockLength(const Series& series);

}  // namespace tool::statistics

#endif
