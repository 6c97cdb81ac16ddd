// Budgets while a recording is made.
#ifndef TESSARY_TOOLS_VERDICT_LIVE_CHECK_H
#define TESSARY_TOOLS_VERDICT_LIVE_CHECK_H

#include <string>
#include <utility>
#include <vector>

#include "tools/verdict/check.h"

namespace tool {

class LiveCheck {
 public:
  LiveCheck(std::vector<Budget> budgets, std::vector<const SectionSchema*> known)
      : budgets_{std::move(budgets)}, known_{std::move(known)}, recorded_{wantedOf(budgets_)} {}
  LiveCheck(const LiveCheck&) = delete;
  LiveCheck& operator=(const LiveCheck&) = delete;

  // What this sample exceeds and no sample before it did, in words.
  std::vector<std::string> add(const Report& report);

  // Of all samples so far.
  std::vector<BudgetResult> results() const { return check(recorded_, budgets_, known_); }

 private:
  std::vector<Budget> budgets_;
  std::vector<const SectionSchema*> known_;
  Recorded recorded_;
  std::vector<const Budget*> exceeded_;
};

}  // namespace tool

#endif
