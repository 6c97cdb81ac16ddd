#include "tools/recording/json_text.h"

#include <charconv>
#include <cstdlib>

namespace tool {

namespace {

constexpr int kDeepest = 100;  // of what is skipped

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Up to 15 digits and their powers of ten are exact as doubles, and so is their quotient as far as it can be.
constexpr int kExactDigits = 15;
constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

// A number without an exponent, of few digits. False when it is another one.
bool plainReal(std::string_view token, double& value) {
  const bool negative = token[0] == '-';
  std::int64_t digits = 0;
  int count = 0;
  int decimals = 0;
  bool pointSeen = false;
  for (const char c : token.substr(negative ? 1 : 0)) {
    if (c == '.') {
      pointSeen = true;
      continue;
    }
    if (!isDigit(c) || ++count > kExactDigits) return false;
    digits = digits * 10 + (c - '0');
    decimals += pointSeen ? 1 : 0;
  }
  const double magnitude = static_cast<double>(digits) / kPowersOfTen[decimals];
  value = negative ? -magnitude : magnitude;
  return true;
}

double real(std::string_view token) {
  double value = 0;
  if (plainReal(token, value)) return value;
  return std::strtod(std::string{token}.c_str(), nullptr);  // which takes the digits up to their end
}

void appendUtf8(std::string& text, std::uint32_t point) {
  const auto add = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (point < 0x80) {
    add(point);
  } else if (point < 0x800) {
    add(0xC0 | point >> 6);
    add(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    add(0xE0 | point >> 12);
    add(0x80 | (point >> 6 & 0x3F));
    add(0x80 | (point & 0x3F));
  } else {
    add(0xF0 | point >> 18);
    add(0x80 | (point >> 12 & 0x3F));
    add(0x80 | (point >> 6 & 0x3F));
    add(0x80 | (point & 0x3F));
  }
}

}  // namespace

char JsonText::next() {
  while (at_ < text_.size() &&
         (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\r' || text_[at_] == '\n')) {
    ++at_;
  }
  return failed_ || at_ == text_.size() ? '\0' : text_[at_];
}

bool JsonText::take(char expected) {
  if (next() != expected) return fail();
  ++at_;
  return true;
}

bool JsonText::string(std::string_view& value) {
  if (!take('"')) return false;
  const std::size_t start = at_;
  while (at_ < text_.size() && text_[at_] != '"' && text_[at_] != '\\') ++at_;
  if (at_ == text_.size()) return fail();
  if (text_[at_] == '"') {
    value = text_.substr(start, at_++ - start);
    return true;
  }
  decoded_.assign(text_.substr(start, at_ - start));
  while (at_ < text_.size() && text_[at_] != '"') {
    if (text_[at_] != '\\') {
      decoded_ += text_[at_++];
    } else if (!escape()) {
      return fail();
    }
  }
  value = decoded_;
  return take('"');
}

bool JsonText::escape() {
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kMeant = "\"\\/\b\f\n\r\t";
  if (text_.size() - at_ < 2) return false;
  const char letter = text_[at_ + 1];
  at_ += 2;
  if (letter == 'u') return unicode();
  const std::size_t which = kLetters.find(letter);
  if (which == std::string_view::npos) return false;
  decoded_ += kMeant[which];
  return true;
}

// What is beyond U+FFFF comes in two halves.
bool JsonText::unicode() {
  std::uint32_t point = 0;
  if (!fourDigits(point)) return false;
  if (point >= 0xDC00 && point < 0xE000) return false;
  if (point >= 0xD800 && point < 0xDC00) {
    std::uint32_t low = 0;
    if (text_.substr(at_, 2) != "\\u") return false;
    at_ += 2;
    if (!fourDigits(low) || low < 0xDC00 || low > 0xDFFF) return false;
    point = 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
  }
  appendUtf8(decoded_, point);
  return true;
}

bool JsonText::fourDigits(std::uint32_t& value) {
  constexpr std::size_t kDigits = 4;
  const std::string_view digits = text_.substr(at_, kDigits);
  const char* const end = digits.data() + digits.size();
  if (digits.size() < kDigits || std::from_chars(digits.data(), end, value, 16).ptr != end) return false;
  at_ += kDigits;
  return true;
}

bool JsonText::scalar(Value& value) {
  switch (next()) {
    case '"': {
      std::string_view text;
      if (!string(text)) return false;
      value.emplace<std::string>(text);
      return true;
    }
    case 't':
      value = true;
      return word("true");
    case 'f':
      value = false;
      return word("false");
    case 'n':
      value = Absent{};
      return word("null");
    default:
      return number(value);
  }
}

bool JsonText::word(std::string_view expected) {
  if (text_.substr(at_, expected.size()) != expected) return fail();
  at_ += expected.size();
  return true;
}

// -? digits (. digits)? ([eE] [+-]? digits)?
bool JsonText::number(Value& value) {
  const std::size_t start = at_;
  const auto digits = [this] {
    const std::size_t first = at_;
    while (at_ < text_.size() && isDigit(text_[at_])) ++at_;
    return at_ != first;
  };
  const auto takes = [this](std::string_view any) {
    const bool taken = at_ < text_.size() && any.find(text_[at_]) != std::string_view::npos;
    at_ += taken ? 1 : 0;
    return taken;
  };
  takes("-");
  if (failed_ || !digits()) return fail();
  bool whole = true;
  if (takes(".")) {
    whole = false;
    if (!digits()) return fail();
  }
  if (takes("eE")) {
    whole = false;
    takes("+-");
    if (!digits()) return fail();
  }
  const std::string_view token = text_.substr(start, at_ - start);
  std::int64_t integer = 0;
  if (whole && std::from_chars(token.data(), token.data() + token.size(), integer).ec == std::errc{}) {
    value = integer;
  } else {
    value = real(token);
  }
  return true;
}

bool JsonText::skip() {
  if (depth_ == kDeepest) return fail();
  ++depth_;
  bool good = false;
  Value ignored;
  switch (next()) {
    case '{':
      good = object([this](std::string_view) { return skip(); });
      break;
    case '[':
      good = array([this] { return skip(); });
      break;
    default:
      good = scalar(ignored);
      break;
  }
  --depth_;
  return good;
}

}  // namespace tool
