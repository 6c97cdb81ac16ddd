// Which answer a request gets.
//
//   /            the live page of a board: ?board=front, or the first one
//   /events      what feeds it
//   /metrics     the last sample of each board, for scrapers
//   /recording   what is kept of a board, as a recording
#ifndef TESSARY_TOOLS_SERVE_WEB_SITE_H
#define TESSARY_TOOLS_SERVE_WEB_SITE_H

#include <cstdint>
#include <string>

#include "tools/serve/boards/fleet.h"
#include "tools/serve/web/http.h"

namespace tool {

class Site {
 public:
  // `listening` is the host that the server was told to listen on.
  Site(Fleet& fleet, std::string listening, std::int64_t keepNs)
      : fleet_{fleet}, listening_{std::move(listening)}, keepNs_{keepNs} {}

  Answer answer(const Request& request);

 private:
  Answer route(const Request& request);
  Answer page(const Request& request);
  Answer events(const Request& request);
  Answer metrics(const Request& request);
  Answer recording(const Request& request);
  const Board* boardOf(const Request& request) const;

  Fleet& fleet_;
  std::string listening_;
  std::int64_t keepNs_;
};

}  // namespace tool

#endif
