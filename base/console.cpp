#include "base/console.h"

#include <iostream>

namespace tessary {

void print(std::string_view text) { std::cout << text; }

void printLine(std::string_view text) { std::cout << text << std::endl; }

void printLine(std::string_view label, int value) { std::cout << label << value << std::endl; }

}  // namespace tessary
