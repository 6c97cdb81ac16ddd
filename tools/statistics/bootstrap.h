#ifndef TESSARY_TOOLS_STATISTICS_BOOTSTRAP_H
#define TESSARY_TOOLS_STATISTICS_BOOTSTRAP_H

#include "tools/statistics/series.h"

namespace tool::statistics {

// The standard error of a quantile: its spread over resamples of the series that are made of blocks which
// begin anywhere and have random lengths, `meanBlock` on average, so that neighbours stay together. Politis
// and Romano, "The Stationary Bootstrap", Journal of the American Statistical Association 89 (1994). The
// random numbers are the same in each call.
double quantileError(const Series& series, double probability, double meanBlock, int resamples);

}  // namespace tool::statistics

#endif
