#include "tools/verdict/budgets.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/output.h"

namespace tool {

namespace {

using Json = nlohmann::json;

constexpr const char* kStatistics[] = {"mean", "p50", "p95", "p99", "min", "max"};
constexpr char kKnownKeys[] = "mean, p50, p95, p99, min, max, over, present";

// A value of the file and where it stands.
struct Entry {
  enum Kind { kObject, kNumber, kOther } kind = kOther;
  std::string key;
  int line = 0;
  double number = 0;
  std::vector<Entry> members;
};

// Characters that count the lines as the parser takes them.
class Characters {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  Characters(const char* at, int* lines) : at_{at}, lines_{lines} {}

  const char& operator*() const { return *at_; }
  Characters& operator++() {
    *lines_ += *at_ == '\n';
    ++at_;
    return *this;
  }
  Characters operator++(int) {
    Characters before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const Characters& left, const Characters& right) { return left.at_ == right.at_; }
  friend bool operator!=(const Characters& left, const Characters& right) { return left.at_ != right.at_; }

 private:
  const char* at_;
  int* lines_;
};

class TreeHandler : public nlohmann::json_sax<Json> {
 public:
  explicit TreeHandler(const int* line) : line_{line} {}

  Entry root;
  std::string mistake;

  bool null() override { return put({}); }
  bool boolean(bool) override { return put({}); }
  bool string(std::string&) override { return put({}); }
  bool binary(Json::binary_t&) override { return put({}); }
  bool number_integer(Json::number_integer_t value) override { return number(static_cast<double>(value)); }
  bool number_unsigned(Json::number_unsigned_t value) override { return number(static_cast<double>(value)); }
  bool number_float(double value, const std::string&) override { return number(value); }

  bool key(std::string& name) override {
    key_ = name;
    keyLine_ = *line_;
    return true;
  }

