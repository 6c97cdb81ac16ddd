#include "tools/views/width.h"

#include <cwchar>

namespace tool {

namespace {

struct Character {
  std::size_t bytes;
  std::size_t columns;
};

Character firstOf(std::string_view text) {
  std::mbstate_t state{};
  wchar_t character = 0;
  const std::size_t bytes = std::mbrtowc(&character, text.data(), text.size(), &state);
  if (bytes == 0 || bytes > text.size()) return {1, 1};
  const int columns = ::wcwidth(character);
  return {bytes, columns < 0 ? 1 : static_cast<std::size_t>(columns)};
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const Character first = firstOf(text);
    width += first.columns;
    text.remove_prefix(first.bytes);
  }
  return width;
}

std::string cutTo(std::string_view text, std::size_t columns) {
  std::size_t width = 0;
  std::size_t end = 0;
  while (end < text.size()) {
    const Character next = firstOf(text.substr(end));
    if (width + next.columns > columns) break;
    width += next.columns;
    end += next.bytes;
  }
  return std::string{text.substr(0, end)};
}

}  // namespace tool
