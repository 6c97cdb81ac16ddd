// All boards that are served, and what serving them costs.
#ifndef TESSARY_TOOLS_SERVE_BOARDS_FLEET_H
#define TESSARY_TOOLS_SERVE_BOARDS_FLEET_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/serve/boards/board.h"

namespace tool {

struct Fleet {
  Schemas known;
  std::vector<std::unique_ptr<Board>> boards;

  std::int64_t startNs = 0;   // tells one run of the server from another
  std::uint64_t changes = 1;  // of the boards' names and states
  std::size_t viewers = 0;
  std::size_t downloads = 0;
  std::size_t connections = 0;
  std::uint64_t lostSamples = 0;  // which viewers were too slow for
  double scrapeSeconds = 0;       // that the last answer to a scraper took

  // Null when there is none of this name.
  const Board* find(const std::string& name) const;

  // Counts as a change what has another name or state than at the last call. True when anything has.
  bool noteChanges(std::int64_t now);

  // When the next board falls silent, unless it speaks before; 0: none.
  std::int64_t nextSilence(std::int64_t now) const;

  std::size_t keptBytes() const;

 private:
  struct Seen {
    std::string name;
    BoardState state;
  };
  std::vector<Seen> seen_;
};

}  // namespace tool

#endif
