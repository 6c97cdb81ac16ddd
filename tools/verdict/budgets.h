// What a machine may use, as budgets.json has it: docs/compare.md.
#ifndef TESSARY_TOOLS_VERDICT_BUDGETS_H
#define TESSARY_TOOLS_VERDICT_BUDGETS_H

#include <string>
#include <string_view>
#include <vector>

#include "tools/verdict/selector.h"

namespace tool {

enum Statistic { kMean, kP50, kP95, kP99, kMinimum, kMaximum, kOver };
enum Bound { kAtMost, kAtLeast };

// One limit of one statistic.
struct Budget {
  Selector selector;
  Statistic statistic = kMean;
  Bound bound = kAtMost;
  double limit = 0;       // of the statistic; of kOver the level
  double seconds = 0;     // of kOver: how long the figure may be above the level
  double present = 0.95;  // the share of the samples that it has to be in
  int line = 0;           // in the file
};

const char* statisticName(Statistic statistic);

// What has to be so, in the figure's own unit: "p95 <= 80", "at most 5 s above 90"
std::string ruleText(const Budget& budget);

// Throws Failure for the first mistake, with the file's name, the line and the key.
std::vector<Budget> parseBudgets(std::string_view text, const std::string& name);
std::vector<Budget> readBudgets(const std::string& path);

}  // namespace tool

#endif
