#include "tools/verdict/check.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tool {

namespace {

using statistics::Series;

constexpr double kQuantiles[] = {0, 0.5, 0.95, 0.99};  // of kP50 and its neighbours

double valueOf(const RecordedFigure& figure, const Budget& budget, const Recorded& recorded) {
  if (budget.statistic == kOver) {
    return statistics::longestAbove(figure.aligned(recorded.samples()), recorded.seconds(), budget.limit);
  }
  Series values = figure.present();
  if (budget.statistic == kMean) return statistics::mean(values);
  if (budget.statistic == kMinimum) return *std::min_element(values.begin(), values.end());
  if (budget.statistic == kMaximum) return *std::max_element(values.begin(), values.end());
  std::sort(values.begin(), values.end());
  return statistics::quantile(values, kQuantiles[budget.statistic]);
}

bool keeps(const Budget& budget, double value) {
  if (budget.statistic == kOver) return value <= budget.seconds;
  return budget.bound == kAtMost ? value <= budget.limit : value >= budget.limit;
}

std::vector<const RecordedFigure*> matching(const Recorded& recorded, const Selector& selector) {
  std::vector<const RecordedFigure*> figures;
  for (const RecordedFigure& figure : recorded.figures()) {
    if (selector.matches({*figure.section, *figure.table, *figure.column, figure.row, figure.row[0]})) {
      figures.push_back(&figure);
    }
  }
  return figures;
}

BudgetResult notMeasured(const Budget& budget, const RecordedFigure* figure, std::string reason) {
  return {&budget, kNotMeasured, figure, 0, std::move(reason)};
}

BudgetResult checkFigure(const RecordedFigure& figure, const Budget& budget, const Recorded& recorded) {
  const std::size_t present = figure.present().size();
  const double share = static_cast<double>(present) / static_cast<double>(recorded.samples());
  if (present == 0 || share < budget.present) {
    const std::string why = figure.reason.empty() ? "" : ": " + figure.reason;
    return notMeasured(
        budget, &figure,
        "in " + std::to_string(present) + " of " + std::to_string(recorded.samples()) + " samples" + why);
  }
  const double value = valueOf(figure, budget, recorded);
  return {&budget, keeps(budget, value) ? kHeld : kExceeded, &figure, value, {}};
}

// What was not measured is worse than what failed, and of one kind the value that is further off.
bool isWorse(const BudgetResult& left, const BudgetResult& right) {
  if (left.outcome != right.outcome) return left.outcome > right.outcome;
  return left.budget->bound == kAtMost ? left.value > right.value : left.value < right.value;
}

BudgetResult checkBudget(const Recorded& recorded, const Budget& budget,
                         const std::vector<const SectionSchema*>& known) {
  const std::vector<const RecordedFigure*> figures = matching(recorded, budget.selector);
  if (figures.empty()) {
    const std::string unknown = unknownIn(budget.selector, known);
    return notMeasured(budget, nullptr, unknown.empty() ? "in no sample" : unknown);
  }
  BudgetResult worst = checkFigure(*figures.front(), budget, recorded);
  for (const RecordedFigure* const figure : figures) {
    BudgetResult result = checkFigure(*figure, budget, recorded);
    if (isWorse(result, worst)) worst = std::move(result);
  }
  return worst;
}

// The time for which the figure has been above the level, up to the last sample.
double secondsAbove(const RecordedFigure& figure, const Series& seconds, double level) {
  double sum = 0;
  for (std::size_t back = 1;
       back <= figure.values.size() && figure.values[figure.values.size() - back] > level; ++back) {
    sum += seconds[seconds.size() - back];
  }
  return sum;
}

}  // namespace

const char* outcomeName(Outcome outcome) {
  return outcome == kHeld ? "kept" : outcome == kExceeded ? "exceeded" : "not measured";
}

Recorded::Wanted wantedOf(const std::vector<Budget>& budgets) {
  return [&budgets](const Figure& figure) {
    return std::any_of(budgets.begin(), budgets.end(),
                       [&](const Budget& budget) { return budget.selector.matches(figure); });
  };
}

std::vector<BudgetResult> check(const Recorded& recorded, const std::vector<Budget>& budgets,
                                const std::vector<const SectionSchema*>& known) {
  std::vector<BudgetResult> results;
  for (const Budget& budget : budgets) results.push_back(checkBudget(recorded, budget, known));
  return results;
}

bool allHeld(const std::vector<BudgetResult>& results) {
  return std::all_of(results.begin(), results.end(),
                     [](const BudgetResult& result) { return result.outcome == kHeld; });
}

std::string resultText(const BudgetResult& result) {
  if (result.outcome == kNotMeasured) return result.reason;
  char value[32];
  std::snprintf(value, sizeof value, "%.6g", result.value);
  const std::string seconds = result.budget->statistic == kOver ? " s" : "";
  return value + seconds + ", allowed " + ruleText(*result.budget);
}

std::vector<BudgetResult> exceededNow(const Recorded& recorded, const std::vector<Budget>& budgets) {
  std::vector<BudgetResult> exceeded;
  for (const Budget& budget : budgets) {
    const bool isFinal = (budget.statistic == kMaximum && budget.bound == kAtMost) ||
                         (budget.statistic == kMinimum && budget.bound == kAtLeast) ||
                         budget.statistic == kOver;
    if (!isFinal) continue;
    for (const RecordedFigure* const figure : matching(recorded, budget.selector)) {
      if (figure->first + figure->values.size() != recorded.samples()) continue;  // absent now
      const double value = budget.statistic == kOver ? secondsAbove(*figure, recorded.seconds(), budget.limit)
                                                     : figure->values.back();
      if (!keeps(budget, value)) exceeded.push_back({&budget, kExceeded, figure, value, {}});
    }
  }
  return exceeded;
}

}  // namespace tool
