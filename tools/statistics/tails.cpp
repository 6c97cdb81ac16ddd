#include "tools/statistics/tails.h"

#include <cmath>
#include <limits>

namespace tool::statistics {

namespace {

constexpr int kMostTerms = 10000;
constexpr double kPrecision = 1e-15;
constexpr double kTiny = 1e-300;  // in place of a denominator of 0

double nonZero(double value) { return std::fabs(value) < kTiny ? kTiny : value; }

// The coefficient d_k of DLMF 8.17.23.
double coefficient(int k, double a, double b, double x) {
  const int m = k / 2;
  if (k % 2 == 0) return m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m));
  return -(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1));
}

// 1 + d1/(1+ d2/(1+ ..)), from its front by the modified method of Lentz; converges fast for
// x < (a + 1) / (a + b + 2).
double continuedFraction(double a, double b, double x) {
  double value = 1;
  double numerators = 1;
  double denominators = 0;
  for (int k = 1; k <= kMostTerms; ++k) {
    const double d = coefficient(k, a, b, x);
    denominators = 1 / nonZero(1 + d * denominators);
    numerators = nonZero(1 + d / numerators);
    const double factor = numerators * denominators;
    value *= factor;
    if (std::fabs(factor - 1) < kPrecision) break;
  }
  return value;
}

}  // namespace

double incompleteBeta(double a, double b, double x) {
  if (x <= 0) return 0;
  if (x >= 1) return 1;
  if (x > (a + 1) / (a + b + 2)) return 1 - incompleteBeta(b, a, 1 - x);
  int sign = 1;
  const double logarithm = a * std::log(x) + b * std::log1p(-x) + ::lgamma_r(a + b, &sign) -
                           ::lgamma_r(a, &sign) - ::lgamma_r(b, &sign);
  return std::exp(logarithm) / (a * continuedFraction(a, b, x));
}

double studentTails(double t, double freedom) {
  if (std::isnan(t)) return 1;
  if (std::isinf(t)) return 0;
  return incompleteBeta(freedom / 2, 0.5, freedom / (freedom + t * t));
}

double studentLimit(double probability, double freedom) {
  double low = 0;
  double high = 1;
  while (studentTails(high, freedom) > probability) {
    low = high;
    high *= 2;
  }
  // Halved until no number lies between.
  for (double middle = (low + high) / 2; middle > low && middle < high; middle = (low + high) / 2) {
    (studentTails(middle, freedom) > probability ? low : high) = middle;
  }
  return high;
}

}  // namespace tool::statistics
