// What is sent piece by piece: a board's samples as a page takes them, and as a recording.
#ifndef TESSARY_TOOLS_SERVE_WEB_STREAMS_H
#define TESSARY_TOOLS_SERVE_WEB_STREAMS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/serve/boards/fleet.h"
#include "tools/serve/web/http.h"

namespace tool {

// A page's events: what is kept of the board, piece by piece, and its samples as they come from then on; and,
// whenever they change, the boards with their states. A viewer is but a place among the kept samples: one that
// is slow costs nothing, and loses those that are dropped before it has come to them.
class Viewer : public BodyStream {
 public:
  // A place is what the last event had as its id; without one of this run of the server, from the start.
  Viewer(Fleet& fleet, const Board& board, std::string_view place);
  ~Viewer() override;
  Viewer(const Viewer&) = delete;
  Viewer& operator=(const Viewer&) = delete;

  Next next(std::string& text) override;

 private:
  void sayBoards(std::string& text);
  void saySamples(std::string& text, const History::Piece& piece);

  Fleet& fleet_;
  const Board& board_;
  std::uint64_t at_;
  bool begun_ = false;         // the page knows where it stands
  std::uint64_t changes_ = 0;  // of the boards that the page knows
  std::int64_t spokeNs_ = 0;
};

// The kept samples of a board, as they are now.
class Download : public BodyStream {
 public:
  Download(Fleet& fleet, const Board& board);
  ~Download() override;
  Download(const Download&) = delete;
  Download& operator=(const Download&) = delete;

  Next next(std::string& text) override;

 private:
  Fleet& fleet_;
  const Board& board_;
  std::uint64_t at_;
  std::uint64_t end_;
  std::shared_ptr<const HistoryHeader> header_;
};

}  // namespace tool

#endif
