// A figure, or why there is none. What could not be read is never 0: it is absent, with the reason.
#ifndef TESSARY_TOOLS_FIGURES_VALUE_H
#define TESSARY_TOOLS_FIGURES_VALUE_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace tool {

struct Absent {
  std::string reason;

  friend bool operator==(const Absent& left, const Absent& right) { return left.reason == right.reason; }
};

using Value = std::variant<Absent, bool, std::int64_t, double, std::string>;
using Row = std::vector<Value>;  // one value a column

inline bool isAbsent(const Value& value) { return std::holds_alternative<Absent>(value); }

// A fraction that is not finite is absent for `reason`.
Value finite(double value, const char* reason);

// A counter that went backwards comes out of an unsigned difference as a number of nearly 2^64.
bool wrapped(std::uint64_t difference);

}  // namespace tool

#endif
