// How improbable a value is: the tails of Student's t distribution.
#ifndef TESSARY_TOOLS_STATISTICS_TAILS_H
#define TESSARY_TOOLS_STATISTICS_TAILS_H

namespace tool::statistics {

// The regularized incomplete beta function I_x(a, b), by the continued fraction of the NIST Digital Library
// of Mathematical Functions, 8.17.22.
double incompleteBeta(double a, double b, double x);

// The probability that |t| or more is seen by chance with `freedom` degrees of freedom: both tails, DLMF 8.17
// with x = freedom / (freedom + t^2). Exact far out, where 1 - P would be 0.
double studentTails(double t, double freedom);

// The t > 0 whose two tails hold `probability`.
double studentLimit(double probability, double freedom);

}  // namespace tool::statistics

#endif
