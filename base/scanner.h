// A cursor over the text of a node, with scanf's conversions and its contract, but without its locale and its
// format interpreter:
//
//   // "%s %lu %s\n"
//   scanner.row().word(key).number(value).word(unit).space();
//   if (scanner.converted() == 3) ..
//
// A conversion skips white space first, except skipCharacter(). One that fails leaves its target alone and
// the cursor on the offending token, and ends the row: what follows in the same row does nothing, white space
// included. The next row starts at the cursor, on whatever line that is.
//
// Numbers are decimal. Beyond the 64-bit range they saturate; a target narrower than that takes the low bits;
// an unsigned conversion takes a negative number modulo 2^64. Words are cut to their field, and the rest of
// the token is skipped, so that the row stays in step.
#ifndef TESSARY_BASE_SCANNER_H
#define TESSARY_BASE_SCANNER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace tessary {

class Scanner {
 public:
  // The text must be followed by a NUL (not part of it), as TextBuffer and std::string have it: it stops the
  // loops below without a comparison for each character. A NUL inside the text is an ordinary character.
  explicit Scanner(std::string_view text) : cursor_(text.data()), end_(text.data() + text.size()) {}

  Scanner& row() {
    converted_ = 0;
    matching_ = true;
    return *this;
  }

  // Conversions of the current row that stored a value; what is skipped does not count.
  int converted() const { return converted_; }

  // False once a conversion of the current row has failed.
  bool matching() const { return matching_; }

  bool atEnd() const { return cursor_ == end_; }

  std::string_view rest() const { return {cursor_, static_cast<std::size_t>(end_ - cursor_)}; }

  // %s, with the field's own bound.
  template <std::size_t kBytes>
  Scanner& word(char (&target)[kBytes]) {
    return word(target, kBytes);
  }
  Scanner& word(char* target, std::size_t bytes) {
    if (!atToken()) return *this;
    const char* const start = cursor_;
    skipToken();
    const std::size_t length = std::min(static_cast<std::size_t>(cursor_ - start), bytes - 1);
    std::memcpy(target, start, length);
    target[length] = '\0';
    ++converted_;
    return *this;
  }

  // %*s
  Scanner& skipWord() {
    if (atToken()) skipToken();
    return *this;
  }

  // %d, %ld, %u, %lu, %hu ..: as the target's type says.
  template <typename Number>
  Scanner& number(Number& target) {
    static_assert(std::is_integral_v<Number>);
    std::uint64_t value;
    if (integer(value, std::is_signed_v<Number>)) {
      target = static_cast<Number>(value);
      ++converted_;
    }
    return *this;
  }

  // %*d, %*lu ..
  Scanner& skipNumber() {
    bool negative;
    if (const char* const first = atNumber(negative)) cursor_ = behindDigits(first);
    return *this;
  }

  // %f, %lf
  template <typename Real>
  Scanner& real(Real& target) {
    static_assert(std::is_floating_point_v<Real>);
    if (!matching_) return *this;
    if (!plainDigits(target)) {
      if (!atToken()) return *this;
      const std::size_t length = parseReal(rest(), target);
      cursor_ += length;
      matching_ = length != 0;
      if (!matching_) return *this;
    }
    ++converted_;
    return *this;
  }

  // %*c: any one character, white space included.
  Scanner& skipCharacter() {
    if (matching_) {
      if (atEnd()) {
        matching_ = false;
      } else {
        ++cursor_;
      }
    }
    return *this;
  }

  // White space in a format: any amount of it, none included.
  Scanner& space() {
    if (matching_) skipSpace();
    return *this;
  }

 private:
  static bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  static bool isAboveSpace(char c) { return static_cast<unsigned char>(c) > ' '; }
  static unsigned digitOf(char c) { return static_cast<unsigned>(static_cast<unsigned char>(c)) - '0'; }

  static bool isDigit(char c) { return digitOf(c) <= 9; }

