#include "tools/json.h"

#include <tessary/version.h>

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;  // of the format: goes up when a key changes its meaning
constexpr int kIndent = 2;

// The length of the UTF-8 sequence that the text begins with; 0 when it begins with none.
std::size_t sequence(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(0);
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (length > text.size()) return 0;
  for (std::size_t at = 1; at < length; ++at) {
    if ((byte(at) & 0xC0) != 0x80) return 0;
  }
  if (length < 3) return length;
  // Overlong forms, surrogates, and what lies beyond U+10FFFF.
  const unsigned char second = byte(1);
  const bool wrong = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                     (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
  return wrong ? 0 : length;
}

// Bytes that are no UTF-8 as \xNN, and a backslash as \x5c, so that it stands for itself alone.
std::string utf8(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = text[0] == '\\' ? 0 : sequence(text);
    if (length != 0) {
      result += text.substr(0, length);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(text[0]));
      result += escaped;
    }
    text.remove_prefix(length != 0 ? length : 1);
  }
  return result;
}

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

void addRow(Json& object, const std::vector<Column>& columns, const Row& row) {
  for (std::size_t position = 0; position < columns.size(); ++position) {
    if (row[position].index() == 0) continue;
    object[columns[position].key] = std::visit(CellJson{columns[position].format}, row[position]);
  }
}

Json tableJson(const std::vector<Column>& columns, const std::vector<Row>& rows) {
  Json table = Json::array();
  for (const Row& row : rows) {
    Json object = Json::object();
    addRow(object, columns, row);
    table.push_back(std::move(object));
  }
  return table;
}

// What a gap leaves out: *, clock_khz, cores, cores[*].clock_khz, cores[3].clock_khz
Json itemsJson(const Gap& gap, const std::vector<Block>& blocks) {
  Json items = Json::array();
  for (const Gap::Item& item : gap.items) {
    const char* const table = blocks[item.block].key;
    if (item.column == nullptr) {
      items.push_back(table != nullptr ? table : "*");
    } else if (table == nullptr) {
      items.push_back(item.column->key);
    } else if (item.rows.empty()) {
      items.push_back(std::string{table} + "[*]." + item.column->key);
    } else {
      for (const std::size_t row : item.rows) {
        items.push_back(std::string{table} + "[" + std::to_string(row) + "]." + item.column->key);
      }
    }
  }
  return items;
}

Json sectionJson(const std::vector<Block>& blocks, const Sample& sample) {
  Json section = Json::object();
  for (std::size_t block = 0; block < sample.size(); ++block) {
    const std::vector<Row>& rows = sample[block].rows;
    if (blocks[block].key == nullptr) {
      addRow(section, blocks[block].columns, rows.at(0));
    } else if (!rows.empty() || sample[block].absent.empty()) {
      section[blocks[block].key] = tableJson(blocks[block].columns, rows);
    }
  }
  Json errors = Json::array();
  for (const Gap& gap : gaps(blocks, sample)) {
    errors.push_back({{"items", itemsJson(gap, blocks)}, {"error", utf8(gap.reason)}});
  }
  if (!errors.empty()) section["errors"] = std::move(errors);
  return section;
}

Json heading(const char* schema) {
  return {{"schema", schema}, {"version", kVersion}, {"library", getLibraryVersion()}};
}

void addReport(Json& object, const Report& report) {
  object["boot_time_ns"] = report.bootTimeNs;
  object["interval_ms"] = rounded(report.intervalMs, 3);
  for (const Report::Part& part : report.parts) {
    object[part.info->name] = sectionJson(part.info->blocks, part.sample);
  }
}

}  // namespace

std::string reportDocument(const Report& report) {
  Json document = heading("tessary-report");
  addReport(document, report);
  return document.dump(kIndent) + "\n";
}

std::string recordHeader(const Selection& sections, const Plan& plan) {
  Json header = heading("tessary-record");
  header["interval_ms"] = plan.intervalMs;
  Json& monitors = header["monitors"] = Json::array();
  for (const SectionInfo* const info : sections) monitors.push_back(info->name);
  return header.dump() + "\n";
}

std::string recordLine(const Report& report) {
  Json line = Json::object();
  addReport(line, report);
  return line.dump() + "\n";
}

std::string doctorDocument(const std::vector<Block>& blocks, const Sample& sample) {
  Json document = heading("tessary-doctor");
  document[blocks[0].key] = tableJson(blocks[0].columns, sample[0].rows);
  return document.dump(kIndent) + "\n";
}

}  // namespace tool
