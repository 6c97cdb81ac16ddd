#include "tools/verdict/selector.h"

#include <algorithm>

namespace tool {

namespace {

bool hasLabel(const TableInfo& table, const std::string& key) {
  return std::any_of(table.columns.begin(), table.columns.end(),
                     [&](const ColumnInfo& column) { return column.role == kLabel && key == column.key; });
}

std::string labelsOf(const TableInfo& table) {
  std::string labels;
  for (const ColumnInfo& column : table.columns) {
    if (column.role == kLabel) labels += (labels.empty() ? "" : ", ") + std::string{column.key};
  }
  return labels;
}

bool isKey(std::string_view text) {
  return !text.empty() && text.front() != '.' && text.back() != '.' &&
         text.find('.') != std::string_view::npos && text.find('[') == std::string_view::npos;
}

}  // namespace

bool Selector::names(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column) const {
  return column.role != kLabel && figureKey(section, table, column) == key;
}

bool Selector::matches(const Figure& figure) const {
  if (!names(figure.section, figure.table, figure.column)) return false;
  if (label.empty()) return true;
  const std::vector<ColumnInfo>& columns = figure.table.columns;
  for (std::size_t at = 0; at < columns.size(); ++at) {
    if (columns[at].role == kLabel && label == columns[at].key) return wordsOf(figure.row[at]) == item;
  }
  return false;
}

std::optional<Selector> parseSelector(std::string_view text) {
  Selector selector;
  selector.text = text;
  // The last bracket: a process's name may have some of its own.
  const std::size_t open = text.find('[');
  const std::size_t close = text.rfind("].");
  if (open != std::string_view::npos && close != std::string_view::npos && open < close) {
    const std::string_view inner = text.substr(open + 1, close - open - 1);
    const std::size_t equals = inner.find('=');
    if (!inner.empty() && (equals == 0 || equals == std::string_view::npos)) return std::nullopt;
    if (!inner.empty()) {
      selector.label = inner.substr(0, equals);
      selector.item = inner.substr(equals + 1);
    }
    selector.key = text.substr(0, open);
    selector.key += text.substr(close + 1);
  } else {
    selector.key = text;
  }
  if (!isKey(selector.key)) return std::nullopt;
  return selector;
}

std::string unknownIn(const Selector& selector, const std::vector<const SectionSchema*>& sections) {
  for (const SectionSchema* const section : sections) {
    for (const TableInfo& table : section->tables) {
      for (const ColumnInfo& column : table.columns) {
        if (!selector.names(*section, table, column)) continue;
        if (selector.label.empty() || hasLabel(table, selector.label)) return {};
        if (table.isFields()) return selector.key + " is no table, and has no " + selector.label;
        return selector.label + " does not name a row of " + table.key + ": " + labelsOf(table);
      }
    }
  }
  return "there is no figure " + selector.key;
}

}  // namespace tool
