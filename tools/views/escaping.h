// Names of the system's, made fit for an output: a name may hold any byte.
#ifndef TESSARY_TOOLS_VIEWS_ESCAPING_H
#define TESSARY_TOOLS_VIEWS_ESCAPING_H

#include <string>
#include <string_view>

namespace tool {

// For terminals: printable ASCII. Every other byte, and the backslash, as \xNN.
std::string printable(std::string_view text);

// For files: UTF-8. Bytes that are none as \xNN, and a backslash as \x5c, so that it stands for itself alone.
std::string utf8(std::string_view text);

// What utf8() was given.
std::string bytesOf(std::string_view utf8);

}  // namespace tool

#endif
