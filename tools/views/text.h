// Reports for people.
#ifndef TESSARY_TOOLS_VIEWS_TEXT_H
#define TESSARY_TOOLS_VIEWS_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/figures/report.h"

namespace tool {

constexpr std::size_t kAnyWidth = SIZE_MAX;

struct TextStyle {
  bool colour = false;
  std::size_t width = kAnyWidth;  // of the terminal: tables leave out columns to fit
};

// A heading with the section's fields, tables and gaps below it.
std::string renderText(const SectionSample& sample, const TextStyle& style);

// The figure in the unit that text has it in: 37.5 %, 1.5 MiB/s; - where it is absent.
std::string shown(const Value& value, const Format& format);

// What is absent for the gap's reason: "clock (core 2, 3), temperature".
std::string whatIsAbsent(const Gap& gap, const SectionSample& sample);

// The names at ascending positions, those of more than two in a row as "first to last": "0 to 2, 5" for 0, 1,
// 2, 5, and "eth0, eth1" for two.
std::string ranges(const std::vector<std::size_t>& positions, const std::vector<std::string>& names);

}  // namespace tool

#endif