  bool start_object(std::size_t) override { return open(Entry::kObject); }
  bool start_array(std::size_t) override { return open(Entry::kOther); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool parse_error(std::size_t, const std::string& token, const Json::exception&) override {
    mistake = "no JSON at '" + token + "'";
    return false;
  }

 private:
  bool number(double value) {
    Entry entry;
    entry.kind = Entry::kNumber;
    entry.number = value;
    return put(std::move(entry));
  }

  Entry& add(Entry entry) {
    entry.key = key_;
    entry.line = keyLine_;
    if (open_.empty()) return root = std::move(entry);
    return open_.back()->members.emplace_back(std::move(entry));
  }

  bool put(Entry entry) {
    add(std::move(entry));
    return true;
  }

  // The members of an entry are complete when the next one beside it begins: pointers to open ones stay.
  bool open(Entry::Kind kind) {
    Entry entry;
    entry.kind = kind;
    open_.push_back(&add(std::move(entry)));
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  const int* line_;
  std::string key_;
  int keyLine_ = 1;
  std::vector<Entry*> open_;
};

class Reader {
 public:
  explicit Reader(const std::string& name) : name_{name} {}

  std::vector<Budget> read(const Entry& root) {
    needObject(root, "the file");
    for (const Entry& figure : root.members) {
      if (figure.key != "$schema") readFigure(figure);
    }
    if (budgets_.empty()) fail(root.line, "the file", "has no budget");
    return std::move(budgets_);
  }

  [[noreturn]] void fail(int line, const std::string& key, const std::string& what) const {
    throw Failure{name_ + ":" + std::to_string(line) + ": " + key + ": " + what};
  }

 private:
  void readFigure(const Entry& figure) {
    const std::optional<Selector> selector = parseSelector(figure.key);
    if (!selector) fail(figure.line, figure.key, "is no name of a figure");
    needObject(figure, figure.key);
    Budget budget;
    budget.selector = *selector;
    const std::size_t first = budgets_.size();
    for (const Entry& entry : figure.members) {
      budget.line = entry.line;
      const std::string path = figure.key + "." + entry.key;
      const auto* const statistic = std::find_if(std::begin(kStatistics), std::end(kStatistics),
                                                 [&](const char* known) { return entry.key == known; });
      if (entry.key == "present") {
        budget.present = share(entry, path);
      } else if (entry.key == "over") {
        readOver(entry, path, budget);
      } else if (statistic != std::end(kStatistics)) {
        budget.statistic = static_cast<Statistic>(statistic - std::begin(kStatistics));
        readBounds(entry, path, budget);
      } else {
        fail(entry.line, path, std::string{"is not known here: "} + kKnownKeys);
      }
    }
    if (budgets_.size() == first) fail(figure.line, figure.key, "has no limit");
    // Wherever it stands among them, it is for all limits of the figure.
    for (std::size_t at = first; at < budgets_.size(); ++at) budgets_[at].present = budget.present;
  }

  void readBounds(const Entry& entry, const std::string& path, Budget budget) {
    needObject(entry, path);
    if (entry.members.empty()) fail(entry.line, path, "has neither max nor min");
    for (const Entry& bound : entry.members) {
      const std::string place = path + "." + bound.key;
      if (bound.key != "max" && bound.key != "min") fail(bound.line, place, "is not known here: max, min");
      budget.bound = bound.key == "max" ? kAtMost : kAtLeast;
      budget.limit = number(bound, place);
      budget.line = bound.line;
      budgets_.push_back(budget);
    }
  }

  void readOver(const Entry& entry, const std::string& path, Budget budget) {
    needObject(entry, path);
    bool hasLimit = false;
    bool hasSeconds = false;
    for (const Entry& part : entry.members) {
      const std::string place = path + "." + part.key;
      if (part.key == "limit") {
        budget.limit = number(part, place);
        hasLimit = true;
      } else if (part.key == "seconds") {
        budget.seconds = number(part, place);
        hasSeconds = true;
      } else {
        fail(part.line, place, "is not known here: limit, seconds");
      }
    }
    if (!hasLimit || !hasSeconds) fail(entry.line, path, "needs limit and seconds");
    if (budget.seconds < 0) fail(entry.line, path + ".seconds", "is below 0");
    budget.statistic = kOver;
    budgets_.push_back(budget);
  }

  double share(const Entry& entry, const std::string& path) const {
    const double percent = number(entry, path);
    if (percent <= 0 || percent > 100) fail(entry.line, path, "is no percentage above 0");
    return percent / 100;
  }

  double number(const Entry& entry, const std::string& path) const {
    if (entry.kind != Entry::kNumber) fail(entry.line, path, "is no number");
    return entry.number;
  }

  void needObject(const Entry& entry, const std::string& path) const {
    if (entry.kind != Entry::kObject) fail(entry.line, path, "is no object");
    for (std::size_t at = 0; at < entry.members.size(); ++at) {
      const Entry& member = entry.members[at];
      const bool isTwice =
          std::any_of(entry.members.begin(), entry.members.begin() + static_cast<std::ptrdiff_t>(at),
                      [&](const Entry& before) { return before.key == member.key; });
      if (isTwice) fail(member.line, path + "." + member.key, "is there twice");
    }
  }

  std::string name_;
  std::vector<Budget> budgets_;
};

std::string plainNumber(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

}  // namespace

const char* statisticName(Statistic statistic) {
  return statistic == kOver ? "over" : kStatistics[statistic];
}

std::string ruleText(const Budget& budget) {
  if (budget.statistic == kOver) {
    return "at most " + plainNumber(budget.seconds) + " s above " + plainNumber(budget.limit);
  }
  return std::string{statisticName(budget.statistic)} + (budget.bound == kAtMost ? " <= " : " >= ") +
         plainNumber(budget.limit);
}

std::vector<Budget> parseBudgets(std::string_view text, const std::string& name) {
  int line = 1;
  TreeHandler handler{&line};
  Reader reader{name};
  const bool parsed =
      Json::sax_parse(Characters{text.data(), &line}, Characters{text.data() + text.size(), &line}, &handler);
  if (!parsed) reader.fail(line, handler.root.key.empty() ? "the file" : handler.root.key, handler.mistake);
  return reader.read(handler.root);
}

std::vector<Budget> readBudgets(const std::string& path) {
  std::ifstream file{path};
  std::ostringstream text;
  if (!file || !(text << file.rdbuf())) throw Failure{path + ": " + std::strerror(errno)};
  return parseBudgets(text.str(), path);
}

}  // namespace tool
