// Names and moments as words that every format can hold.
#ifndef TESSARY_TOOLS_VIEWS_WORDS_H
#define TESSARY_TOOLS_VIEWS_WORDS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/figures/report.h"

namespace tool {

// UTF-8 without control characters: what is neither becomes \xNN.
std::string clean(std::string_view name);

// The labels of an item: "3", "eth0", "931 navigation"; nothing for a section's own fields.
std::string labelsOf(const TableInfo& table, const Row& row);

// cpu.cores[core=3].load_percent, process.top[pid=931,name=navigation].cpu_percent
std::string pathOf(const Figure& figure);

// 2026-11-21T18:36:22.125Z
std::string utcTime(std::int64_t unixNs);

// Whether it is a number, or yes or no; text describes the machine and is in no series.
bool isNumber(const Value& value);
double numberOf(const Value& value);

// The board's model, or its SoC, or the host's name: the first that is known.
std::string boardOf(const Origin& origin);

}  // namespace tool

#endif
