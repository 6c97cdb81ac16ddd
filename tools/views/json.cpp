#include "tools/views/json.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/views/escaping.h"

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kIndent = 2;
constexpr int kTimeDecimals = 3;

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

Json tableJson(const std::vector<ColumnInfo>& columns, const std::vector<Row>& rows) {
  Json table = Json::array();
  for (const Row& row : rows) {
    Json object = Json::object();
    addRow(object, columns, row);
    table.push_back(std::move(object));
  }
  return table;
}

// What a gap leaves out: *, clock_khz, cores, cores[*].clock_khz, cores[3].clock_khz
Json itemsJson(const Gap& gap, const std::vector<TableInfo>& tables) {
  Json items = Json::array();
  for (const Gap::Item& item : gap.items) {
    const TableInfo& table = tables[item.table];
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
  const std::vector<TableInfo>& tables = sample.schema->tables;
  Json section = Json::object();
  for (std::size_t table = 0; table < sample.tables.size(); ++table) {
    const auto& [rows, absent] = sample.tables[table];
    if (tables[table].isFields()) {
      addRow(section, tables[table].columns, rows.at(0));
    } else if (!rows.empty() || absent.empty()) {
      section[tables[table].key] = tableJson(tables[table].columns, rows);
    }
  }
  Json errors = Json::array();
  for (const Gap& gap : gaps(sample)) {
    errors.push_back({{"items", itemsJson(gap, tables)}, {"error", utf8(gap.reason)}});
  }
  if (!errors.empty()) section["errors"] = std::move(errors);
  return section;
}

void addText(Json& object, const char* key, const std::string& text) {
  if (!text.empty()) object[key] = utf8(text);
}

Json heading(const char* schema, const Origin& origin) {
  Json heading{{"schema", schema}, {"version", kJsonVersion}};
  addText(heading, "tool", origin.tool);
  addText(heading, "library", origin.library);
  addText(heading, "host", origin.host);
  addText(heading, "kernel", origin.kernel);
  Json board = Json::object();
  addText(board, "model", origin.model);
  addText(board, "platform", origin.platform);
  addText(board, "soc", origin.soc);
  if (!board.empty()) heading["board"] = std::move(board);
  return heading;
}

void addTimes(Json& object, std::int64_t bootTimeNs, const std::optional<std::int64_t>& unixTimeNs) {
  object["boot_time_ns"] = bootTimeNs;
  if (unixTimeNs) object["unix_time_ns"] = *unixTimeNs;
}

void addReport(Json& object, const Report& report) {
  addTimes(object, report.bootTimeNs, report.unixTimeNs);
  object["interval_ms"] = rounded(report.intervalMs, kTimeDecimals);
  if (report.missed != 0) object["missed"] = report.missed;
  if (report.suspendedMs != 0) object["suspended_ms"] = rounded(report.suspendedMs, kTimeDecimals);
  for (const std::string& mark : report.marks) object["marks"].push_back(utf8(mark));
  for (const SectionSample& sample : report.sections) object[sample.schema->name] = sectionJson(sample);
}

Json columnJson(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column) {
  Json json{{"section", section.name}};
  if (!table.isFields()) json["table"] = table.key;
  json["key"] = column.key;
  addText(json, "unit", column.format.unit.name);
  json["description"] = column.description;
  if (column.role == kLabel) json["role"] = "label";
  if (column.role == kFixed) json["role"] = "fixed";
  if (column.tendency == kMoreIsWorse) json["more_is"] = "worse";
  if (column.tendency == kMoreIsBetter) json["more_is"] = "better";
  return json;
}

}  // namespace

std::string reportDocument(const Origin& origin, const Report& report) {
  Json document = heading("tessary-report", origin);
  addReport(document, report);
  return document.dump(kIndent) + "\n";
}

std::string recordHeader(const Origin& origin) {
  Json header = heading("tessary-record", origin);
  addTimes(header, origin.bootTimeNs, origin.unixTimeNs);
  header["interval_ms"] = rounded(origin.intervalMs, kTimeDecimals);
  Json monitors = Json::array();
  Json columns = Json::array();
  for (const SectionSchema* const section : origin.sections) {
    monitors.push_back(section->name);
    for (const TableInfo& table : section->tables) {
      for (const ColumnInfo& column : table.columns) columns.push_back(columnJson(*section, table, column));
    }
  }
  header["monitors"] = std::move(monitors);
  header["columns"] = std::move(columns);
  return header.dump() + "\n";
}

std::string recordLine(const Report& report) {
  Json line = Json::object();
  addReport(line, report);
  return line.dump() + "\n";
}

std::string doctorDocument(const Origin& origin, const SectionSample& sources) {
  Json document{{"schema", "tessary-doctor"}, {"version", kJsonVersion}, {"library", origin.library}};
  const TableInfo& info = sources.schema->tables[0];
  document[info.key] = tableJson(info.columns, sources.tables[0].rows);
  return document.dump(kIndent) + "\n";
}

}  // namespace tool
