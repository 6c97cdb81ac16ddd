#include "tools/views/comparison.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tools/views/escaping.h"
#include "tools/views/json.h"

namespace tool {

namespace {

constexpr std::size_t kMostLeft = 20;  // lines of figures that were not compared

std::string formatted(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// In percent of the base, where there is one.
std::string shareText(const char* format, double value, double base, const ComparedFigure& compared) {
  if (base != 0) return formatted(format, 100 * value / std::fabs(base)) + " %";
  return shown(value, compared.column->format);
}

std::string changeText(const Change& change, double base, const ComparedFigure& compared) {
  if (base == 0) {
    const Format& format = compared.column->format;
    return (change.value < 0 ? "-" : "+") + shown(std::fabs(change.value), format) + " +-" +
           shown(change.margin, format);
  }
  const std::string value = formatted("%+.1f", 100 * change.value / std::fabs(base));
  return value + formatted(" +-%.1f", 100 * change.margin / std::fabs(base)) + " %";
}

// One line of the table, all in words.
struct FigureLine {
  std::string figure, verdict;
  std::string baseMean, otherMean, meanChange, meanSmallest;
  std::string baseP95, otherP95, p95Change, p95Smallest;
};

constexpr Column<FigureLine> kFigureColumns[] = {
    {"verdict", "verdict", kPlain, "", [](const FigureLine& l) -> Value { return l.verdict; }},
    {"figure", "figure", kPlain, "", [](const FigureLine& l) -> Value { return l.figure; }, kLabel},
    {"base_mean", "mean", kPlain, "", [](const FigureLine& l) -> Value { return l.baseMean; }},
    {"new_mean", "new", kPlain, "", [](const FigureLine& l) -> Value { return l.otherMean; }},
    {"mean_change", "change", kPlain, "", [](const FigureLine& l) -> Value { return l.meanChange; }},
    {"mean_smallest", "shown from", kPlain, "", [](const FigureLine& l) -> Value { return l.meanSmallest; },
     kFigure, kNeither, 1},
    {"base_p95", "p95", kPlain, "", [](const FigureLine& l) -> Value { return l.baseP95; }, kFigure, kNeither,
     2},
    {"new_p95", "new", kPlain, "", [](const FigureLine& l) -> Value { return l.otherP95; }, kFigure, kNeither,
     2},
    {"p95_change", "change", kPlain, "", [](const FigureLine& l) -> Value { return l.p95Change; }, kFigure,
     kNeither, 2},
    {"p95_smallest", "shown from", kPlain, "", [](const FigureLine& l) -> Value { return l.p95Smallest; },
     kFigure, kNeither, 3},
};
const Table<FigureLine> kFigureLines{"figures", "figure", kFigureColumns};

FigureLine lineOf(const ComparedFigure& compared) {
  const Format& format = compared.column->format;
  FigureLine line;
  line.figure = compared.name;
  line.verdict = verdictName(compared.verdict);
  line.baseMean = shown(compared.base.mean, format);
  line.otherMean = shown(compared.other.mean, format);
  line.baseP95 = shown(compared.base.p95, format);
  line.otherP95 = shown(compared.other.p95, format);
  if (compared.verdict == kNotEnough) {
    line.meanChange = "needs " + compared.needs;
    return line;
  }
  line.meanChange = changeText(compared.mean, compared.base.mean, compared);
  line.meanSmallest = shareText("%.1f", compared.mean.smallest, compared.base.mean, compared);
  line.p95Change = changeText(compared.p95, compared.base.p95, compared);
  line.p95Smallest = shareText("%.1f", compared.p95.smallest, compared.base.p95, compared);
  return line;
}

// What matters most comes first.
std::vector<const ComparedFigure*> sorted(const Comparison& comparison) {
  std::vector<const ComparedFigure*> figures;
  for (const ComparedFigure& figure : comparison.figures) {
    if (!figure.constant) figures.push_back(&figure);
  }
  std::stable_sort(
      figures.begin(), figures.end(),
      [](const ComparedFigure* left, const ComparedFigure* right) { return left->verdict < right->verdict; });
  return figures;
}

std::string sideText(const char* title, const ComparedSide& side) {
  std::string text = title;
  for (const std::string& name : side.names) text += " " + printable(name);
  return text + ": " + std::to_string(side.samples) + " samples, " + formatted("%.0f", side.seconds) + " s\n";
}

std::string countsText(const Comparison& comparison) {
  std::string text;
  for (const Verdict verdict : {kWorse, kBetter, kChanged, kSame, kNotEnough}) {
    const auto count =
        std::count_if(comparison.figures.begin(), comparison.figures.end(),
                      [verdict](const ComparedFigure& figure) { return figure.verdict == verdict; });
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + verdictName(verdict);
  }
  const auto constant = std::count_if(comparison.figures.begin(), comparison.figures.end(),
                                      [](const ComparedFigure& figure) { return figure.constant; });
  return text + "; " + std::to_string(constant) + " did not move at all\n";
}

std::string leftText(const std::vector<NotCompared>& left) {
  std::string text;
  for (std::size_t at = 0; at < std::min(left.size(), kMostLeft); ++at) {
    text += "not compared: " + printable(left[at].name) + ": " + left[at].reason + "\n";
  }
  if (left.size() > kMostLeft) text += "not compared: " + std::to_string(left.size() - kMostLeft) + " more\n";
  return text;
}

using OrderedJson = nlohmann::ordered_json;

OrderedJson sideJson(const SideSummary& side) {
  return {{"mean", side.mean},
          {"p95", side.p95},
          {"samples", side.samples},
          {"effective_samples", std::round(side.effective)}};
}

OrderedJson changeJson(const Change& change) {
  return {{"change", change.value},
          {"margin", change.margin},
          {"smallest", change.smallest},
          {"probability", change.probability},
          {"matters", change.matters}};
}

OrderedJson figureJson(const ComparedFigure& compared) {
  const ColumnInfo& column = *compared.column;
  OrderedJson json{{"figure", utf8(compared.name)}, {"unit", column.format.unit.name}};
  if (column.tendency != kNeither) json["more_is"] = column.tendency == kMoreIsWorse ? "worse" : "better";
  json["verdict"] = verdictName(compared.verdict);
  json["base"] = sideJson(compared.base);
  json["new"] = sideJson(compared.other);
  if (compared.verdict == kNotEnough) {
    json["needs"] = compared.needs;
    return json;
  }
  json["mean"] = changeJson(compared.mean);
  json["p95"] = changeJson(compared.p95);
  return json;
}

OrderedJson namesJson(const std::vector<std::string>& names) {
  OrderedJson json = OrderedJson::array();
  for (const std::string& name : names) json.push_back(utf8(name));
  return json;
}

}  // namespace

std::string comparisonText(const Comparison& comparison, const ComparedSide& base, const ComparedSide& other,
                           const TextStyle& style) {
  std::string text = sideText("base", base) + sideText("new ", other) + "\n";
  const std::vector<const ComparedFigure*> figures = sorted(comparison);
  if (!figures.empty()) {
    const SectionSchema schema{"compare", "Comparison", {kFigureLines.info()}};
    SectionSample sample{&schema, {{}}};
    for (const ComparedFigure* const figure : figures)
      sample.tables[0].rows.push_back(kFigureLines.row(lineOf(*figure)));
    text += renderText(sample, style) + "\n";
  }
  return text + countsText(comparison) + leftText(comparison.left);
}

std::string comparisonJson(const Comparison& comparison, const ComparedSide& base, const ComparedSide& other,
                           const ComparisonPlan& plan) {
  OrderedJson json{{"schema", "tessary-compare"},   {"version", 1},
                   {"base", namesJson(base.names)}, {"new", namesJson(other.names)},
                   {"alpha", plan.alpha},           {"least_percent", 100 * plan.least},
                   {"tests", comparison.tests}};
  OrderedJson& figures = json["figures"] = OrderedJson::array();
  for (const ComparedFigure& figure : comparison.figures) figures.push_back(figureJson(figure));
  OrderedJson& left = json["not_compared"] = OrderedJson::array();
  for (const NotCompared& figure : comparison.left) {
    left.push_back({{"figure", utf8(figure.name)}, {"reason", figure.reason}});
  }
  return json.dump(kJsonIndent) + "\n";
}

}  // namespace tool
