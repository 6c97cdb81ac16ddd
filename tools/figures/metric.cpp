#include "tools/figures/metric.h"

#include <string_view>

namespace tool {

namespace {

// The key without its unit.
std::string_view stemOf(const ColumnInfo& column) {
  if (column.stem != nullptr) return column.stem;
  const std::string_view key = column.key;
  const std::string_view suffix = column.format.unit.suffix;
  const bool ends = key.size() >= suffix.size() && key.substr(key.size() - suffix.size()) == suffix;
  return ends ? key.substr(0, key.size() - suffix.size()) : key;
}

void append(std::string& name, std::string_view word) {
  if (word.empty()) return;
  name += '_';
  name += word;
}

}  // namespace

std::string metricName(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column) {
  std::string name = "tessary";
  append(name, section.name);
  if (!table.isFields() && std::string_view{table.item} != section.name) append(name, table.item);
  append(name, stemOf(column));
  append(name, column.format.unit.base);
  return name;
}

}  // namespace tool
