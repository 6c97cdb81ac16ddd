#include "tools/recording/line.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/views/escaping.h"

namespace tool {

namespace {

using Json = nlohmann::json;

constexpr char kNotRecorded[] = "not recorded";

const SectionSchema* sectionOf(const Schemas& known, const std::string& name) {
  const auto found = std::find_if(known.begin(), known.end(),
                                  [&](const SectionSchema* schema) { return name == schema->name; });
  return found != known.end() ? *found : nullptr;
}

Row notRecorded(const TableInfo& table) { return Row(table.columns.size(), Value{Absent{kNotRecorded}}); }

// The column of the key, looked for from `next` on: keys are written in the order of the columns.
std::optional<std::size_t> columnOf(const TableInfo& table, std::string_view key, std::size_t next) {
  const std::size_t count = table.columns.size();
  for (std::size_t tried = 0; tried < count; ++tried) {
    const std::size_t at = (next + tried) % count;
    if (key == table.columns[at].key) return at;
  }
  return std::nullopt;
}

// What the errors of a section leave out: *, clock_khz, cores, cores[*].clock_khz, cores[3].clock_khz
struct ErrorItem {
  std::string_view table;
  std::string_view rows;
  std::string_view column;
};

ErrorItem parseItem(std::string_view text) {
  const std::size_t open = text.find('[');
  const std::size_t close = text.find("].");
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return {{}, {}, text};
  return {text.substr(0, open), text.substr(open + 1, close - open - 1), text.substr(close + 2)};
}

bool isUnexplained(const Value& value) {
  const auto* const absent = std::get_if<Absent>(&value);
  return absent != nullptr && absent->reason == kNotRecorded;
}

void explain(Row& row, std::size_t column, const std::string& reason) {
  if (isAbsent(row[column])) row[column] = Absent{reason};
}

// Gives a section's absent figures their reasons.
class Reasons {
 public:
  Reasons(SectionSample& sample, const std::string& reason) : sample_{sample}, reason_{reason} {}

  void apply(std::string_view text) {
    const ErrorItem item = parseItem(text);
    for (std::size_t at = 0; at < sample_.tables.size(); ++at) {
      const TableInfo& info = sample_.schema->tables[at];
      TableSample& table = sample_.tables[at];
      if (info.isFields()) {
        if (item.table.empty()) toFields(info, table, item.column);
      } else if (item.table == info.key) {
        toRows(info, table.rows, item);
      } else if (item.table.empty() && item.column == info.key) {
        table.absent = reason_;
      }
    }
  }

 private:
  // All fields are absent, or, where some are there, what they are made of is.
  void toFields(const TableInfo& info, TableSample& table, std::string_view key) {
    Row& row = table.rows[0];
    if (key != "*") {
      if (const auto column = columnOf(info, key, 0)) explain(row, *column, reason_);
    } else if (std::all_of(row.begin(), row.end(), isUnexplained)) {
      for (Value& value : row) value = Absent{reason_};
    } else {
      table.absent = reason_;
    }
  }

  void toRows(const TableInfo& info, std::vector<Row>& rows, const ErrorItem& item) {
    const auto column = columnOf(info, item.column, 0);
    if (!column) return;
    if (item.rows == "*") {
      for (Row& row : rows) explain(row, *column, reason_);
      return;
    }
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(item.rows.data(), item.rows.data() + item.rows.size(), number);
    if (error == std::errc{} && number < rows.size()) explain(rows[number], *column, reason_);
  }

  SectionSample& sample_;
  const std::string& reason_;
};

// Takes a sample apart as the parser goes along it, so that nothing is built but the report.
class SampleHandler : public nlohmann::json_sax<Json> {
 public:
  explicit SampleHandler(const Schemas& known) : known_{known} {}

  Report report;
  bool isHeader = false;
  bool timed = false;  // it has what every sample has
  std::string reason;  // why it could not be read

