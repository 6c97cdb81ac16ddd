#include "tools/views/json.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/views/escaping.h"

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;  // of the format: goes up when a key changes its meaning
constexpr int kIndent = 2;

double rounded(double value, int decimals) {
  const double scale = std::pow(10.0, decimals);
  const double scaled = std::round(value * scale) / scale;
  return std::isfinite(scaled) ? scaled : value;
}

struct CellJson {
  const Format& format;

  Json operator()(const Absent&) const { return nullptr; }
  Json operator()(bool value) const { return value; }
  Json operator()(std::int64_t value) const { return value; }
  Json operator()(double value) const { return rounded(value, format.jsonDecimals); }
  Json operator()(const std::string& value) const { return utf8(value); }
};

void addRow(Json& object, const std::vector<ColumnInfo>& columns, const Row& row) {
  for (std::size_t position = 0; position < columns.size(); ++position) {
    if (isAbsent(row[position])) continue;
    object[columns[position].key] = std::visit(CellJson{columns[position].format}, row[position]);
  }
}

Json tableJson(const TableInfo& info, const std::vector<Row>& rows) {
  Json table = Json::array();
  for (const Row& row : rows) {
    Json object = Json::object();
    addRow(object, info.columns, row);
    table.push_back(std::move(object));
  }
  return table;
}

// What a gap leaves out: *, clock_khz, cores, cores[*].clock_khz, cores[3].clock_khz
Json itemsJson(const Gap& gap, const SectionSchema& schema) {
  Json items = Json::array();
  for (const Gap::Item& item : gap.items) {
    const TableInfo& table = schema.tables[item.table];
    if (item.column == nullptr) {
      items.push_back(table.isFields() ? "*" : table.key);
    } else if (table.isFields()) {
      items.push_back(item.column->key);
    } else if (item.rows.empty()) {
      items.push_back(std::string{table.key} + "[*]." + item.column->key);
    } else {
      for (const std::size_t row : item.rows) {
        items.push_back(std::string{table.key} + "[" + std::to_string(row) + "]." + item.column->key);
      }
    }
  }
  return items;
}

Json sectionJson(const SectionSample& sample) {
  Json section = Json::object();
  for (std::size_t table = 0; table < sample.tables.size(); ++table) {
    const TableInfo& info = sample.schema->tables[table];
    const std::vector<Row>& rows = sample.tables[table].rows;
    if (info.isFields()) {
      addRow(section, info.columns, rows.at(0));
    } else if (!rows.empty() || sample.tables[table].absent.empty()) {
      section[info.key] = tableJson(info, rows);
    }
  }
  Json errors = Json::array();
  for (const Gap& gap : gaps(sample)) {
    errors.push_back({{"items", itemsJson(gap, *sample.schema)}, {"error", utf8(gap.reason)}});
  }
  if (!errors.empty()) section["errors"] = std::move(errors);
  return section;
}

Json heading(const char* schema, const std::string& library) {
  return {{"schema", schema}, {"version", kVersion}, {"library", library}};
}

void addReport(Json& object, const Report& report) {
  object["boot_time_ns"] = report.bootTimeNs;
  object["interval_ms"] = rounded(report.intervalMs, 3);
  for (const SectionSample& sample : report.sections) object[sample.schema->name] = sectionJson(sample);
}

}  // namespace

std::string reportDocument(const Origin& origin, const Report& report) {
  Json document = heading("tessary-report", origin.library);
  addReport(document, report);
  return document.dump(kIndent) + "\n";
}

std::string recordHeader(const Origin& origin) {
  Json header = heading("tessary-record", origin.library);
  header["interval_ms"] = static_cast<std::int64_t>(origin.intervalMs);
  Json& monitors = header["monitors"] = Json::array();
  for (const SectionSchema* const schema : origin.sections) monitors.push_back(schema->name);
  return header.dump() + "\n";
}

std::string recordLine(const Report& report) {
  Json line = Json::object();
  addReport(line, report);
  return line.dump() + "\n";
}

std::string doctorDocument(const Origin& origin, const SectionSample& sources) {
  Json document = heading("tessary-doctor", origin.library);
  const TableInfo& info = sources.schema->tables[0];
  document[info.key] = tableJson(info, sources.tables[0].rows);
  return document.dump(kIndent) + "\n";
}

}  // namespace tool
