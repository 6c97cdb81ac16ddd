// What became of budgets: a table for people, JSON for programs, JUnit's XML for build servers.
#ifndef TESSARY_TOOLS_VIEWS_CHECK_H
#define TESSARY_TOOLS_VIEWS_CHECK_H

#include <string>
#include <vector>

#include "tools/verdict/check.h"
#include "tools/views/text.h"

namespace tool {

struct CheckedRecording {
  std::string name;
  double seconds = 0;  // its length
  std::vector<BudgetResult> results;
};

std::string checkText(const std::vector<CheckedRecording>& checked, const TextStyle& style);
std::string checkJson(const std::vector<CheckedRecording>& checked);

// A suite a recording, a case a budget: a limit that was exceeded is a failure, what was not measured an
// error.
std::string checkJunit(const std::vector<CheckedRecording>& checked);

}  // namespace tool

#endif
