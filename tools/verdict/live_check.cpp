#include "tools/verdict/live_check.h"

#include <algorithm>

namespace tool {

std::vector<std::string> LiveCheck::add(const Report& report) {
  recorded_.add(report);
  std::vector<std::string> news;
  for (const BudgetResult& result : exceededNow(recorded_, budgets_)) {
    if (std::find(exceeded_.begin(), exceeded_.end(), result.budget) != exceeded_.end()) continue;
    exceeded_.push_back(result.budget);
    news.push_back(result.figure->name + ": " + resultText(result));
  }
  return news;
}

}  // namespace tool
