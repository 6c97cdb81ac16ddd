#include "simulator/model/json.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace simulator {

namespace {

// Characters of the text, with the line on which the last one that was taken stands. The line end belongs to
// the line that it ends: the parser looks one character beyond a number.
struct Cursor {
  const char* at;
  const char* end;
  int line = 1;
  bool isAtLineEnd = false;

  void advance() {
    if (isAtLineEnd) ++line;
    isAtLineEnd = *at == '\n';
    ++at;
  }
};

class Characters {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  explicit Characters(Cursor* cursor) : cursor_{cursor} {}
  reference operator*() const { return *cursor_->at; }
  Characters& operator++() {
    cursor_->advance();
    return *this;
  }
  bool operator==(const Characters& other) const { return isAtEnd() == other.isAtEnd(); }
  bool operator!=(const Characters& other) const { return !(*this == other); }

 private:
  bool isAtEnd() const { return cursor_ == nullptr || cursor_->at == cursor_->end; }

  Cursor* cursor_;
};

// Builds the tree from the parser's events.
class Builder final : public nlohmann::json::json_sax_t {
 public:
  Builder(const std::string& file, const Cursor& cursor) : file_{file}, cursor_{cursor} {}

  Json take() { return std::move(root_); }

  bool null() override { return put(Json::Kind::kNull) != nullptr; }
  bool boolean(bool flag) override {
    put(Json::Kind::kFlag)->flag = flag;
    return true;
  }
  bool number_integer(number_integer_t number) override { return putNumber(static_cast<double>(number)); }
  bool number_unsigned(number_unsigned_t number) override { return putNumber(static_cast<double>(number)); }
  bool number_float(number_float_t number, const string_t&) override { return putNumber(number); }
  bool string(string_t& text) override {
    put(Json::Kind::kText)->text = std::move(text);
    return true;
  }
  bool binary(binary_t&) override { return false; }
  bool start_object(std::size_t) override { return open(Json::Kind::kObject); }
  bool start_array(std::size_t) override { return open(Json::Kind::kList); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool key(string_t& name) override {
    auto& members = open_.back()->members;
    const bool isThere =
        std::any_of(members.begin(), members.end(), [&](const auto& member) { return member.first == name; });
    if (isThere) throw BoardFileError{file_, cursor_.line, name, "is there twice"};
    key_ = name;
    keyLine_ = cursor_.line;
    return true;
  }
  bool parse_error(std::size_t, const std::string& token, const nlohmann::json::exception&) override {
    throw BoardFileError{file_, cursor_.line, key_, "not JSON at '" + token + "'"};
  }

 private:
  Json* put(Json::Kind kind) {
    Json value;
    value.kind = kind;
    value.line = cursor_.line;
    if (open_.empty()) {
      root_ = std::move(value);
      return &root_;
    }
    Json& parent = *open_.back();
    if (parent.kind == Json::Kind::kList) return &parent.items.emplace_back(std::move(value));
    value.line = keyLine_;
    return &parent.members.emplace_back(key_, std::move(value)).second;
  }
  bool putNumber(double number) {
    put(Json::Kind::kNumber)->number = number;
    return true;
  }
  bool open(Json::Kind kind) {
    constexpr std::size_t kDeepest = 64;
    if (open_.size() == kDeepest) throw BoardFileError{file_, cursor_.line, key_, "is nested too deeply"};
    open_.push_back(put(kind));
    return true;
  }
  bool close() {
    open_.pop_back();
    return true;
  }

  const std::string& file_;
  const Cursor& cursor_;
  Json root_;
  std::vector<Json*> open_;  // a list or an object does not grow while one in it is open
  std::string key_;
  int keyLine_ = 1;
};

std::string rangeText(std::int64_t least, std::int64_t most) {
  return "must be from " + std::to_string(least) + " to " + std::to_string(most);
}

}  // namespace

std::string shown(const std::string& text) {
  constexpr std::size_t kLongest = 200;
  std::string line;
  for (const char character : text.substr(0, kLongest)) {
    const auto byte = static_cast<unsigned char>(character);
    const bool isControl = byte < ' ' || byte == 0x7f;
    line += isControl ? '?' : character;
  }
  return text.size() > kLongest ? line + ".." : line;
}

Json parseJson(const std::string& text, const std::string& file, int firstLine) {
  Cursor cursor{text.data(), text.data() + text.size(), firstLine};
  Builder builder{file, cursor};
  nlohmann::json::sax_parse(Characters{&cursor}, Characters{nullptr}, &builder);
  return builder.take();
}

void JsonValue::fail(const std::string& message) const {
  throw BoardFileError{source_->file, json_->line, key_, message};
}

void JsonValue::expect(Json::Kind kind, const char* what) const {
  if (json_->kind != kind) fail(std::string{"must be "} + what);
}

std::string JsonValue::text() const {
  expect(Json::Kind::kText, "a text");
  std::string text = json_->text;
  const std::size_t place = number_ != kNoGroup ? text.find("%d") : std::string::npos;
  return place == std::string::npos ? text : text.replace(place, 2, std::to_string(number_));
}

std::string JsonValue::name() const {
  std::string name = text();
  if (name.empty()) fail("is empty");
  return name;
}

std::string JsonValue::bytes() const {
  constexpr std::size_t kEscape = 4;
  expect(Json::Kind::kText, "a text");
  const std::string& text = json_->text;
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    unsigned byte = 0;
    const char* const digits = text.data() + at + 2;
    const bool isEscape = text.size() - at >= kEscape && text.compare(at, 2, "\\x") == 0 &&
                          std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
    bytes += isEscape ? static_cast<char>(byte) : text[at];
    if (isEscape) at += kEscape - 1;
  }
  return bytes;
}

