#include "tools/recording/line.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/recording/json_text.h"
#include "tools/views/escaping.h"

namespace tool {

namespace {

using Json = nlohmann::json;

constexpr char kNotRecorded[] = "not recorded";

const SectionSchema* sectionOf(const Schemas& known, std::string_view name) {
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
  if (open == std::string_view::npos || close == std::string_view::npos || close < open)
    return {{}, {}, text};
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

// A sample's line, key by key.
class SampleReader {
 public:
  SampleReader(std::string_view line, const Schemas& known) : text_{line}, known_{known} {}

  Report report;
  bool isHeader = false;

  bool read() {
    return text_.object([this](std::string_view key) { return member(key); }) && text_.end();
  }

  // After read(): it has what every sample has.
  bool isTimed() const { return timed_; }

  std::size_t at() const { return text_.at(); }

 private:
  bool member(std::string_view key) {
    isHeader = isHeader || key == "schema";
    if (isHeader) return false;
    const SectionSchema* const schema = sectionOf(known_, key);
    if (schema != nullptr && text_.next() == '{') return section(*schema);
    if (key == "marks" && text_.next() == '[') return text_.array([this] { return mark(); });
    if (isCompound() || schema != nullptr) return text_.skip();
    const std::string name{key};  // reading on overwrites the key
    Value value;
    if (!text_.scalar(value)) return false;
    if (const auto* const integer = std::get_if<std::int64_t>(&value)) setInteger(name, *integer);
    if (const auto* const real = std::get_if<double>(&value)) setReal(name, *real);
    return true;
  }

  bool mark() {
    if (text_.next() != '"') return text_.skip();
    std::string_view text;
    if (!text_.string(text)) return false;
    report.marks.push_back(bytesOf(text));
    return true;
  }

  bool isCompound() {
    const char first = text_.next();
    return first == '{' || first == '[';
  }

  void setInteger(std::string_view key, std::int64_t value) {
    timed_ = timed_ || key == "boot_time_ns";
    if (key == "boot_time_ns") report.bootTimeNs = value;
    if (key == "unix_time_ns") report.unixTimeNs = value;
    if (key == "missed") report.missed = value;
    setReal(key, static_cast<double>(value));
  }

  void setReal(std::string_view key, double value) {
    if (key == "interval_ms") report.intervalMs = value;
    if (key == "suspended_ms") report.suspendedMs = value;
  }

  bool section(const SectionSchema& schema) {
    SectionSample& sample = report.sections.emplace_back(SectionSample{&schema, {}});
    for (const TableInfo& info : schema.tables) {
      TableSample& table = sample.tables.emplace_back();
      if (info.isFields()) table.rows.push_back(notRecorded(info));
    }
    errors_.clear();
    if (!text_.object([&](std::string_view key) { return sectionMember(sample, key); })) return false;
    // Not before: the errors may stand in front of the rows that they are about.
    for (const auto& [item, error] : errors_) Reasons{sample, error}.apply(item);
    return true;
  }

  bool sectionMember(SectionSample& sample, std::string_view key) {
    if (text_.next() == '[') {
      if (key == "errors") return text_.array([this] { return error(); });
      for (std::size_t table = 0; table < sample.tables.size(); ++table) {
        const TableInfo& info = sample.schema->tables[table];
        if (!info.isFields() && key == info.key) return rows(info, sample.tables[table].rows);
      }
    }
    for (std::size_t table = 0; table < sample.tables.size(); ++table) {
      const TableInfo& info = sample.schema->tables[table];
      if (info.isFields() && columnOf(info, key, 0)) return cell(info, sample.tables[table].rows[0], key, 0);
    }
    return text_.skip();
  }

  bool rows(const TableInfo& info, std::vector<Row>& all) {
    return text_.array([&] {
      if (text_.next() != '{') return text_.skip();
      Row& row = all.emplace_back(notRecorded(info));
      std::size_t expected = 0;
      return text_.object([&](std::string_view key) { return cell(info, row, key, expected++); });
    });
  }

  // `expected` is the column whose key this should be: they are written in the order of the columns.
  bool cell(const TableInfo& info, Row& row, std::string_view key, std::size_t expected) {
    const std::optional<std::size_t> column = columnOf(info, key, expected);
    if (!column || isCompound() || text_.next() == 'n') return text_.skip();
    return text_.scalar(row[*column]) && decode(row[*column]);
  }

  static bool decode(Value& value) {
    auto* const text = std::get_if<std::string>(&value);
    if (text != nullptr && text->find('\\') != std::string::npos) *text = bytesOf(*text);
    return true;
  }

  bool error() {
    if (text_.next() != '{') return text_.skip();
    const std::size_t first = errors_.size();
    std::string reason;
    const bool read = text_.object([&](std::string_view key) {
      if (key == "items" && text_.next() == '[') return text_.array([this] { return errorItem(); });
      if (key != "error" || text_.next() != '"') return text_.skip();
      std::string_view text;
      if (!text_.string(text)) return false;
      reason = bytesOf(text);
      return true;
    });
    for (std::size_t at = first; at < errors_.size(); ++at) errors_[at].second = reason;
    return read;
  }

  bool errorItem() {
    if (text_.next() != '"') return text_.skip();
    std::string_view item;
    if (!text_.string(item)) return false;
    errors_.emplace_back(std::string{item}, std::string{});
    return true;
  }

  JsonText text_;
  const Schemas& known_;
  bool timed_ = false;
  std::vector<std::pair<std::string, std::string>> errors_;  // of the section: item and reason
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
    const SectionSchema* const section =
        name.is_string() ? sectionOf(known, name.get_ref<const std::string&>()) : nullptr;
    if (section != nullptr) origin.sections.push_back(section);
  }
  return origin;
}

}  // namespace

std::variant<BadLine, Origin, Report> parseLine(std::string_view line, const Schemas& known) {
  SampleReader reader{line, known};
  const bool read = reader.read();
  if (reader.isHeader) return parseHeader(line, known);
  if (!read) return BadLine{"no JSON from byte " + std::to_string(reader.at() + 1) + " on"};
  if (!reader.isTimed()) return BadLine{"without a boot_time_ns"};
  return std::move(reader.report);
}

}  // namespace tool
