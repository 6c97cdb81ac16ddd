// Words of the command line.
#ifndef TESSARY_TOOLS_COMMANDS_WORDS_H
#define TESSARY_TOOLS_COMMANDS_WORDS_H

#include <string>
#include <string_view>
#include <vector>

namespace tool {

std::string joined(const std::vector<std::string>& words, std::string_view between);
std::vector<std::string> split(std::string_view text, char at);

// ": did you mean report?" for reprot; empty when nothing known is near.
std::string suggestion(const std::string& word, const std::vector<std::string>& known);

}  // namespace tool

#endif