bool JsonValue::flag() const {
  expect(Json::Kind::kFlag, "true or false");
  return json_->flag;
}

std::int64_t JsonValue::whole(std::int64_t least, std::int64_t most) const {
  const Thousandths figure = this->figure(least, most);
  if (figure % kOne != 0) fail("must be a whole number");
  return figure / kOne;
}

Thousandths JsonValue::figure(std::int64_t least, std::int64_t most) const {
  expect(Json::Kind::kNumber, "a number");
  const double number = json_->number;
  if (!(number >= static_cast<double>(least) && number <= static_cast<double>(most)))
    fail(rangeText(least, most));
  const double thousandths = number * kOne;
  // A decimal text is off by no more than this in binary.
  const double inexact = 4 * std::numeric_limits<double>::epsilon() * std::abs(thousandths);
  if (std::abs(thousandths - std::round(thousandths)) > inexact) fail("has more than three decimals");
  return std::llround(thousandths);
}

Thousandths JsonValue::rounded(std::int64_t least, std::int64_t most, double scale) const {
  expect(Json::Kind::kNumber, "a number");
  const double number = json_->number * scale;
  if (!(number >= static_cast<double>(least) && number <= static_cast<double>(most)))
    fail(rangeText(least, most));
  return std::llround(number * kOne);
}

// Beyond 2^53, after a hundred days, the last digits are lost: they are below a microsecond.
std::int64_t JsonValue::nanoseconds() const {
  constexpr double kLatest = 4e18;
  expect(Json::Kind::kNumber, "a number");
  if (!(json_->number >= 0 && json_->number <= kLatest)) fail("is no time");
  return std::llround(json_->number);
}

Microseconds JsonValue::milliseconds(std::int64_t least) const {
  constexpr std::int64_t kLongest = std::int64_t{24} * 3600 * 1000;  // a day
  return figure(least, kLongest);                                    // a thousandth of a millisecond
}

