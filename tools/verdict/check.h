// Whether recordings keep their budgets.
#ifndef TESSARY_TOOLS_VERDICT_CHECK_H
#define TESSARY_TOOLS_VERDICT_CHECK_H

#include <string>
#include <vector>

#include "tools/verdict/budgets.h"
#include "tools/verdict/recorded.h"

namespace tool {

enum Outcome { kHeld, kExceeded, kNotMeasured };

const char* outcomeName(Outcome outcome);

struct BudgetResult {
  const Budget* budget;
  Outcome outcome = kNotMeasured;
  const RecordedFigure* figure = nullptr;  // of several rows the worst; null where there is none
  double value = 0;                        // of the statistic; of kOver the seconds above the level
  std::string reason;                      // why it was not measured
};

// Only what a budget is about.
Recorded::Wanted wantedOf(const std::vector<Budget>& budgets);

// One result a budget. What is unknown, absent, or too often absent has not been measured, which is a failure
// too: a mistyped name never passes. `known` are the figures that there can be.
std::vector<BudgetResult> check(const Recorded& recorded, const std::vector<Budget>& budgets,
                                const std::vector<const SectionSchema*>& known);

bool allHeld(const std::vector<BudgetResult>& results);

// In the figure's own unit: "p95 83.25, allowed <= 80"; why, where it was not measured.
std::string resultText(const BudgetResult& result);

// Those that the recording's last sample made impossible to keep, whatever comes: a maximum, a minimum, or a
// time above a level. Means and quantiles may recover until the end.
std::vector<BudgetResult> exceededNow(const Recorded& recorded, const std::vector<Budget>& budgets);

}  // namespace tool

#endif
