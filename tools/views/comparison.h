// The comparison of recordings: a table for people, JSON for programs (docs/json.md).
#ifndef TESSARY_TOOLS_VIEWS_COMPARISON_H
#define TESSARY_TOOLS_VIEWS_COMPARISON_H

#include <string>
#include <vector>

#include "tools/verdict/comparison.h"
#include "tools/views/text.h"

namespace tool {

struct ComparedSide {
  std::vector<std::string> names;  // of its recordings
  std::size_t samples = 0;
  double seconds = 0;
};

std::string comparisonText(const Comparison& comparison, const ComparedSide& base, const ComparedSide& other,
                           const TextStyle& style);

std::string comparisonJson(const Comparison& comparison, const ComparedSide& base, const ComparedSide& other,
                           const ComparisonPlan& plan);

}  // namespace tool

#endif
