// Reports for people.
#ifndef TESSARY_TOOLS_TEXT_H
#define TESSARY_TOOLS_TEXT_H

#include <string>
#include <string_view>

#include "tools/sample.h"

namespace tool {

// A heading with the section's fields, tables and gaps below it.
std::string renderText(const char* title, const std::vector<Block>& blocks, const Sample& sample,
                       bool colour);

// The text in printable ASCII: every other byte, and the backslash, as \xNN.
std::string printable(std::string_view text);

}  // namespace tool

#endif
