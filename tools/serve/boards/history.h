// The last samples of a board, as the lines that they came in. They are kept in blocks, compressed once they
// are full: a sample is a sixteenth of its line then, and a hundred boards' hour fits into memory.
#ifndef TESSARY_TOOLS_SERVE_BOARDS_HISTORY_H
#define TESSARY_TOOLS_SERVE_BOARDS_HISTORY_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/figures/report.h"

namespace tool {

// A clock that no machine has: thirty years since its start. Sums of less are numbers.
constexpr std::int64_t kLatestNs = 1'000'000'000'000'000'000;

struct HistoryLimit {
  std::int64_t ageNs;  // by the board's clock, back from the last sample
  std::size_t bytes;
};

// What a recording began with. The lines behind it are read by it.
struct HistoryHeader {
  std::string line;  // without its end; empty for samples that came without one
  Origin origin;
};

class History {
 public:
  explicit History(HistoryLimit limit) : limit_{limit} {}

  // The samples from here on are of another recording: the board, or its recorder, started again.
  void begin(std::shared_ptr<const HistoryHeader> header);

  // A line, and its clock, which is neither negative nor beyond thirty years; `now` is the clock of this
  // machine.
  void add(std::string_view line, std::int64_t bootTimeNs, std::int64_t now);

  // The numbers of the samples that are here: from first() on, before end(). They are counted from the first
  // that ever came.
  std::uint64_t first() const;
  std::uint64_t end() const { return end_; }

  std::size_t bytes() const { return bytes_; }  // at most limit.bytes after each call

  struct Piece {
    std::uint64_t first;
    std::uint64_t end;
    std::shared_ptr<const HistoryHeader> header;
    std::int64_t shiftNs;  // from the board's clock to one that goes on where a board started again
    std::string lines;     // each with its end
  };

  // The samples from this number on, as many as are in one block; none when there are none.
  std::optional<Piece> from(std::uint64_t number) const;

 private:
  struct Block {
    std::uint64_t first;
    std::uint64_t end;
    std::shared_ptr<const HistoryHeader> header;
    std::int64_t shiftNs;
    std::int64_t lastNs;  // of its last sample, by the clock that goes on
    std::size_t lineBytes;
    bool compressed;
    bool hasOwnHeader;  // others of the same header follow it
    std::string text;

    std::size_t bytes() const;
  };

  void open(std::int64_t bootTimeNs, std::int64_t now);
  void close(Block& block);
  void drop();

  HistoryLimit limit_;
  std::deque<Block> blocks_;
  std::shared_ptr<const HistoryHeader> header_ = std::make_shared<HistoryHeader>();
  bool isNew_ = true;  // no sample has come since begin()
  std::uint64_t end_ = 0;
  std::size_t bytes_ = 0;
  std::int64_t shiftNs_ = 0;
  std::int64_t lastBootNs_ = 0;
  std::int64_t lastNs_ = 0;  // arrival
};

}  // namespace tool

#endif
