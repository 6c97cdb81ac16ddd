// Boards read and served, on one thread: what waits on a hundred streams, scrapers and viewers is one poll.
#ifndef TESSARY_TOOLS_SERVE_SERVER_H
#define TESSARY_TOOLS_SERVE_SERVER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/serve/boards/fleet.h"
#include "tools/serve/boards/input.h"
#include "tools/serve/web/http.h"
#include "tools/serve/web/site.h"

namespace tool {

class Server {
 public:
  // Failure when it cannot listen there.
  Server(const Address& address, Schemas known, std::int64_t keepNs);

  // Before run(). The input's samples are this board's.
  void add(std::unique_ptr<Board> board, std::unique_ptr<Input> input);

  const Address& address() const { return http_.address(); }

  // Until `stop` becomes readable.
  void run(int stop);

 private:
  struct Source {
    Board& board;
    std::unique_ptr<Input> input;
    std::int64_t lookNs = 0;  // when to look although nothing has told; 0: at once
  };

  int timeOutMs(std::int64_t now) const;
  void readReady(std::int64_t now, const std::vector<bool>& ready);
  void wakeViewers(std::int64_t now);

  Fleet fleet_;
  Site site_;
  std::vector<Source> sources_;
  bool hasNews_ = false;  // for the viewers
  std::int64_t wokenNs_ = 0;
  HttpServer http_;  // ends before what it shows
};

}  // namespace tool

#endif
