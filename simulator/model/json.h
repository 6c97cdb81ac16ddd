// JSON text in which every value knows its line, and what reads records out of it: a mistake is an exception
// whose text names the file, the line and the key.
#ifndef TESSARY_SIMULATOR_MODEL_JSON_H
#define TESSARY_SIMULATOR_MODEL_JSON_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "simulator/model/signals.h"

namespace simulator {

// A piece of a file, in a message of one line: without what a terminal obeys, and not all of it.
std::string shown(const std::string& text);

// boards/mine.json:12: cores[1].capacity: must be from 1 to 1024
class BoardFileError : public std::runtime_error {
 public:
  BoardFileError(const std::string& file, int line, const std::string& key, const std::string& message)
      : std::runtime_error{file + ":" + std::to_string(line) + ": " + (key.empty() ? "" : shown(key) + ": ") +
                           shown(message)} {}
};

struct Json {
  enum class Kind { kNull, kFlag, kNumber, kText, kList, kObject };

  Kind kind = Kind::kNull;
  int line = 1;
  bool flag = false;
  double number = 0;
  std::string text;
  std::vector<Json> items;                            // of a list
  std::vector<std::pair<std::string, Json>> members;  // of an object, in the order of the text
};

Json parseJson(const std::string& text, const std::string& file, int firstLine = 1);

// What all of a file's values share.
struct JsonSource {
  std::string file;
  std::uint64_t seed = 0;
  std::shared_ptr<const Wave> noise;
};

constexpr int kNoGroup = -1;
constexpr std::int64_t kLargestNumber = 1000000000000;  // 10^12

// A value at its place in the file, of which the reader says what it must be.
class JsonValue {
 public:
  JsonValue(const JsonSource& source, const Json& json, std::string key, int number = kNoGroup)
      : source_{&source}, json_{&json}, key_{std::move(key)}, number_{number} {}

  [[noreturn]] void fail(const std::string& message) const;
  int line() const { return json_->line; }
  const std::string& key() const { return key_; }

  std::string text() const;   // with "%d" replaced by the number of the item, within a group
  std::string name() const;   // a text that is not empty
  std::string bytes() const;  // such a one with \xNN for what is no UTF-8, as tessary writes names
  bool flag() const;
  std::int64_t whole(std::int64_t least, std::int64_t most) const;
  Thousandths figure(std::int64_t least, std::int64_t most) const;
  // What was measured: any number of decimals, and in another unit by the scale.
  Thousandths rounded(std::int64_t least, std::int64_t most, double scale = 1) const;
  std::int64_t nanoseconds() const;
  Microseconds milliseconds(std::int64_t least = 0) const;
  Signal signal(std::int64_t least, std::int64_t most) const;
  bool isNull() const { return json_->kind == Json::Kind::kNull; }
  bool isList() const { return json_->kind == Json::Kind::kList; }
  bool isObject() const { return json_->kind == Json::Kind::kObject; }
  std::vector<JsonValue> items() const;
  std::vector<std::string> names() const;  // of an object's members

 private:
  friend class JsonObject;

  void expect(Json::Kind kind, const char* what) const;
  Signal seriesOf(std::int64_t least, std::int64_t most) const;

  const JsonSource* source_;
  const Json* json_;
  std::string key_;
  int number_;
};

// An object whose members are read by name. What nobody asked for is a mistake: see end().
class JsonObject {
 public:
  explicit JsonObject(const JsonValue& value, int number = kNoGroup);

  std::optional<JsonValue> find(const std::string& key);
  JsonValue need(const std::string& key);
  void end() const;

  // The value of the key where it is there; the target stays as it is where it is not.
  void read(const std::string& key, std::string& target);
  void read(const std::string& key, bool& target);
  template <typename Whole>
  void read(const std::string& key, Whole& target, std::int64_t least, std::int64_t most) {
    if (const auto value = find(key)) target = static_cast<Whole>(value->whole(least, most));
  }
  void read(const std::string& key, Signal& target, std::int64_t least = 0,
            std::int64_t most = kLargestNumber);
  void readTime(const std::string& key, Microseconds& target, std::int64_t least = 0);

  [[noreturn]] void fail(const std::string& message) const { value_.fail(message); }
  int number() const { return value_.number_; }

 private:
  JsonValue value_;
  std::vector<bool> isRead_;
};

}  // namespace simulator

#endif
