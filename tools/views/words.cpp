#include "tools/views/words.h"

#include <cstdio>
#include <ctime>

#include "tools/figures/time_units.h"
#include "tools/views/escaping.h"

namespace tool {

namespace {

struct Number {
  double operator()(const Absent&) const { return 0; }
  double operator()(const std::string&) const { return 0; }
  double operator()(bool value) const { return value ? 1 : 0; }
  double operator()(std::int64_t value) const { return static_cast<double>(value); }
  double operator()(double value) const { return value; }
};

template <typename Take>
void forEachLabel(const TableInfo& table, const Row& row, Take take) {
  for (std::size_t at = 0; at < table.columns.size(); ++at) {
    if (table.columns[at].role == kLabel && !isAbsent(row[at])) take(table.columns[at], wordsOf(row[at]));
  }
}

}  // namespace

std::string clean(std::string_view name) {
  std::string result;
  for (const char c : utf8(name)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte != 0x7F) {
      result += c;
      continue;
    }
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
    result += escaped;
  }
  return result;
}

std::string labelsOf(const TableInfo& table, const Row& row) {
  std::string words;
  forEachLabel(table, row, [&](const ColumnInfo&, const std::string& label) {
    words += (words.empty() ? "" : " ") + clean(label);
  });
  return words;
}

std::string pathOf(const Figure& figure) {
  std::string path = figure.section.name;
  if (!figure.table.isFields()) {
    std::string labels;
    forEachLabel(figure.table, figure.row, [&](const ColumnInfo& column, const std::string& label) {
      labels += std::string{labels.empty() ? "" : ","} + column.key + "=" + clean(label);
    });
    path += std::string{"."} + figure.table.key + "[" + labels + "]";
  }
  return path + "." + figure.column.key;
}

std::string utcTime(std::int64_t unixNs) {
  std::int64_t seconds = unixNs / kNanosecondsInSecond;
  std::int64_t rest = unixNs % kNanosecondsInSecond;
  if (rest < 0) {
    rest += kNanosecondsInSecond;
    --seconds;
  }
  const auto time = static_cast<std::time_t>(seconds);
  std::tm utc{};
  ::gmtime_r(&time, &utc);
  char day[32];
  std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &utc);
  char text[48];
  std::snprintf(text, sizeof text, "%s.%03dZ", day, static_cast<int>(rest / kNanosecondsInMillisecond));
  return text;
}

bool isNumber(const Value& value) { return !isAbsent(value) && !std::holds_alternative<std::string>(value); }

double numberOf(const Value& value) { return std::visit(Number{}, value); }

std::string boardOf(const Origin& origin) {
  if (!origin.model.empty()) return origin.model;
  return origin.soc.empty() ? origin.host : origin.soc;
}

}  // namespace tool
