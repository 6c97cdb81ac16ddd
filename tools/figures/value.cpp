#include "tools/figures/value.h"

#include <cmath>

namespace tool {

Value finite(double value, const char* reason) {
  if (std::isfinite(value)) return value;
  return Absent{reason};
}

bool wrapped(std::uint64_t difference) { return difference > static_cast<std::uint64_t>(INT64_MAX); }

}  // namespace tool