  bool null() override { return true; }
  bool boolean(bool value) override { return put(value); }
  bool number_integer(Json::number_integer_t value) override { return integer(value); }
  bool number_unsigned(Json::number_unsigned_t value) override {
    // What is beyond the signed range no tool has written as an integer.
    if (value > static_cast<std::uint64_t>(INT64_MAX)) return put(static_cast<double>(value));
    return integer(static_cast<std::int64_t>(value));
  }
  bool number_float(double value, const std::string&) override {
    if (atTop("interval_ms")) report.intervalMs = value;
    if (atTop("suspended_ms")) report.suspendedMs = value;
    return put(value);
  }
  bool binary(Json::binary_t&) override { return true; }

  bool string(std::string& value) override {
    if (skipped_ > 0) {
      // of no interest
    } else if (place_ == kItems) {
      items_.push_back(value);
    } else if (place_ == kMarks) {
      report.marks.push_back(bytesOf(value));
    } else if (place_ == kError && key_ == "error") {
      error_ = bytesOf(value);
    } else {
      put(value.find('\\') == std::string::npos ? std::move(value) : bytesOf(value));
    }
    return true;
  }

  bool key(std::string& name) override {
    key_ = name;
    isHeader = isHeader || atTop("schema");
    return !isHeader;
  }

  bool start_object(std::size_t) override {
    if (skipped_ > 0) return skip();
    switch (place_) {
      case kNowhere: return enter(kTop);
      case kTop: return beginSection();
      case kTable: return beginRow();
      case kErrors: return enter(kError);
      default: return skip();
    }
  }

  bool start_array(std::size_t) override {
    if (skipped_ > 0) return skip();
    if (place_ == kSection && key_ == "errors") return enter(kErrors);
    if (place_ == kSection) return beginTable();
    if (place_ == kError && key_ == "items") return enter(kItems);
    if (atTop("marks")) return enter(kMarks);
    return place_ != kNowhere && skip();
  }

  bool end_object() override { return leave(); }
  bool end_array() override { return leave(); }

  bool parse_error(std::size_t position, const std::string&, const Json::exception&) override {
    reason = "no JSON from byte " + std::to_string(position) + " on";
    return false;
  }

 private:
  enum Place { kNowhere, kTop, kSection, kTable, kRow, kErrors, kError, kItems, kMarks };

  bool atTop(const char* key) const { return place_ == kTop && skipped_ == 0 && key_ == key; }

  bool enter(Place place) {
    place_ = place;
    return true;
  }

  bool skip() {
    ++skipped_;
    return true;
  }

  bool leave() {
    if (skipped_ > 0) {
      --skipped_;
      return true;
    }
    switch (place_) {
      case kRow: return enter(kTable);
      case kItems: return enter(kError);
      case kMarks: return enter(kTop);
      case kError: return endError();
      case kSection: return endSection();
      case kTable:
      case kErrors: return enter(kSection);
      default: return enter(kNowhere);
    }
  }

  bool beginSection() {
    const SectionSchema* const schema = sectionOf(known_, key_);
    if (schema == nullptr) return skip();
    SectionSample& section = report.sections.emplace_back(SectionSample{schema, {}});
    for (const TableInfo& info : schema->tables) {
      TableSample& table = section.tables.emplace_back();
      if (info.isFields()) table.rows.push_back(notRecorded(info));
    }
    return enter(kSection);
  }

  bool beginTable() {
    const std::vector<TableInfo>& tables = report.sections.back().schema->tables;
    const auto found = std::find_if(tables.begin(), tables.end(), [&](const TableInfo& table) {
      return !table.isFields() && key_ == table.key;
    });
    if (found == tables.end()) return skip();
    table_ = static_cast<std::size_t>(found - tables.begin());
    return enter(kTable);
  }

  bool beginRow() {
    SectionSample& section = report.sections.back();
    section.tables[table_].rows.push_back(notRecorded(section.schema->tables[table_]));
    next_ = 0;
    return enter(kRow);
  }

