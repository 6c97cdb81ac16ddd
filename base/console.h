// Standard output, where some monitors report by design.
#ifndef TESSARY_BASE_CONSOLE_H
#define TESSARY_BASE_CONSOLE_H

#include <string_view>

namespace tessary {

// Writes the text as it stands.
void print(std::string_view text);

// Writes the text and an end of line, and flushes.
void printLine(std::string_view text);

// The same for a label followed by a number: "Changed Sample Time = " and 250. In the base that the host has
// set for the stream, so that the number's own width shows.
void printLine(std::string_view label, int value);

}  // namespace tessary

#endif
