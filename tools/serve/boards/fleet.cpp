#include "tools/serve/boards/fleet.h"

#include <algorithm>

namespace tool {

const Board* Fleet::find(const std::string& name) const {
  const auto found =
      std::find_if(boards.begin(), boards.end(), [&](const auto& board) { return board->name() == name; });
  return found != boards.end() ? found->get() : nullptr;
}

bool Fleet::noteChanges(std::int64_t now) {
  bool any = seen_.size() != boards.size();
  seen_.resize(boards.size());
  for (std::size_t at = 0; at < boards.size(); ++at) {
    const BoardState state = boards[at]->state(now);
    any = any || state != seen_[at].state || boards[at]->name() != seen_[at].name;
    seen_[at] = {boards[at]->name(), state};
  }
  changes += any ? 1 : 0;
  return any;
}

std::int64_t Fleet::nextSilence(std::int64_t now) const {
  std::int64_t next = 0;
  for (const auto& board : boards) {
    if (board->state(now) == BoardState::kUp && (next == 0 || board->silentAt() < next)) {
      next = board->silentAt();
    }
  }
  return next;
}

std::size_t Fleet::keptBytes() const {
  std::size_t bytes = 0;
  for (const auto& board : boards) bytes += board->history().bytes();
  return bytes;
}

}  // namespace tool
