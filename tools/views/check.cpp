#include "tools/views/check.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tools/views/escaping.h"
#include "tools/views/json.h"

namespace tool {

namespace {

std::string nameOf(const BudgetResult& result) {
  return result.figure != nullptr ? result.figure->name : result.budget->selector.text;
}

struct BudgetLine {
  std::string outcome, figure, rule, value;
};

constexpr Column<BudgetLine> kBudgetColumns[] = {
    {"outcome", "budget", kPlain, "", [](const BudgetLine& l) -> Value { return l.outcome; }},
    {"figure", "figure", kPlain, "", [](const BudgetLine& l) -> Value { return l.figure; }, kLabel},
    {"rule", "allowed", kPlain, "", [](const BudgetLine& l) -> Value { return l.rule; }},
    {"value", "measured", kPlain, "", [](const BudgetLine& l) -> Value { return l.value; }},
};
const Table<BudgetLine> kBudgetLines{"budgets", "budget", kBudgetColumns};

std::string valueText(const BudgetResult& result) {
  if (result.outcome == kNotMeasured) return result.reason;
  if (result.budget->statistic == kOver) return shown(result.value, kSeconds);
  return shown(result.value, result.figure->column->format);
}

std::string xmlText(const std::string& bytes) {
  std::string text;
  for (const char character : printable(bytes)) {
    switch (character) {
      case '&':
        text += "&amp;";
        break;
      case '<':
        text += "&lt;";
        break;
      case '>':
        text += "&gt;";
        break;
      case '"':
        text += "&quot;";
        break;
      default:
        text += character;
    }
  }
  return text;
}

std::size_t count(const CheckedRecording& recording, Outcome outcome) {
  return static_cast<std::size_t>(
      std::count_if(recording.results.begin(), recording.results.end(),
                    [outcome](const BudgetResult& result) { return result.outcome == outcome; }));
}

std::string counts(const CheckedRecording& recording) {
  return " tests=\"" + std::to_string(recording.results.size()) + "\" failures=\"" +
         std::to_string(count(recording, kExceeded)) + "\" errors=\"" +
         std::to_string(count(recording, kNotMeasured)) + "\"";
}

std::string caseXml(const BudgetResult& result) {
  const std::string open = "    <testcase classname=\"" + xmlText(result.budget->selector.text) +
                           "\" name=\"" + xmlText(ruleText(*result.budget)) + "\"";
  if (result.outcome == kHeld) return open + "/>\n";
  const std::string kind = result.outcome == kExceeded ? "failure" : "error";
  return open + ">\n      <" + kind + " message=\"" + xmlText(nameOf(result) + ": " + resultText(result)) +
         "\"/>\n    </testcase>\n";
}

using OrderedJson = nlohmann::ordered_json;

OrderedJson resultJson(const BudgetResult& result) {
  const Budget& budget = *result.budget;
  OrderedJson json{{"figure", utf8(nameOf(result))}, {"statistic", statisticName(budget.statistic)}};
  if (budget.statistic == kOver) {
    json["limit"] = budget.limit;
    json["seconds"] = budget.seconds;
  } else {
    json[budget.bound == kAtMost ? "max" : "min"] = budget.limit;
  }
  json["outcome"] = outcomeName(result.outcome);
  if (result.outcome == kNotMeasured) {
    json["error"] = utf8(result.reason);
  } else {
    json["value"] = result.value;
  }
  return json;
}

}  // namespace

std::string checkText(const std::vector<CheckedRecording>& checked, const TextStyle& style) {
  std::string text;
  std::size_t failed = 0;
  std::size_t all = 0;
  for (const CheckedRecording& recording : checked) {
    const std::string title = printable(recording.name);
    const SectionSchema schema{"check", title.c_str(), {kBudgetLines.info()}};
    SectionSample sample{&schema, {{}}};
    for (const BudgetResult& result : recording.results) {
      sample.tables[0].rows.push_back(kBudgetLines.row(
          {outcomeName(result.outcome), nameOf(result), ruleText(*result.budget), valueText(result)}));
    }
    text += renderText(sample, style) + "\n";
    failed += recording.results.size() - count(recording, kHeld);
    all += recording.results.size();
  }
  return text + std::to_string(failed) + " of " + std::to_string(all) + " budgets not kept\n";
}

std::string checkJson(const std::vector<CheckedRecording>& checked) {
  OrderedJson json{{"schema", "tessary-check"}, {"version", 1}};
  OrderedJson& recordings = json["recordings"] = OrderedJson::array();
  for (const CheckedRecording& recording : checked) {
    OrderedJson results = OrderedJson::array();
    for (const BudgetResult& result : recording.results) results.push_back(resultJson(result));
    recordings.push_back(
        {{"recording", utf8(recording.name)}, {"seconds", recording.seconds}, {"budgets", results}});
  }
  return json.dump(kJsonIndent) + "\n";
}

std::string checkJunit(const std::vector<CheckedRecording>& checked) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"tessary check\">\n";
  for (const CheckedRecording& recording : checked) {
    char time[32];
    std::snprintf(time, sizeof time, " time=\"%.3f\"", recording.seconds);
    text += "  <testsuite name=\"" + xmlText(recording.name) + "\"" + counts(recording) + time + ">\n";
    for (const BudgetResult& result : recording.results) text += caseXml(result);
    text += "  </testsuite>\n";
  }
  return text + "</testsuites>\n";
}

}  // namespace tool
