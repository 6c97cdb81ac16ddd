#include "tools/views/json.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/views/escaping.h"

namespace tool {

namespace {

using OrderedJson = nlohmann::ordered_json;

constexpr int kTimeDecimals = 3;

struct CellJson {
  const Format& format;

  OrderedJson operator()(const Absent&) const { return nullptr; }
  OrderedJson operator()(bool value) const { return value; }
  OrderedJson operator()(std::int64_t value) const { return value; }
  OrderedJson operator()(double value) const { return rounded(value, format.jsonDecimals); }
  OrderedJson operator()(const std::string& value) const { return utf8(value); }
};

void addRow(OrderedJson& object, const std::vector<ColumnInfo>& columns, const Row& row) {
  for (std::size_t position = 0; position < columns.size(); ++position) {
    if (isAbsent(row[position])) continue;
    object[columns[position].key] = std::visit(CellJson{columns[position].format}, row[position]);
  }
}

OrderedJson tableJson(const std::vector<ColumnInfo>& columns, const std::vector<Row>& rows) {
  OrderedJson table = OrderedJson::array();
  for (const Row& row : rows) {
    OrderedJson object = OrderedJson::object();
    addRow(object, columns, row);
    table.push_back(std::move(object));
  }
  return table;
}

// What a gap leaves out: *, clock_khz, cores, cores[*].clock_khz, cores[3].clock_khz
OrderedJson itemsJson(const Gap& gap, const std::vector<TableInfo>& tables) {
  OrderedJson items = OrderedJson::array();
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

OrderedJson sectionJson(const SectionSample& sample) {
  const std::vector<TableInfo>& tables = sample.schema->tables;
  OrderedJson section = OrderedJson::object();
  for (std::size_t table = 0; table < sample.tables.size(); ++table) {
    const auto& [rows, absent] = sample.tables[table];
    if (tables[table].isFields()) {
      addRow(section, tables[table].columns, rows.at(0));
    } else if (!rows.empty() || absent.empty()) {
      section[tables[table].key] = tableJson(tables[table].columns, rows);
    }
  }
  OrderedJson errors = OrderedJson::array();
  for (const Gap& gap : gaps(sample)) {
    errors.push_back({{"items", itemsJson(gap, tables)}, {"error", utf8(gap.reason)}});
  }
  if (!errors.empty()) section["errors"] = std::move(errors);
  return section;
}

void addText(OrderedJson& object, const char* key, const std::string& text) {
  if (!text.empty()) object[key] = utf8(text);
}

OrderedJson heading(const char* schema, const Origin& origin) {
  OrderedJson heading{{"schema", schema}, {"version", kJsonVersion}};
  addText(heading, "tool", origin.tool);
  addText(heading, "library", origin.library);
  addText(heading, "host", origin.host);
  addText(heading, "kernel", origin.kernel);
  OrderedJson board = OrderedJson::object();
  addText(board, "model", origin.model);
  addText(board, "platform", origin.platform);
  addText(board, "soc", origin.soc);
  if (!board.empty()) heading["board"] = std::move(board);
  return heading;
}

void addTimes(OrderedJson& object, std::int64_t bootTimeNs, const std::optional<std::int64_t>& unixTimeNs) {
  object["boot_time_ns"] = bootTimeNs;
  if (unixTimeNs) object["unix_time_ns"] = *unixTimeNs;
}

void addReport(OrderedJson& object, const Report& report) {
  addTimes(object, report.bootTimeNs, report.unixTimeNs);
  object["interval_ms"] = rounded(report.intervalMs, kTimeDecimals);
  if (report.missed != 0) object["missed"] = report.missed;
  if (report.suspendedMs != 0) object["suspended_ms"] = rounded(report.suspendedMs, kTimeDecimals);
  for (const std::string& mark : report.marks) object["marks"].push_back(utf8(mark));
  for (const SectionSample& sample : report.sections) object[sample.schema->name] = sectionJson(sample);
}

OrderedJson columnJson(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column) {
  OrderedJson json{{"section", section.name}};
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

double rounded(double value, int decimals) {
  const double scale = std::pow(10.0, decimals);
  const double scaled = std::round(value * scale) / scale;
  return std::isfinite(scaled) ? scaled : value;
}

std::string reportDocument(const Origin& origin, const Report& report) {
  OrderedJson document = heading("tessary-report", origin);
  addReport(document, report);
  return document.dump(kJsonIndent) + "\n";
}

std::string recordHeader(const Origin& origin) {
  OrderedJson header = heading("tessary-record", origin);
  addTimes(header, origin.bootTimeNs, origin.unixTimeNs);
  header["interval_ms"] = rounded(origin.intervalMs, kTimeDecimals);
  OrderedJson monitors = OrderedJson::array();
  OrderedJson columns = OrderedJson::array();
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
  OrderedJson line = OrderedJson::object();
  addReport(line, report);
  return line.dump() + "\n";
}

std::string doctorDocument(const Origin& origin, const SectionSample& sources) {
  OrderedJson document{{"schema", "tessary-doctor"}, {"version", kJsonVersion}, {"library", origin.library}};
  const TableInfo& info = sources.schema->tables[0];
  document[info.key] = tableJson(info.columns, sources.tables[0].rows);
  return document.dump(kJsonIndent) + "\n";
}

}  // namespace tool
