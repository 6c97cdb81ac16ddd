// Outcomes as texts, and how one may differ from another.
#ifndef TESSARY_TESTS_PROOF_OUTCOMES_H
#define TESSARY_TESTS_PROOF_OUTCOMES_H

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace proof {

constexpr char kNull[] = "null";
constexpr char kOutOfRange[] = "vector::_M_range_check";  // what at() says of itself

inline std::string shown(double number) {
  char text[64];
  std::snprintf(text, sizeof text, "%.3f", number);
  return text;
}

// The first `count` of a table; null for none.
template <typename Number>
std::string shown(const Number* table, int count) {
  if (table == nullptr) return kNull;
  std::string text;
  for (int i = 0; i < count; ++i) text += (i == 0 ? "" : " ") + shown(static_cast<double>(table[i]));
  return text;
}

inline std::vector<std::string> parts(const std::string& outcome, char separator = ' ') {
  std::vector<std::string> all;
  std::istringstream stream{outcome};
  for (std::string part; std::getline(stream, part, separator);) all.push_back(part);
  return all;
}

inline bool isAny(std::string_view outcome, std::initializer_list<std::string_view> possible) {
  return std::find(possible.begin(), possible.end(), outcome) != possible.end();
}

inline bool beginsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

// The part that differs is one of these; of a table of as many, all others are the same.
inline bool differsOnlyBy(const std::string& outcome, const std::string& faultless,
                          std::initializer_list<std::string_view> possible) {
  const std::vector<std::string> found = parts(outcome);
  const std::vector<std::string> expected = parts(faultless);
  if (found.size() != expected.size()) return false;
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (found[i] != expected[i] && !isAny(found[i], possible)) return false;
  }
  return true;
}

inline std::size_t differences(const std::string& outcome, const std::string& faultless) {
  const std::vector<std::string> found = parts(outcome);
  const std::vector<std::string> expected = parts(faultless);
  std::size_t count = std::max(found.size(), expected.size()) - std::min(found.size(), expected.size());
  for (std::size_t i = 0; i < std::min(found.size(), expected.size()); ++i) count += found[i] != expected[i];
  return count;
}

}  // namespace proof

#endif
