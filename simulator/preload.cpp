// Puts a board under a program that is not built with it: the library is preloaded, and the environment says
// where the board comes from. Without that variable nothing happens.

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "simulator/board.h"

namespace {

using simulator::Board;
using simulator::Clock;

// The command of a program on a board: the board as it stood when the command was started.
constexpr char kFrozen[] = "TESSARY_BOARD_FROZEN";

__attribute__((constructor)) void layOutBoard() {
  const char* const frozen = std::getenv(kFrozen);
  if (frozen == nullptr) return;
  std::ifstream file{frozen, std::ios::binary};
  const std::string text{std::istreambuf_iterator<char>{file}, {}};
  static auto* const board =
      new Board{std::nullopt, Clock::Mode::kReal};  // outlives the program's own objects
  board->thaw(text);
}

}  // namespace
