// A page of charts in one file: no network, no server.
#ifndef TESSARY_TOOLS_VIEWS_HTML_H
#define TESSARY_TOOLS_VIEWS_HTML_H

#include <string>
#include <vector>

#include "tools/views/dataset.h"
#include "tools/views/export.h"

namespace tool {

// One recording, or several that are laid over each other from their starts on. Failure in a build without
// the charts' library.
void writePage(const Write& write, const std::string& title, const std::vector<Dataset>& recordings);

}  // namespace tool

#endif
