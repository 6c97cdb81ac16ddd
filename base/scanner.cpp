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

}  // namespace

Scanner& Scanner::word(char* target, std::size_t bytes) {
  if (!atToken()) return *this;
  const char* const start = cursor_;
  while (cursor_ != end_ && !isSpace(*cursor_)) ++cursor_;
  if (bytes == 0) return *this;
  std::size_t length = static_cast<std::size_t>(cursor_ - start);
  if (length > bytes - 1) length = bytes - 1;
  std::memcpy(target, start, length);
  target[length] = '\0';
  ++converted_;
  return *this;
}

Scanner& Scanner::real(double& target) { return realNumber(target); }
Scanner& Scanner::real(float& target) { return realNumber(target); }

template <typename Real>
Scanner& Scanner::realNumber(Real& target) {
  // Counters are plain digits, up to 18 of them exact in 64 bits and rounded once on the way to the target.
  constexpr std::ptrdiff_t kPlainDigits = 18;

  if (!atToken()) return *this;
  const char* p = cursor_;
  std::int64_t value = 0;
  for (unsigned digit = digitOf(*p); digit <= 9; digit = digitOf(*++p)) {
    if (p - cursor_ >= kPlainDigits) break;
    value = value * 10 + digit;
  }
  if (p != cursor_ && digitOf(*p) > 9 && !isOneOf(*p, ".eExX")) {
    target = static_cast<Real>(value);
    cursor_ = p;
  } else if (!realToken(target)) {
    matching_ = false;
    return *this;
  }
  ++converted_;
  return *this;
}

// Everything but plain digits: a sign, a fraction, an exponent, hexadecimal, infinity, not-a-number.
template <typename Real>
bool Scanner::realToken(Real& target) {
  const char* first = cursor_;
  const bool negative = *first == '-';
  if (negative || *first == '+') ++first;
  if (first == end_ || *first == '-' || *first == '+' || isSpace(*first)) return false;
  Real magnitude = 0;
  const std::size_t length = parseMagnitude(first, static_cast<std::size_t>(end_ - first), magnitude);
  if (length == 0) return false;
  target = negative ? -magnitude : magnitude;
  cursor_ = first + length;
  return true;
}

}  // namespace tessary
