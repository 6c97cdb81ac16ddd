#include "tools/views/families.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <unordered_set>

#include "tools/figures/metric.h"
#include "tools/views/words.h"

namespace tool {

namespace {

std::string escaped(const std::string& text, bool quotes = true) {
  std::string result;
  for (const char c : text) {
    if (c == '\\' || (c == '"' && quotes)) result += '\\';
    result += c;
  }
  return result;
}

void addLabel(std::string& labels, const char* name, const std::string& value) {
  if (!labels.empty()) labels += ',';
  labels.append(name).append("=\"").append(escaped(value)).append("\"");
}

// Twelve digits. Most figures are whole numbers, for which printf takes ten times as long.
std::string numberText(double value) {
  constexpr double kTwelveDigits = 1e12;
  if (std::abs(value) < kTwelveDigits && value == std::trunc(value)) {
    return std::to_string(static_cast<std::int64_t>(value));
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.12g", value);
  return text;
}

constexpr std::string_view kTotal = "_total";

// OpenMetrics calls a counter's family as its series without their last word.
std::string headName(const MetricFamily& family, MetricFormat format) {
  const bool isShorter = family.isCounter && format == MetricFormat::kOpenMetrics;
  return isShorter ? family.name.substr(0, family.name.size() - kTotal.size()) : family.name;
}

}  // namespace

MetricFamily familyOf(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column) {
  return {metricName(section, table, column), column.format.unit.base, column.description};
}

std::string headOf(const MetricFamily& family, MetricFormat format) {
  const bool isOpen = format == MetricFormat::kOpenMetrics;
  const std::string name = headName(family, format);
  std::string head = "# TYPE " + name + (family.isCounter ? " counter\n" : " gauge\n");
  if (isOpen && !family.unit.empty()) head += "# UNIT " + name + " " + family.unit + "\n";
  return head + "# HELP " + name + " " + escaped(family.help, isOpen) + "\n";
}

std::string labelSet(const std::string& board, const TableInfo& table, const Row& row) {
  std::string labels;
  addLabel(labels, "board", board);
  for (std::size_t at = 0; at < row.size(); ++at) {
    const ColumnInfo& column = table.columns[at];
    if (column.role == kLabel && !isAbsent(row[at])) addLabel(labels, column.key, clean(wordsOf(row[at])));
  }
  return "{" + labels + "}";
}

std::string labelSet(const std::string& board) { return labelSet(board, {}, {}); }

std::string metricValue(const Value& value, const Unit& unit) {
  return numberText(numberOf(value) * unit.toBase);
}

void Exposition::add(const std::string& board, const Report& report) {
  std::string labels;
  std::unordered_set<std::string> items;  // of the table: names that differ may look alike as labels
  const Row* row = nullptr;
  const TableInfo* table = nullptr;
  bool isKnown = false;
  forEachFigure(report, [&](const Figure& figure) {
    if (&figure.table != table) items.clear();
    if (&figure.row != row) {
      labels = labelSet(board, figure.table, figure.row);
      isKnown = !items.insert(labels).second;
    }
    table = &figure.table;
    row = &figure.row;
    if (isKnown || !isNumber(figure.value)) return;
    auto& [name, series] = columns_[&figure.column];
    if (series == nullptr) {
      const MetricFamily family = familyOf(figure.section, figure.table, figure.column);
      name = family.name;
      series = &seriesOf(family);
    }
    series->lines.append(name).append(labels).append(" ");
    series->lines.append(metricValue(figure.value, figure.column.format.unit)).append("\n");
  });
}

void Exposition::add(const MetricFamily& family, const std::string& labels, double value) {
  seriesOf(family).lines.append(family.name).append(labels).append(" " + numberText(value) + "\n");
}

Exposition::Series& Exposition::seriesOf(const MetricFamily& family) {
  const auto [series, isNew] = families_.try_emplace(family.name);
  if (isNew) series->second.head = headOf(family, format_);
  return series->second;
}

std::string Exposition::text() const {
  std::size_t size = 0;
  for (const auto& [name, series] : families_) size += series.head.size() + series.lines.size();
  std::string text;
  text.reserve(size + 8);
  for (const auto& [name, series] : families_) text.append(series.head).append(series.lines);
  if (format_ == MetricFormat::kOpenMetrics) text += "# EOF\n";
  return text;
}

}  // namespace tool