// 37.5
// {"square": [10, 90], "period_ms": 2000, "first_ms": 500, "phase_ms": 0}
// {"ramp": [20, 80], "over_ms": 60000, "repeats": false}
// {"sine": [20, 80], "period_ms": 64000, "phase_ms": 0}
// {"noise": [20, 80], "every_ms": 500}
// {"series": [[0, 12.5], [1000, 13], [2000, null]]}
Signal JsonValue::signal(std::int64_t least, std::int64_t most) const {
  if (json_->kind == Json::Kind::kNumber) return Signal{figure(least, most)};
  if (json_->kind != Json::Kind::kObject) fail("must be a number or a signal");
  JsonObject object{*this, number_};
  const auto range = [&](const JsonValue& value) -> Signal::Range {
    const std::vector<JsonValue> ends = value.items();
    if (ends.size() != 2) value.fail("must be a list of two numbers");
    return {ends[0].figure(least, most), ends[1].figure(least, most)};
  };
  const auto shifted = [&](const Signal& signal) {
    Microseconds phase = 0;
    object.readTime("phase_ms", phase);
    return signal.shifted(phase);
  };
  Signal signal;
  if (const auto series = object.find("series")) {
    signal = series->seriesOf(least, most);
  } else if (const auto square = object.find("square")) {
    const Microseconds period = object.need("period_ms").milliseconds(1);
    Microseconds firstFor = period / 2;
    object.readTime("first_ms", firstFor);
    if (firstFor > period) object.fail("first_ms is longer than period_ms");
    const Signal::Range ends = range(*square);
    signal = shifted(Signal::square(ends, period, firstFor));
  } else if (const auto ramp = object.find("ramp")) {
    bool repeats = false;
    object.read("repeats", repeats);
    signal = Signal::ramp(range(*ramp), object.need("over_ms").milliseconds(1), repeats);
  } else if (const auto sine = object.find("sine")) {
    signal = shifted(Signal::sine(range(*sine), object.need("period_ms").milliseconds(1)));
  } else if (const auto noise = object.find("noise")) {
    const std::uint64_t place = mixed(source_->seed, key_ + "#" + std::to_string(number_));
    signal = Signal::noise(range(*noise), object.need("every_ms").milliseconds(1), source_->noise, place);
  } else {
    fail("must be a number or a signal: square, ramp, sine, noise or series");
  }
  object.end();
  return signal;
}

// [[0, 12.5], [1000, 13], [2000, null]]: milliseconds and values
Signal JsonValue::seriesOf(std::int64_t least, std::int64_t most) const {
  std::vector<Series::Point> points;
  for (const JsonValue& item : items()) {
    const std::vector<JsonValue> pair = item.items();
    if (pair.size() != 2) item.fail("must be a list of a time and a value");
    const Microseconds time = pair[0].milliseconds();
    if (!points.empty() && time <= points.back().time) item.fail("is not after the one before it");
    points.push_back({time, std::nullopt});
    if (!pair[1].isNull()) points.back().value = pair[1].figure(least, most);
  }
  return Signal::series(std::make_shared<const Series>(std::move(points)));
}

std::vector<JsonValue> JsonValue::items() const {
  expect(Json::Kind::kList, "a list");
  std::vector<JsonValue> items;
  for (const Json& item : json_->items)
    items.emplace_back(*source_, item, key_ + "[" + std::to_string(items.size()) + "]", number_);
  return items;
}

std::vector<std::string> JsonValue::names() const {
  expect(Json::Kind::kObject, "an object");
  std::vector<std::string> names;
  for (const auto& [name, value] : json_->members) names.push_back(name);
  return names;
}

JsonObject::JsonObject(const JsonValue& value, int number) : value_{value} {
  value_.expect(Json::Kind::kObject, "an object");
  value_.number_ = number;
  isRead_.resize(value_.json_->members.size());
}

std::optional<JsonValue> JsonObject::find(const std::string& key) {
  const auto& members = value_.json_->members;
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (members[i].first != key) continue;
    isRead_[i] = true;
    return JsonValue{*value_.source_, members[i].second, value_.key_.empty() ? key : value_.key_ + "." + key,
                     value_.number_};
  }
  return std::nullopt;
}

JsonValue JsonObject::need(const std::string& key) {
  const auto value = find(key);
  if (!value) value_.fail("has no \"" + key + "\"");
  return *value;
}

void JsonObject::end() const {
  for (std::size_t i = 0; i < isRead_.size(); ++i) {
    if (isRead_[i]) continue;
    const auto& [name, json] = value_.json_->members[i];
    JsonValue{*value_.source_, json, value_.key_.empty() ? name : value_.key_ + "." + name}.fail(
        "is not known here");
  }
}

void JsonObject::read(const std::string& key, std::string& target) {
  if (const auto value = find(key)) target = value->text();
}

void JsonObject::read(const std::string& key, bool& target) {
  if (const auto value = find(key)) target = value->flag();
}

void JsonObject::read(const std::string& key, Signal& target, std::int64_t least, std::int64_t most) {
  if (const auto value = find(key)) target = value->signal(least, most);
}

void JsonObject::readTime(const std::string& key, Microseconds& target, std::int64_t least) {
  if (const auto value = find(key)) target = value->milliseconds(least);
}

}  // namespace simulator
