#include "tools/figures/value.h"

#include <cmath>
#include <cstdio>

namespace tool {

namespace {

struct Plain {
  std::string operator()(const Absent&) const { return {}; }
  std::string operator()(bool value) const { return value ? "yes" : "no"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(double value) const {
    char text[32];
    std::snprintf(text, sizeof text, "%.15g", value);
    return text;
  }
};

}  // namespace

Value finite(double value, const char* reason) {
  if (std::isfinite(value)) return value;
  return Absent{reason};
}

bool wrapped(std::uint64_t difference) { return difference > static_cast<std::uint64_t>(INT64_MAX); }

std::string plain(const Value& value) { return std::visit(Plain{}, value); }

}  // namespace tool
