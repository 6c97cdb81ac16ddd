// The library leaves a field alone whose source it could not read, so that the figure of an earlier reading,
// or the 0 of none, looks like a new one. A field that is marked before the reading and still is marked after
// it was not read.
#ifndef TESSARY_TOOLS_SECTIONS_FRESH_H
#define TESSARY_TOOLS_SECTIONS_FRESH_H

#include <cmath>
#include <limits>
#include <type_traits>

namespace tool {

// A value that no source gives.
template <typename Number>
constexpr Number staleMark() {
  using Limits = std::numeric_limits<Number>;
  if constexpr (std::is_floating_point_v<Number>) {
    return Limits::quiet_NaN();
  } else {
    return std::is_signed_v<Number> ? Limits::min() : Limits::max();
  }
}

template <typename... Number>
void markStale(Number&... fields) {
  ((fields = staleMark<Number>()), ...);
}

template <typename Number>
bool isFresh(Number field) {
  if constexpr (std::is_floating_point_v<Number>) {
    return !std::isnan(field);
  } else {
    return field != staleMark<Number>();
  }
}

}  // namespace tool

#endif
