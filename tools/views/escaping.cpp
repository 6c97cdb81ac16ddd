#include "tools/views/escaping.h"

#include <charconv>
#include <cstdio>

namespace tool {

namespace {

constexpr std::size_t kEscapeLength = 4;  // \xNN

std::string escaped(char c) {
  char text[8];
  std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned char>(c));
  return text;
}

// The length of the UTF-8 sequence that the text begins with; 0 when it begins with none.
std::size_t sequence(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(0);
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (length > text.size()) return 0;
  for (std::size_t at = 1; at < length; ++at) {
    if ((byte(at) & 0xC0) != 0x80) return 0;
  }
  if (length < 3) return length;
  // Overlong forms, surrogates, and what lies beyond U+10FFFF.
  const unsigned char second = byte(1);
  const bool wrong = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                     (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
  return wrong ? 0 : length;
}

// The byte that an escape at the text's start stands for. False when there is none.
bool unescape(std::string_view text, char& byte) {
  if (text.size() < kEscapeLength || text.substr(0, 2) != "\\x") return false;
  unsigned value = 0;
  const char* const end = text.data() + kEscapeLength;
  if (std::from_chars(text.data() + 2, end, value, 16).ptr != end) return false;
  byte = static_cast<char>(value);
  return true;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte < 0x7F && c != '\\') {
      result += c;
    } else {
      result += escaped(c);
    }
  }
  return result;
}

std::string utf8(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = text[0] == '\\' ? 0 : sequence(text);
    if (length != 0) {
      result += text.substr(0, length);
    } else {
      result += escaped(text[0]);
    }
    text.remove_prefix(length != 0 ? length : 1);
  }
  return result;
}

std::string bytesOf(std::string_view utf8) {
  std::string result;
  while (!utf8.empty()) {
    char byte = utf8[0];
    const bool escape = unescape(utf8, byte);
    result += byte;
    utf8.remove_prefix(escape ? kEscapeLength : 1);
  }
  return result;
}

}  // namespace tool
