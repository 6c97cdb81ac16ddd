#include "tools/views/dataset.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>

#include "tools/figures/time_units.h"
#include "tools/views/words.h"

namespace tool {

namespace {

using OrderedJson = nlohmann::ordered_json;

constexpr double kAbsent = std::numeric_limits<double>::quiet_NaN();
constexpr char kWholeName[] = "all";

bool hasColumn(const TableInfo& table, std::string_view key) {
  return std::any_of(table.columns.begin(), table.columns.end(),
                     [&](const ColumnInfo& column) { return column.role == kFigure && key == column.key; });
}

// A figure of the section as a whole that its items have too: it is drawn with theirs.
bool isShared(const SectionSchema& section, std::string_view key) {
  bool whole = false;
  bool items = false;
  for (const TableInfo& table : section.tables) (table.isFields() ? whole : items) |= hasColumn(table, key);
  return whole && items;
}

// Of the figures that share a chart with this one.
std::string headingsOf(const Figure& figure) {
  std::string headings;
  for (const ColumnInfo& column : figure.table.columns) {
    const bool same = std::string_view{column.format.unit.name} == figure.column.format.unit.name;
    if (column.role != kFigure || !same || isShared(figure.section, column.key)) continue;
    headings += (headings.empty() ? "" : ", ") + std::string{column.heading};
  }
  return headings;
}

OrderedJson formatJson(const Format& format) {
  return {{"shown", format.shown},
          {"decimals", format.decimals},
          {"scale", format.scale},
          {"prefixes", format.prefixes}};
}

// Figures come from recordings, which have rounded them already.
void appendValue(std::string& text, double value) {
  char digits[32];
  std::snprintf(digits, sizeof digits, "%.12g", value);
  text += std::isnan(value) ? "null" : digits;
}

std::string valuesText(const std::vector<double>& values) {
  std::string text = "[";
  for (const double value : values) {
    if (text.size() > 1) text += ',';
    appendValue(text, value);
  }
  return text + "]";
}

// "VX4490P (brindle)"
std::string boardWords(const Origin& origin) {
  std::string words;
  std::string more;
  for (const std::string& part : {origin.model, origin.soc, origin.platform}) {
    if (words.empty()) {
      words = clean(part);
    } else if (!part.empty() && part != words) {
      more += (more.empty() ? "" : ", ") + clean(part);
    }
  }
  return more.empty() ? words : words + " (" + more + ")";
}

// A number alone says nothing: "core 3", but "eth0".
std::string nameOf(const TableInfo& table, const std::string& labels) {
  const bool isNumber = labels.find_first_not_of("0123456789") == std::string::npos;
  return isNumber ? std::string{table.item} + " " + labels : labels;
}

}  // namespace

void Dataset::begin(const Origin& origin) { origin_ = origin; }

void Dataset::add(const Report& report) {
  const std::size_t sample = timesMs_.size();
  const std::int64_t timeMs = (report.bootTimeNs - origin_.bootTimeNs) / kNanosecondsInMillisecond;
  timesMs_.push_back(timeMs);
  if (report.unixTimeNs) {
    // The two clocks are read one after the other: a millisecond is no step.
    const std::int64_t offset = *report.unixTimeNs / kNanosecondsInMillisecond - timeMs;
    if (wallOffsetMs_.empty() || std::abs(wallOffsetMs_.back().second - offset) > 1) {
      wallOffsetMs_.emplace_back(sample, offset);
    }
  }
  forEachFigure(report, [&](const Figure& figure) {
    if (figure.column.role != kFigure || !isNumber(figure.value)) return;
    const Place place = placeOf(figure);
    Series& series = charts_[place.first].series[place.second];
    if (series.values.empty()) series.first = sample;
    series.values.resize(sample - series.first, kAbsent);
    series.values.push_back(numberOf(figure.value));
  });
  for (const Absence& ended : absences_.add(report).ended) gaps_.push_back({ended, sample - 1});
}

void Dataset::end() {
  for (const Absence& open : absences_.present()) gaps_.push_back({open, timesMs_.size() - 1});
}

Dataset::Place Dataset::placeOf(const Figure& figure) {
  const auto [known, isNew] = places_.try_emplace(pathOf(figure), 0, 0);
  if (!isNew) return known->second;
  const std::size_t chart = chartOf(figure);
  std::vector<Series>& series = charts_[chart].series;
  const std::string labels = labelsOf(figure.table, figure.row);
  const bool whole = figure.table.isFields() && isShared(figure.section, figure.column.key);
  const std::string name = whole                     ? kWholeName
                           : figure.table.isFields() ? figure.column.heading
                                                     : nameOf(figure.table, labels);
  known->second = {chart, series.size()};
  series.push_back({figureKey(figure.section, figure.table, figure.column), labels, name, whole, 0, {}});
  return known->second;
}

// An item's figure has a chart of its own; the section's own figures of one unit share one.
std::size_t Dataset::chartOf(const Figure& figure) {
  const bool shared = isShared(figure.section, figure.column.key);
  const bool grouped = figure.table.isFields() && !shared;
  const char* const unit = figure.column.format.unit.name;
  const std::string key = shared    ? std::string{figure.section.name} + "." + figure.column.key
                          : grouped ? std::string{figure.section.name} + " " + unit
                                    : figureKey(figure.section, figure.table, figure.column);
  const auto [known, isNew] = chartsByKey_.try_emplace(key, charts_.size());
  if (!isNew) return known->second;
  const std::string title = grouped ? headingsOf(figure) : figure.column.heading;
  charts_.push_back(
      {&figure.section, key, title, grouped ? "" : figure.column.description, figure.column.format, {}});
  return known->second;
}

std::string Dataset::title() const {
  const std::string board = boardWords(origin_);
  return board.empty() ? clean(origin_.host) : board;
}

std::string Dataset::json() const {
  OrderedJson facts = OrderedJson::array();
  const auto fact = [&](const char* name, const std::string& text) {
    if (!text.empty()) facts.push_back({name, clean(text)});
  };
  fact("recording", name_);
  fact("board", boardWords(origin_));
  fact("host", origin_.host);
  fact("kernel", origin_.kernel);
  if (origin_.unixTimeNs) fact("start", utcTime(*origin_.unixTimeNs));
  fact("samples", std::to_string(timesMs_.size()));
  fact("interval", wordsOf(origin_.intervalMs) + " ms");
  fact("tool", origin_.tool);
  fact("library", origin_.library);

  OrderedJson gaps = OrderedJson::array();
  for (const Gap& gap : gaps_) {
    gaps.push_back({{"section", gap.absence.section->name},
                    {"from", gap.absence.first},
                    {"to", gap.last},
                    {"what", gap.absence.what},
                    {"reason", gap.absence.reason}});
  }
  OrderedJson head{{"name", clean(name_)},  {"interval_ms", origin_.intervalMs},
                   {"wall", wallOffsetMs_}, {"facts", facts},
                   {"gaps", gaps},          {"times", timesMs_}};
  std::string text = head.dump();
  text.pop_back();
  text += ",\"charts\":[";
  for (const Chart& chart : charts_) {
    std::string one = OrderedJson{{"key", chart.key},
                                  {"section", chart.section->name},
                                  {"title", chart.title},
                                  {"description", chart.description},
                                  {"format", formatJson(chart.format)}}
                          .dump();
    one.pop_back();
    text += (&chart == charts_.data() ? "" : ",") + one + ",\"series\":[";
    for (const Series& series : chart.series) {
      one = OrderedJson{{"figure", series.figure},
                        {"item", series.item},
                        {"name", series.name},
                        {"whole", series.isWhole},
                        {"first", series.first}}
                .dump();
      one.pop_back();
      text += (&series == chart.series.data() ? "" : ",") + one + ",\"values\":" + valuesText(series.values) +
              "}";
    }
    text += "]}";
  }
  return text + "]}";
}

}  // namespace tool
