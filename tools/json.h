// Reports for programs: docs/json.md and docs/report.schema.json say what is in them.
#ifndef TESSARY_TOOLS_JSON_H
#define TESSARY_TOOLS_JSON_H

#include <string>

#include "tools/sampler.h"

namespace tool {

// One object over several lines, for `report --json`.
std::string reportDocument(const Report& report);

// The lines of a recording.
std::string recordHeader(const Selection& sections, const Plan& plan);
std::string recordLine(const Report& report);

// The rows of the blocks' only table, for `doctor --json`.
std::string doctorDocument(const std::vector<Block>& blocks, const Sample& sample);

}  // namespace tool

#endif
