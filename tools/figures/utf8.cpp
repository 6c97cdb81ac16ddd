#include "tools/figures/utf8.h"

#include <charconv>
#include <cstdio>

namespace tool {

namespace {

constexpr std::size_t kEscapeLength = 4;  // \xNN

// The byte that the text begins with in its escaped form; none when it begins with none.
bool unescape(std::string_view text, char& byte) {
  if (text.size() < kEscapeLength || text.substr(0, 2) != "\\x") return false;
  unsigned value = 0;
  const char* const end = text.data() + kEscapeLength;
  if (std::from_chars(text.data() + 2, end, value, 16).ptr != end) return false;
  byte = static_cast<char>(value);
  return true;
}

}  // namespace

std::size_t utf8Sequence(std::string_view text) {
  if (text.empty()) return 0;
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

std::string utf8Of(std::string_view bytes) {
  std::string result;
  while (!bytes.empty()) {
    const std::size_t length = bytes[0] == '\\' ? 0 : utf8Sequence(bytes);
    if (length != 0) {
      result += bytes.substr(0, length);
    } else {
      char escaped[kEscapeLength + 1];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(bytes[0])));
      result += escaped;
    }
    bytes.remove_prefix(length != 0 ? length : 1);
  }
  return result;
}

std::string bytesOf(std::string_view utf8) {
  std::string result;
  while (!utf8.empty()) {
    char byte = utf8[0];
    const bool escaped = unescape(utf8, byte);
    result += byte;
    utf8.remove_prefix(escaped ? kEscapeLength : 1);
  }
  return result;
}

}  // namespace tool
