// How wide text is on a terminal, by the locale of the process: LC_CTYPE alone has to be set for it.
#ifndef TESSARY_TOOLS_VIEWS_WIDTH_H
#define TESSARY_TOOLS_VIEWS_WIDTH_H

#include <cstddef>
#include <string>
#include <string_view>

namespace tool {

// Columns of a terminal; a byte that is no text in this locale takes one.
std::size_t displayWidth(std::string_view text);

// The text as far as it fits into so many columns; a wide character is not cut in half.
std::string cutTo(std::string_view text, std::size_t columns);

}  // namespace tool

#endif
