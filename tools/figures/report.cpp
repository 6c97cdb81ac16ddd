#include "tools/figures/report.h"

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

Gap& gapFor(std::vector<Gap>& all, const std::string& reason) {
  const auto known =
      std::find_if(all.begin(), all.end(), [&](const Gap& gap) { return gap.reason == reason; });
  if (known != all.end()) return *known;
  return all.emplace_back(Gap{reason, {}});
}

void addColumn(std::vector<Gap>& all, std::size_t table, const ColumnInfo& column,
               const std::vector<Row>& rows, std::size_t position) {
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const auto* const absent = std::get_if<Absent>(&rows[row][position]);
    if (absent == nullptr) continue;
    std::vector<Gap::Item>& items = gapFor(all, absent->reason).items;
    if (items.empty() || items.back().table != table || items.back().column != &column) {
      items.push_back({table, &column, {}});
    }
    items.back().rows.push_back(row);
    if (items.back().rows.size() == rows.size()) items.back().rows.clear();
  }
}

// Fields that are all absent for one reason are one item.
void mergeFields(std::vector<Gap>& all, std::size_t table, const std::vector<ColumnInfo>& columns) {
  for (Gap& gap : all) {
    if (gap.items.size() == columns.size() && columns.size() > 1) gap.items = {{table, nullptr, {}}};
  }
}

struct Words {
  std::string operator()(const Absent&) const { return {}; }
  std::string operator()(bool value) const { return value ? "yes" : "no"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(double value) const {
    char text[32];
    std::snprintf(text, sizeof text, "%.15g", value);
    return text;
  }
};

}  // namespace

std::vector<Gap> gaps(const SectionSample& sample) {
  std::vector<Gap> all;
  for (std::size_t table = 0; table < sample.tables.size(); ++table) {
    const TableInfo& info = sample.schema->tables[table];
    for (std::size_t position = 0; position < info.columns.size(); ++position) {
      addColumn(all, table, info.columns[position], sample.tables[table].rows, position);
    }
    if (info.isFields()) mergeFields(all, table, info.columns);
    const std::string& absent = sample.tables[table].absent;
    if (!absent.empty()) gapFor(all, absent).items.push_back({table, nullptr, {}});
  }
  return all;
}

bool hasFigures(const SectionSample& sample) {
  for (std::size_t table = 0; table < sample.tables.size(); ++table) {
    const std::vector<ColumnInfo>& columns = sample.schema->tables[table].columns;
    for (const Row& row : sample.tables[table].rows) {
      for (std::size_t position = 0; position < row.size(); ++position) {
        if (columns[position].role == kFigure && !isAbsent(row[position])) return true;
      }
    }
  }
  return false;
}

bool hasFigures(const Report& report) {
  return std::any_of(report.sections.begin(), report.sections.end(),
                     [](const SectionSample& sample) { return hasFigures(sample); });
}

SectionSample allAbsent(const SectionSchema& schema, const std::string& reason) {
  SectionSample sample{&schema, {}};
  for (const TableInfo& info : schema.tables) {
    TableSample& table = sample.tables.emplace_back();
    if (info.isFields()) {
      table.rows.emplace_back(info.columns.size(), Value{Absent{reason}});
    } else {
      table.absent = reason;
    }
  }
  return sample;
}

std::string figureKey(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column) {
  const std::string prefix = table.isFields() ? "" : std::string{table.key} + ".";
  return std::string{section.name} + "." + prefix + column.key;
}

std::string wordsOf(const Value& value) { return std::visit(Words{}, value); }

std::string itemOf(const TableInfo& table, const Row& row) {
  for (std::size_t position = 0; position < table.columns.size(); ++position) {
    if (table.columns[position].role == kLabel) return wordsOf(row[position]);
  }
  return {};
}

}  // namespace tool
