#include "tools/views/text.h"

#include <algorithm>
#include <cstdio>

#include "tools/views/escaping.h"

namespace tool {

namespace {

constexpr char kBoldText[] = "\033[1m";
constexpr char kDimText[] = "\033[2m";
constexpr char kPlainAgain[] = "\033[0m";
constexpr char kNoValue[] = "-";
constexpr char kColumnGap[] = "  ";

// 1.5 MiB/s
std::string withPrefix(double bytes, const Format& format) {
  constexpr double kStep = 1024;
  constexpr const char* kPrefixes[] = {"", "Ki", "Mi", "Gi", "Ti"};
  std::size_t prefix = 0;
  while (bytes >= kStep && prefix + 1 < std::size(kPrefixes)) {
    bytes /= kStep;
    ++prefix;
  }
  char text[64];
  std::snprintf(text, sizeof text, "%.*f %s%s", prefix == 0 ? 0 : format.decimals, bytes, kPrefixes[prefix],
                format.shown);
  return text;
}

std::string figure(double value, const Format& format) {
  if (format.prefixes) return withPrefix(value * format.scale, format);
  char text[400];  // the longest double has 309 digits before its point
  std::snprintf(text, sizeof text, "%.*f%s", format.decimals, value * format.scale, format.shown);
  return text;
}

struct CellText {
  const Format& format;

  std::string operator()(const Absent&) const { return kNoValue; }
  std::string operator()(bool value) const { return value ? "yes" : "no"; }
  std::string operator()(double value) const { return figure(value, format); }
  std::string operator()(const std::string& value) const { return printable(value); }
  std::string operator()(std::int64_t value) const {
    const bool plain = format.scale == 1 && !format.prefixes;
    return plain ? std::to_string(value) + format.shown : figure(static_cast<double>(value), format);
  }
};

std::string padded(const std::string& text, std::size_t width, bool toTheRight) {
  const std::string blanks(width - std::min(width, text.size()), ' ');
  return toTheRight ? blanks + text : text + blanks;
}

void dropTrailingBlanks(std::string& text) { text.erase(text.find_last_not_of(' ') + 1); }

void addFields(std::string& text, const std::vector<ColumnInfo>& columns, const Row& row) {
  std::size_t width = 0;
  for (const ColumnInfo& column : columns) {
    width = std::max(width, std::string_view{column.heading}.size());
  }
  for (std::size_t position = 0; position < columns.size(); ++position) {
    if (isAbsent(row[position])) continue;  // among the gaps
    text += kColumnGap + padded(columns[position].heading, width, false) + kColumnGap +
            shown(row[position], columns[position].format) + "\n";
  }
}

// A column as text: its heading and its cells, all of one width.
struct TextColumn {
  const ColumnInfo* info;
  std::vector<std::string> cells;
  std::size_t width;
};

TextColumn textColumn(const ColumnInfo& info, const std::vector<Row>& rows, std::size_t position) {
  TextColumn column{&info, {info.heading}, 0};
  bool words = false;
  for (const Row& row : rows) {
    column.cells.push_back(shown(row[position], info.format));
    words = words || std::holds_alternative<std::string>(row[position]);
  }
  for (const std::string& text : column.cells) column.width = std::max(column.width, text.size());
  for (std::string& text : column.cells) text = padded(text, column.width, !words);
  return column;
}

// Takes out columns, those of the highest rank first and of them the last, until the others fit. Those of
// rank 0 stay. Says which went.
std::string fit(std::vector<TextColumn>& columns, std::size_t width) {
  const auto total = [&] {
    std::size_t sum = 0;
    for (const TextColumn& column : columns) sum += std::string_view{kColumnGap}.size() + column.width;
    return sum;
  };
  std::string gone;
  while (total() > width) {
    const auto least = std::max_element(
        columns.rbegin(), columns.rend(),
        [](const TextColumn& a, const TextColumn& b) { return a.info->rank < b.info->rank; });
    if (least->info->rank == 0) break;
    gone.insert(0, gone.empty() ? least->info->heading : least->info->heading + std::string{", "});
    columns.erase(std::next(least).base());
  }
  return gone;
}

// Says which columns went because they did not fit.
std::string addTable(std::string& text, const TableInfo& info, const std::vector<Row>& rows,
                     std::size_t width) {
  if (rows.empty()) return {};
  std::vector<TextColumn> columns;
  for (std::size_t position = 0; position < info.columns.size(); ++position) {
    columns.push_back(textColumn(info.columns[position], rows, position));
  }
  std::string gone = width != kAnyWidth ? fit(columns, width) : "";
  for (std::size_t at = 0; at <= rows.size(); ++at) {
    std::string line;
    for (const TextColumn& column : columns) line += kColumnGap + column.cells[at];
    dropTrailingBlanks(line);
    text += line + "\n";
  }
  return gone;
}

std::string itemText(const Gap::Item& item, const TableInfo& info, const TableSample& sample) {
  if (item.column != nullptr) return item.column->heading;
  if (!info.isFields()) return std::string{sample.rows.empty() ? "" : "part of "} + info.key;
  return sample.absent.empty() ? "all figures" : "part of the sums";
}

}  // namespace

std::string whatIsAbsent(const Gap& gap, const SectionSample& sample) {
  std::string what;
  for (auto item = gap.items.begin(); item != gap.items.end(); ++item) {
    const TableInfo& info = sample.schema->tables[item->table];
    const TableSample& table = sample.tables[item->table];
    if (item != gap.items.begin()) what += ", ";
    what += itemText(*item, info, table);
    const auto next = std::next(item);
    const bool sameRows = next != gap.items.end() && next->table == item->table && next->rows == item->rows;
    if (item->rows.empty() || sameRows) continue;
    std::vector<std::string> names;
    for (const Row& row : table.rows) names.push_back(printable(itemOf(info, row)));
    what += std::string{" ("} + info.columns[0].heading + " " + ranges(item->rows, names) + ")";
  }
  return what;
}

std::string shown(const Value& value, const Format& format) { return std::visit(CellText{format}, value); }

std::string ranges(const std::vector<std::size_t>& positions, const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t at = 0; at < positions.size();) {
    std::size_t last = at;
    while (last + 1 < positions.size() && positions[last + 1] == positions[last] + 1) ++last;
    if (!text.empty()) text += ", ";
    text += names[positions[at]];
    if (last != at) text += (last == at + 1 ? ", " : " to ") + names[positions[last]];
    at = last + 1;
  }
  return text;
}

std::string renderText(const SectionSample& sample, const TextStyle& style) {
  const auto styled = [&style](const char* code, const std::string& text) {
    return style.colour ? code + text + kPlainAgain : text;
  };
  std::string text = styled(kBoldText, sample.schema->title) + "\n";
  std::string notes;
  for (std::size_t at = 0; at < sample.tables.size(); ++at) {
    const TableInfo& info = sample.schema->tables[at];
    const std::vector<Row>& rows = sample.tables[at].rows;
    if (info.isFields()) {
      addFields(text, info.columns, rows.at(0));
      continue;
    }
    const std::string gone = addTable(text, info, rows, style.width);
    if (gone.empty()) continue;
    notes +=
        kColumnGap + styled(kDimText, "too wide for the terminal: " + gone + " (--wide shows all)") + "\n";
  }
  text += notes;
  for (const Gap& gap : gaps(sample)) {
    text += kColumnGap +
            styled(kDimText, "absent: " + whatIsAbsent(gap, sample) + ": " + printable(gap.reason)) + "\n";
  }
  return text;
}

}  // namespace tool
