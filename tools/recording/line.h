// A line of a recording, back into what it was written from.
#ifndef TESSARY_TOOLS_RECORDING_LINE_H
#define TESSARY_TOOLS_RECORDING_LINE_H

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/figures/report.h"

namespace tool {

using Schemas = std::vector<const SectionSchema*>;

struct BadLine {
  std::string reason;
};

// A header gives an Origin, a sample a Report. Sections and keys that are not in `known` are passed over; a
// figure that neither has a key nor a reason is absent because it was not recorded.
std::variant<BadLine, Origin, Report> parseLine(std::string_view line, const Schemas& known);

}  // namespace tool

#endif