  void skipSpace() {
    const char* p = cursor_;
    while (*p == ' ') ++p;
    if (!isAboveSpace(*p)) {
      while (isSpace(*p)) ++p;
    }
    cursor_ = p;
  }

  void skipToken() {
    const char* p = cursor_;
    while (isAboveSpace(*p) || (p != end_ && !isSpace(*p))) ++p;
    cursor_ = p;
  }

  // Skips white space; false, and the row ended, when the row had failed before or the text is used up.
  bool atToken() {
    if (!matching_) return false;
    skipSpace();
    matching_ = isAboveSpace(*cursor_) || !atEnd();
    return matching_;
  }

  // The first digit of the number that comes next, behind white space and a sign; null, and the row ended,
  // when there is none.
  const char* atNumber(bool& negative) {
    if (!matching_) return nullptr;
    negative = false;
    const char* const usual = *cursor_ == ' ' ? cursor_ + 1 : cursor_;
    return isDigit(*usual) ? usual : atUnusualNumber(negative);
  }
  const char* atUnusualNumber(bool& negative) {
    if (!atToken()) return nullptr;
    negative = *cursor_ == '-';
    const char* const first = negative || *cursor_ == '+' ? cursor_ + 1 : cursor_;
    matching_ = isDigit(*first);
    return matching_ ? first : nullptr;
  }

  static const char* behindDigits(const char* p) {
    while (isDigit(*p)) ++p;
    return p;
  }

  // The number that the digits at `p` make, modulo 2^64; the first character behind them.
  static const char* digits(const char* p, std::uint64_t& value);
  static bool exceeds64Bits(const char* first, const char* last);

  // The two's complement bits of the number: saturated to the signed or to the unsigned 64-bit range.
  bool integer(std::uint64_t& bits, bool isSigned);

  // The common case of a real: behind one blank, a counter of up to 18 digits, exact in 64 bits and rounded
  // once on the way to the target.
  template <typename Real>
  bool plainDigits(Real& target);

  // Everything else: a sign, a fraction, an exponent, hexadecimal, infinity, not-a-number, many digits.
  // The length of the token, 0 when it is no number.
  static std::size_t parseReal(std::string_view text, double& target);
  static std::size_t parseReal(std::string_view text, float& target);

  const char* cursor_;
  const char* end_;
  int converted_ = 0;
  bool matching_ = true;
};

inline const char* Scanner::digits(const char* p, std::uint64_t& value) {
  std::uint64_t sum = 0;
  for (unsigned digit = digitOf(*p); digit <= 9; digit = digitOf(*++p)) sum = sum * 10 + digit;
  value = sum;
  return p;
}

inline bool Scanner::integer(std::uint64_t& bits, bool isSigned) {
  constexpr std::ptrdiff_t kDigitsThatFit = 19;  // 10^19 - 1 is below 2^64

  bool negative;
  const char* const first = atNumber(negative);
  if (first == nullptr) return false;
  std::uint64_t value;
  const char* const last = digits(first, value);
  cursor_ = last;
  const bool overflow = last - first > kDigitsThatFit && exceeds64Bits(first, last);
  if (isSigned) {
    const std::uint64_t limit = static_cast<std::uint64_t>(INT64_MAX) + (negative ? 1 : 0);
    if (overflow || value > limit) value = limit;
    bits = negative ? 0 - value : value;
  } else {
    bits = overflow ? UINT64_MAX : (negative ? 0 - value : value);
  }
  return true;
}

template <typename Real>
bool Scanner::plainDigits(Real& target) {
  constexpr std::ptrdiff_t kExactDigits = 18;

  std::uint64_t value;
  const char* const first = *cursor_ == ' ' ? cursor_ + 1 : cursor_;
  const char* const p = digits(first, value);
  const bool goesOn = isAboveSpace(*p);  // with a point, an exponent, or not as a number at all
  if (goesOn || p == first || p - first > kExactDigits) return false;
  target = static_cast<Real>(static_cast<std::int64_t>(value));
  cursor_ = p;
  return true;
}

}  // namespace tessary

#endif
