// What a scraper is answered with: the last sample of each board that is up, and the server's own cost.
#ifndef TESSARY_TOOLS_SERVE_WEB_METRICS_H
#define TESSARY_TOOLS_SERVE_WEB_METRICS_H

#include <cstdint>
#include <string>

#include "tools/serve/boards/fleet.h"
#include "tools/views/families.h"

namespace tool {

// A board that is not up has tessary_up 0 and nothing else, so that no old figure passes for a new one.
std::string metricsText(const Fleet& fleet, MetricFormat format, std::int64_t now);

}  // namespace tool

#endif
