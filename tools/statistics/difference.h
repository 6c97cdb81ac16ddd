// Whether two sides differ, and by how much.
#ifndef TESSARY_TOOLS_STATISTICS_DIFFERENCE_H
#define TESSARY_TOOLS_STATISTICS_DIFFERENCE_H

#include "tools/statistics/series.h"

namespace tool::statistics {

// What one side says about a mean or a quantile.
struct Estimate {
  double value = 0;
  double error = 0;    // the standard error of the value
  double freedom = 1;  // degrees of freedom of the standard error
};

// The second side less the first.
struct Difference {
  double value = 0;
  double error = 0;
  double freedom = 1;

  // The probability of such a difference, or a larger one, between sides that do not differ.
  double probability() const;
  // The true difference lies within value +- margin(alpha) with probability 1 - alpha.
  double margin(double alpha) const;
  // A true difference of this size is found with probability `power` by a test at `alpha`.
  double smallest(double alpha, double power) const;
};

// Welch's test; the degrees of freedom are Satterthwaite's. Welch, "The generalization of Student's problem
// when several different population variances are involved", Biometrika 34 (1947).
Difference difference(const Estimate& base, const Estimate& other);

// Each value is an independent measurement; at least two.
Estimate ofUnits(const Series& units);

// Student's test: where a side has too few units to say how they vary, both are taken to vary alike. At least
// three units in all.
Difference pooledDifference(const Series& base, const Series& other);

// Holm's correction, "A Simple Sequentially Rejective Multiple Test Procedure", Scandinavian Journal of
// Statistics 6 (1979): the probabilities, each made as large as it has to be for all of them to be compared
// with one alpha, which is then the probability of any false alarm among them.
Series holm(const Series& probabilities);

}  // namespace tool::statistics

#endif