  bool integer(std::int64_t value) {
    timed = timed || atTop("boot_time_ns");
    if (atTop("boot_time_ns")) report.bootTimeNs = value;
    if (atTop("unix_time_ns")) report.unixTimeNs = value;
    if (atTop("interval_ms")) report.intervalMs = static_cast<double>(value);
    if (atTop("missed")) report.missed = value;
    return put(value);
  }

  bool put(Value value) {
    if (skipped_ > 0) return true;
    if (place_ == kRow) {
      putInto(table_, report.sections.back().tables[table_].rows.back(), std::move(value));
    } else if (place_ == kSection) {
      const std::vector<TableInfo>& tables = report.sections.back().schema->tables;
      for (std::size_t table = 0; table < tables.size(); ++table) {
        if (tables[table].isFields()) putInto(table, report.sections.back().tables[table].rows[0], value);
      }
    }
    return true;
  }

  void putInto(std::size_t table, Row& row, Value value) {
    const auto column = columnOf(report.sections.back().schema->tables[table], key_, next_);
    if (!column) return;
    row[*column] = std::move(value);
    next_ = *column + 1;
  }

  bool endError() {
    for (std::string& item : items_) errors_.push_back({std::move(item), error_});
    items_.clear();
    error_.clear();
    return enter(kErrors);
  }

  // Not before: the errors may stand in front of the rows that they are about.
  bool endSection() {
    for (const auto& [item, error] : errors_) Reasons{report.sections.back(), error}.apply(item);
    errors_.clear();
    return enter(kTop);
  }

  const Schemas& known_;
  Place place_ = kNowhere;
  int skipped_ = 0;  // objects and arrays of no interest that are open
  std::string key_;
  std::size_t table_ = 0;
  std::size_t next_ = 0;  // the column whose key is expected
  std::vector<std::string> items_;
  std::string error_;
  std::vector<std::pair<std::string, std::string>> errors_;
};

std::string textOf(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_string() ? bytesOf(found->get_ref<const std::string&>()) : "";
}

std::optional<std::int64_t> integerOf(const Json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_number_integer()) return std::nullopt;
  return found->get<std::int64_t>();
}

double numberOf(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_number() ? found->get<double>() : 0;
}

std::variant<BadLine, Origin, Report> parseHeader(std::string_view line, const Schemas& known) {
  const Json header = Json::parse(line, nullptr, false);
  if (header.is_discarded()) return BadLine{"a header that is cut"};
  if (textOf(header, "schema") != "tessary-record") return BadLine{"no header of a recording"};
  Origin origin;
  origin.version = static_cast<int>(integerOf(header, "version").value_or(0));
  origin.host = textOf(header, "host");
  origin.kernel = textOf(header, "kernel");
  origin.tool = textOf(header, "tool");
  origin.library = textOf(header, "library");
  const Json board = header.value("board", Json::object());
  origin.model = textOf(board, "model");
  origin.platform = textOf(board, "platform");
  origin.soc = textOf(board, "soc");
  origin.bootTimeNs = integerOf(header, "boot_time_ns").value_or(0);
  origin.unixTimeNs = integerOf(header, "unix_time_ns");
  origin.intervalMs = numberOf(header, "interval_ms");
  for (const Json& name : header.value("monitors", Json::array())) {
    const SectionSchema* const section = name.is_string() ? sectionOf(known, name) : nullptr;
    if (section != nullptr) origin.sections.push_back(section);
  }
  return origin;
}

}  // namespace

std::variant<BadLine, Origin, Report> parseLine(std::string_view line, const Schemas& known) {
  SampleHandler handler{known};
  const bool parsed = Json::sax_parse(line.begin(), line.end(), &handler);
  if (handler.isHeader) return parseHeader(line, known);
  if (!parsed) return BadLine{handler.reason.empty() ? "no object" : handler.reason};
  if (!handler.timed) return BadLine{"without a boot_time_ns"};
  return std::move(handler.report);
}

}  // namespace tool
