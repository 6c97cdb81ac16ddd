// All sections, in the order of a report.
#ifndef TESSARY_TOOLS_SECTIONS_SECTIONS_H
#define TESSARY_TOOLS_SECTIONS_SECTIONS_H

#include <string>
#include <vector>

#include "tools/sections/section.h"

namespace tool {

using Selection = std::vector<const SectionInfo*>;

const Selection& allSections();
std::vector<const SectionSchema*> allSchemas();

// Those that are named, in the order of a report; without names all, or all but those that are on request.
Selection select(const std::vector<std::string>& names, bool withOnRequest);

}  // namespace tool

#endif
