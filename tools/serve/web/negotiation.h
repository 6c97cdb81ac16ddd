// Which of the two text formats a scraper asks for.
#ifndef TESSARY_TOOLS_SERVE_WEB_NEGOTIATION_H
#define TESSARY_TOOLS_SERVE_WEB_NEGOTIATION_H

#include <string>
#include <string_view>

#include "tools/views/families.h"

namespace tool {

struct Negotiated {
  MetricFormat format;
  std::string contentType;
};

// By the weights of the Accept header. Whoever asks for neither, or does not say, gets the older one.
Negotiated negotiate(std::string_view accept);

}  // namespace tool

#endif
