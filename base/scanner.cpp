#include "base/scanner.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <system_error>

// Android's C++ library has no from_chars for reals. There they are read by the C library, which knows no
// decimal point but '.' there; elsewhere its point is the locale's.
#if !defined(TESSARY_REALS_BY_STRTOD) && !defined(__cpp_lib_to_chars)
#define TESSARY_REALS_BY_STRTOD
#endif

#ifdef TESSARY_REALS_BY_STRTOD
#include <cstdlib>
#endif

namespace tessary {

namespace {

bool isOneOf(char c, const char* set) { return c != '\0' && std::strchr(set, c) != nullptr; }

#ifndef TESSARY_REALS_BY_STRTOD

bool beginsHex(std::string_view text) {
  if (text.size() < 3 || text[0] != '0' || !isOneOf(text[1], "xX")) return false;
  constexpr char kDigits[] = "0123456789abcdefABCDEF";
  return isOneOf(text[2], kDigits) || (text[2] == '.' && text.size() > 3 && isOneOf(text[3], kDigits));
}

// Whether a number beyond the range is too large and not too small, which from_chars does not say: by the
// place of its first digit that is not 0.
bool isTooLarge(std::string_view number, bool hex) {
  const std::size_t mark = std::min(number.find_first_of(hex ? "pP" : "eE"), number.size());
  const std::string_view mantissa = number.substr(0, mark);
  const auto point = static_cast<std::int64_t>(std::min(mantissa.find('.'), mantissa.size()));
  const auto first = static_cast<std::int64_t>(std::min(mantissa.find_first_not_of("0."), mantissa.size()));
  std::int64_t exponent = 0;
  if (mark != number.size()) Scanner{number.substr(mark + 1)}.number(exponent);
  constexpr std::int64_t kBeyondAll = std::int64_t{1} << 40;
  exponent = std::clamp(exponent, -kBeyondAll, kBeyondAll);
  return (point - first) * (hex ? 4 : 1) + exponent > 0;
}

#endif

// The magnitude that `first` begins with, or 0 for the length when there is no number. The sign is read
// already.
template <typename Real>
std::size_t parseMagnitude(const char* first, std::size_t length, Real& value) {
#ifndef TESSARY_REALS_BY_STRTOD
  const bool hex = beginsHex({first, length});  // else "0x" is the number 0 followed by an x
  const char* const start = hex ? first + 2 : first;
  const auto result = std::from_chars(start, first + length, value,
                                      hex ? std::chars_format::hex : std::chars_format::general);
  if (result.ec == std::errc::invalid_argument) return 0;
  if (result.ec == std::errc::result_out_of_range) {
    const std::string_view number{start, static_cast<std::size_t>(result.ptr - start)};
    value = isTooLarge(number, hex) ? std::numeric_limits<Real>::infinity() : Real{0};
  }
  return static_cast<std::size_t>(result.ptr - first);
#else
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
