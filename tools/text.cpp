#include "tools/text.h"

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

constexpr char kBold[] = "\033[1m";
constexpr char kDim[] = "\033[2m";
constexpr char kPlainAgain[] = "\033[0m";
constexpr char kNoValue[] = "-";
constexpr char kIndent[] = "  ";

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
                format.unit);
  return text;
}

std::string figure(double value, const Format& format) {
  if (format.prefixes) return withPrefix(value * format.scale, format);
  char text[400];  // the longest double has 309 digits before its point
  std::snprintf(text, sizeof text, "%.*f%s", format.decimals, value * format.scale, format.unit);
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
    return plain ? std::to_string(value) + format.unit : figure(static_cast<double>(value), format);
  }
};

std::string cell(const Value& value, const Column& column) {
  return std::visit(CellText{column.format}, value);
}

std::string padded(const std::string& text, std::size_t width, bool toTheRight) {
  const std::string blanks(width - std::min(width, text.size()), ' ');
  return toTheRight ? blanks + text : text + blanks;
}

void dropTrailingBlanks(std::string& text) { text.erase(text.find_last_not_of(' ') + 1); }

void addFields(std::string& text, const std::vector<Column>& columns, const Row& row) {
  std::size_t width = 0;
  for (const Column& column : columns) width = std::max(width, std::string_view{column.header}.size());
  for (std::size_t position = 0; position < columns.size(); ++position) {
    if (row[position].index() == 0) continue;  // among the gaps
    text += kIndent + padded(columns[position].header, width, false) + kIndent +
            cell(row[position], columns[position]) + "\n";
  }
}

void addTable(std::string& text, const std::vector<Column>& columns, const std::vector<Row>& rows) {
  if (rows.empty()) return;
  std::vector<std::string> lines(rows.size() + 1, "");
  for (std::size_t position = 0; position < columns.size(); ++position) {
    std::vector<std::string> cells{columns[position].header};
    for (const Row& row : rows) cells.push_back(cell(row[position], columns[position]));
    std::size_t width = 0;
    for (const std::string& entry : cells) width = std::max(width, entry.size());
    const bool words = std::any_of(rows.begin(), rows.end(), [&](const Row& row) {
      return std::holds_alternative<std::string>(row[position]);
    });
    for (std::size_t line = 0; line < lines.size(); ++line) {
      lines[line] += kIndent + padded(cells[line], width, !words);
    }
  }
  for (std::string& line : lines) {
    dropTrailingBlanks(line);
    text += line + "\n";
  }
}

// "0, 1, 2, 5" as "0-2, 5"
std::string ranges(const std::vector<std::size_t>& rows, const std::vector<Row>& all, const Column& label) {
  std::string text;
  for (std::size_t at = 0; at < rows.size();) {
    std::size_t last = at;
    while (last + 1 < rows.size() && rows[last + 1] == rows[last] + 1) ++last;
    if (!text.empty()) text += ", ";
    text += cell(all[rows[at]][0], label);
    if (last != at) text += (last == at + 1 ? ", " : " to ") + cell(all[rows[last]][0], label);
    at = last + 1;
  }
  return text;
}

std::string itemText(const Gap::Item& item, const Block& block, const BlockSample& sample) {
  if (item.column != nullptr) return item.column->header;
  if (block.key == nullptr) return "all figures";
  return std::string{sample.rows.empty() ? "" : "part of "} + block.key;
}

// clock (core 2, 3), temperature: the reason
std::string gapText(const Gap& gap, const std::vector<Block>& blocks, const Sample& sample) {
  std::string what;
  for (auto item = gap.items.begin(); item != gap.items.end(); ++item) {
    if (item != gap.items.begin()) what += ", ";
    what += itemText(*item, blocks[item->block], sample[item->block]);
    const auto next = std::next(item);
    const bool sameRows = next != gap.items.end() && next->block == item->block && next->rows == item->rows;
    if (item->rows.empty() || sameRows) continue;
    const Column& label = blocks[item->block].columns[0];
    what +=
        std::string{" ("} + label.header + " " + ranges(item->rows, sample[item->block].rows, label) + ")";
  }
  return what + ": " + printable(gap.reason);
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte < 0x7F && c != '\\') {
      result += c;
      continue;
    }
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
    result += escaped;
  }
  return result;
}

std::string renderText(const char* title, const std::vector<Block>& blocks, const Sample& sample,
                       bool colour) {
  const auto styled = [colour](const char* style, const std::string& text) {
    return colour ? style + text + kPlainAgain : text;
  };
  std::string text = styled(kBold, title) + "\n";
  for (std::size_t block = 0; block < sample.size(); ++block) {
    if (blocks[block].key == nullptr) {
      addFields(text, blocks[block].columns, sample[block].rows.at(0));
    } else {
      addTable(text, blocks[block].columns, sample[block].rows);
    }
  }
  for (const Gap& gap : gaps(blocks, sample)) {
    text += kIndent + styled(kDim, "absent: " + gapText(gap, blocks, sample)) + "\n";
  }
  return text;
}

}  // namespace tool
