#include "base/scanner.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <system_error>

#ifndef __cpp_lib_to_chars
#include <cstdlib>
#endif

namespace tessary {

namespace {

bool isOneOf(char c, const char* set) { return c != '\0' && std::strchr(set, c) != nullptr; }

// The magnitude that `first` begins with, or 0 for the length when there is no number. The sign is read
// already.
template <typename Real>
std::size_t parseMagnitude(const char* first, std::size_t length, Real& value) {
#ifdef __cpp_lib_to_chars
  const bool hex = length > 2 && first[0] == '0' && isOneOf(first[1], "xX");
  const char* const start = hex ? first + 2 : first;
  const auto result = std::from_chars(start, first + length, value,
                                      hex ? std::chars_format::hex : std::chars_format::general);
  if (result.ec == std::errc::invalid_argument) {
    if (!hex) return 0;
    value = 0;  // "0x" without digits is the number 0 followed by an x
    return 1;
  }
  if (result.ec == std::errc::result_out_of_range) {
    // from_chars does not say in which direction; the sign of the exponent, or its absence, does.
    const std::string_view token{start, static_cast<std::size_t>(result.ptr - start)};
    const std::size_t exponent = token.find_last_of(hex ? "pP" : "eE");
    const bool tiny = exponent != std::string_view::npos ? token[exponent + 1] == '-'
                                                         : token.find_first_of("123456789") > token.find('.');
    value = tiny ? Real{0} : std::numeric_limits<Real>::infinity();
  }
  return static_cast<std::size_t>(result.ptr - first);
#else
  // Android's C++ library has no from_chars for reals, and its C library no decimal point but '.'.
  static_cast<void>(length);
  char* end = nullptr;
  value = std::is_same_v<Real, float> ? static_cast<Real>(std::strtof(first, &end))
                                      : static_cast<Real>(std::strtod(first, &end));
  return static_cast<std::size_t>(end - first);
#endif
}

// The sign and the magnitude; the length read, 0 when there is no number.
template <typename Real>
std::size_t parseSigned(std::string_view text, Real& target) {
  const std::size_t sign = text[0] == '-' || text[0] == '+' ? 1 : 0;
  if (text.size() == sign || isOneOf(text[sign], "+- \t\n\v\f\r")) return 0;
  Real magnitude = 0;
  const std::size_t length = parseMagnitude(text.data() + sign, text.size() - sign, magnitude);
  if (length == 0) return 0;
  target = text[0] == '-' ? -magnitude : magnitude;
  return sign + length;
}

}  // namespace

std::size_t Scanner::parseReal(std::string_view text, double& target) { return parseSigned(text, target); }
std::size_t Scanner::parseReal(std::string_view text, float& target) { return parseSigned(text, target); }

bool Scanner::exceeds64Bits(const char* first, const char* last) {
  std::uint64_t value = 0;
  for (; first != last; ++first) {
    if (__builtin_mul_overflow(value, std::uint64_t{10}, &value) ||
        __builtin_add_overflow(value, std::uint64_t{digitOf(*first)}, &value)) {
      return true;
    }
  }
  return false;
}

}  // namespace tessary
