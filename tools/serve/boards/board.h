// A board as it is served: its last sample, whether it still speaks, and what is kept of it.
#ifndef TESSARY_TOOLS_SERVE_BOARDS_BOARD_H
#define TESSARY_TOOLS_SERVE_BOARDS_BOARD_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tools/recording/line.h"
#include "tools/serve/boards/history.h"

namespace tool {

enum class BoardState {
  kWaiting,  // no sample has come yet
  kUp,
  kSilent,  // the last one is older than three intervals
  kEnded,   // whoever wrote has closed the stream
};

const char* stateName(BoardState state);

// Nanoseconds of a clock that nobody sets.
std::int64_t monotonicTime();

class Board {
 public:
  using Tell = std::function<void(const std::string&)>;  // the user

  // Without a fixed name, the board is called as its recording says, once it does.
  Board(const std::string& name, bool isNameFixed, HistoryLimit limit, Tell tell);

  // A line of its recording that arrived `now`: a header, a sample, or one that is neither.
  void line(std::string_view text, const Schemas& known, std::int64_t now);

  // The same for what was never a line.
  void begin(const Origin& origin, std::string header);
  void add(Report report, std::string_view line, std::int64_t now);

  // Its recording has come to an end. A sample that comes later goes on with it.
  void end() { ended_ = true; }

  // The next line that cannot be read is told again.
  void forgive() { told_ = false; }

  const std::string& name() const { return name_; }
  BoardState state(std::int64_t now) const;

  // When a board that is up falls silent, unless it speaks before.
  std::int64_t silentAt() const { return lastNs_ + 3 * intervalNs_; }

  const Origin& origin() const { return origin_; }
  const std::optional<Report>& last() const { return last_; }
  const History& history() const { return history_; }

  std::uint64_t samples() const { return samples_; }
  std::uint64_t badLines() const { return badLines_; }

 private:
  void skip(const std::string& reason);
  void warnOfVersion();

  std::string name_;
  bool isNameFixed_;
  Tell tell_;
  History history_;
  Origin origin_;
  std::optional<Report> last_;
  std::int64_t lastNs_ = 0;  // its arrival
  std::int64_t intervalNs_ = 0;
  std::uint64_t samples_ = 0;
  std::uint64_t badLines_ = 0;
  bool ended_ = false;
  bool told_ = false;
};

}  // namespace tool

#endif
