// Reports for programs: docs/json.md and docs/report.schema.json say what is in them.
#ifndef TESSARY_TOOLS_VIEWS_JSON_H
#define TESSARY_TOOLS_VIEWS_JSON_H

#include <string>

#include "tools/figures/report.h"

namespace tool {

constexpr int kJsonVersion = 2;  // of the format: goes up when a key changes its meaning
constexpr int kJsonIndent = 2;   // of what is one object over several lines

// With so many digits behind the point; a number that has no such form as it is.
double rounded(double value, int decimals);

// For `report --json`.
std::string reportDocument(const Origin& origin, const Report& report);

// The lines of a recording.
std::string recordHeader(const Origin& origin);
std::string recordLine(const Report& report);

// The rows of the only table, for `doctor --json`.
std::string doctorDocument(const Origin& origin, const SectionSample& sources);

}  // namespace tool

#endif
