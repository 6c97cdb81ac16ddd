// A page of charts in one file: no network, no server.
#ifndef TESSARY_TOOLS_VIEWS_HTML_H
#define TESSARY_TOOLS_VIEWS_HTML_H

#include <string>
#include <vector>

#include "tools/views/dataset.h"
#include "tools/views/export.h"

namespace tool {

// Whether this build has the charts' library.
bool hasPage();

// One recording, or several that are laid over each other from their starts on. Failure in a build without
// it.
void writePage(const Write& write, const std::string& title, const std::vector<Dataset>& recordings);

// The page that a server feeds: it begins without figures. `live` is what it has to know, as JSON.
void writeLivePage(const Write& write, const std::string& title, const std::string& live);

// What the live page is allowed: what the other one is, and to ask its server for more.
std::string livePolicy();

// What the live page is fed: samples, in one line, that it adds to those that it has.
std::string datasetDocument(const Dataset& samples);

}  // namespace tool

#endif
