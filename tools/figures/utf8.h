// Names come from the system as bytes, JSON holds UTF-8: the way there and back.
#ifndef TESSARY_TOOLS_FIGURES_UTF8_H
#define TESSARY_TOOLS_FIGURES_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

namespace tool {

// The length of the UTF-8 sequence that the text begins with; 0 when it begins with none.
std::size_t utf8Sequence(std::string_view text);

// Bytes that are no UTF-8 as \xNN, and a backslash as \x5c, so that it stands for itself alone.
std::string utf8Of(std::string_view bytes);

// What utf8Of() was given.
std::string bytesOf(std::string_view utf8);

}  // namespace tool

#endif
