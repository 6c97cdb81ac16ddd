// Whether a new build is worse than its base, figure by figure. docs/compare.md says why so.
#ifndef TESSARY_TOOLS_VERDICT_COMPARISON_H
#define TESSARY_TOOLS_VERDICT_COMPARISON_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/verdict/recorded.h"

namespace tool {

enum Verdict { kWorse, kBetter, kChanged, kSame, kNotEnough };

const char* verdictName(Verdict verdict);

struct ComparisonPlan {
  double alpha = 0.01;    // the probability of any false alarm among all figures
  double least = 0.05;    // changes below this share of the base do not matter
  double present = 0.95;  // a figure is compared where it is in this share of the samples of each recording
};

// What a side's recordings say about a figure.
struct SideSummary {
  double mean = 0;
  double p95 = 0;
  std::size_t samples = 0;
  double effective = 0;  // as many independent samples would say as much
};

struct Change {
  double value = 0;        // of the new side less the base
  double margin = 0;       // the true change is within value +- margin, of all figures at once
  double smallest = 0;     // a change that would have been shown in 9 of 10 such comparisons
  double probability = 1;  // of such a change by chance, corrected for the number of figures
  bool matters = false;    // beyond chance, and not too small
};

struct ComparedFigure {
  std::string name;
  const ColumnInfo* column;
  SideSummary base;
  SideSummary other;
  Change mean;
  Change p95;
  Verdict verdict = kSame;
  bool constant = false;  // the same value in all samples of both sides
  std::string needs;      // what there would have to be: "about 40 min a recording"
};

struct NotCompared {
  std::string name;
  std::string reason;
};

struct Comparison {
  std::vector<ComparedFigure> figures;
  std::vector<NotCompared> left;
  std::size_t tests = 0;  // that the probabilities are corrected for
};

using Side = std::vector<Recorded>;

// One recording a side: its samples are what is compared. Several: the recordings are.
Comparison compare(const Side& base, const Side& other, const ComparisonPlan& plan);

}  // namespace tool

#endif
