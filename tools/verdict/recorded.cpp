#include "tools/verdict/recorded.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

#include "tools/figures/time_units.h"

namespace tool {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// The name where rows have one beside their id.
std::optional<std::size_t> lastingLabel(const TableInfo& table) {
  std::optional<std::size_t> label;
  for (std::size_t at = 0; at < table.columns.size(); ++at) {
    if (table.columns[at].role != kLabel) continue;
    if (std::string_view{table.columns[at].key} == "name") return at;
    if (!label) label = at;
  }
  return label;
}

std::optional<double> realOf(const Value& value) {
  if (const auto* const integer = std::get_if<std::int64_t>(&value)) return static_cast<double>(*integer);
  if (const auto* const real = std::get_if<double>(&value)) return *real;
  return std::nullopt;
}

}  // namespace

statistics::Series RecordedFigure::present() const {
  statistics::Series present;
  present.reserve(values.size());
  std::copy_if(values.begin(), values.end(), std::back_inserter(present),
               [](double value) { return !std::isnan(value); });
  return present;
}

statistics::Series RecordedFigure::aligned(std::size_t count) const {
  statistics::Series aligned(count, kNone);
  std::copy(values.begin(), values.end(), aligned.begin() + static_cast<std::ptrdiff_t>(first));
  return aligned;
}

void Recorded::add(const Report& report) {
  seconds_.push_back(report.intervalMs / kMillisecondsInSecond);
  for (const SectionSample& section : report.sections) {
    for (std::size_t table = 0; table < section.tables.size(); ++table) {
      const TableInfo& info = section.schema->tables[table];
      TableOf& rows = tableOf(info);
      rows.before.resize(section.tables[table].rows.size());
      for (std::size_t at = 0; at < section.tables[table].rows.size(); ++at) {
        const Row& row = section.tables[table].rows[at];
        const FiguresOfRow& figures = figuresOf(rows, at, *section.schema, info, row);
        for (std::size_t column = 0; column < row.size(); ++column) {
          if (figures[column] != nullptr) put(*figures[column], row[column]);
        }
      }
    }
  }
}

Recorded::TableOf& Recorded::tableOf(const TableInfo& info) {
  const auto [table, isNew] = tables_.try_emplace(&info);
  if (isNew) table->second.label = lastingLabel(info);
  return table->second;
}

Recorded::FiguresOfRow& Recorded::figuresOf(TableOf& table, std::size_t at, const SectionSchema& section,
                                            const TableInfo& info, const Row& row) {
  static const Value kNoLabel;
  const Value& label = table.label ? row[*table.label] : kNoLabel;
  auto& [labelBefore, before] = table.before[at];
  if (before != nullptr && labelBefore == label) return *before;

  const auto [known, isNew] = table.rows.try_emplace(wordsOf(label));
  FiguresOfRow& figures = known->second;
  if (isNew) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      figures.push_back(addFigure({section, info, info.columns[column], row, row[column]}, table));
    }
  }
  labelBefore = label;
  before = &figures;
  return figures;
}

RecordedFigure* Recorded::addFigure(const Figure& figure, const TableOf& table) {
  if (figure.column.role == kLabel || !wanted_(figure)) return nullptr;
  std::string name = figureKey(figure.section, figure.table, figure.column);
  if (table.label) {
    const std::string item = std::string{"["} + figure.table.columns[*table.label].key + "=" +
                             wordsOf(figure.row[*table.label]) + "]";
    name.insert(name.rfind('.'), item);
  }
  return &figures_.emplace_back(
      RecordedFigure{&figure.section, &figure.table, &figure.column, figure.row, std::move(name), 0, {}, {}});
}

void Recorded::put(RecordedFigure& figure, const Value& value) {
  const std::optional<double> number = realOf(value);
  if (!number) {
    if (const auto* const absent = std::get_if<Absent>(&value)) figure.reason = absent->reason;
    return;
  }
  const std::size_t sample = seconds_.size() - 1;
  if (figure.values.empty()) figure.first = sample;
  const std::size_t place = sample - figure.first;
  if (place < figure.values.size()) {
    figure.values[place] += *number;  // another process of the name
    return;
  }
  figure.values.resize(place, kNone);
  figure.values.push_back(*number);
}

}  // namespace tool
