// Puts a board under a program that is not built with it: the library is preloaded, and the environment says
// where the board comes from. Without its variables nothing happens.

#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>

#include "simulator/board/board.h"
#include "simulator/board/environment.h"
#include "simulator/command/playback.h"
#include "simulator/model/model.h"

namespace {

using namespace simulator;

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

// The command of a test: the board as it stood when the command was started.
void layOutFrozenBoard(const std::string& frozen) {
  std::ifstream file{frozen, std::ios::binary};
  const std::string text{std::istreambuf_iterator<char>{file}, {}};
  static auto* const board = new Board{Clock{Clock::Mode::kReal}};  // outlives the program's own objects
  board->thaw(text);
}

// A program that has called exec goes on where it was, a new one starts where its parent is.
Nanoseconds startOfProcess(const ProcessTimes& times) {
  if (const auto own = times.of(::getpid())) return *own;
  if (const auto told = startFromParent(variable(kStartVariable))) return *told;
  return times.of(::getppid()).value_or(0);
}

Clock sharedClock() {
  const Clock::Mode mode =
      variable(kTimeVariable) == kSteppedTime ? Clock::Mode::kStepped : Clock::Mode::kReal;
  ProcessTimes* const times = ProcessTimes::attach(variable(kTimesVariable));
  if (times == nullptr) return Clock{mode};
  Clock clock = mode == Clock::Mode::kStepped ? Clock{mode, startOfProcess(*times)}
                                              : Clock::since(times->origin(), times->date());
  clock.share(times, variable(kTimesVariable));
  clock.enterProcess();
  return clock;
}

void layOutSharedBoard(const std::string& path) {
  const std::uint64_t seed = std::strtoull(variable(kSeedVariable).c_str(), nullptr, 10);
  static auto* const board = new Board{sharedClock()};
  board->keepHistory(false);
  loadBoard(*board, path, seed, playbackOfEnvironment());
  ::pthread_atfork(nullptr, nullptr, [] { board->clock().enterProcess(); });
}

__attribute__((constructor)) void layOutBoard() {
  const std::string frozen = variable(kFrozenBoardVariable);
  const std::string path = variable(kBoardVariable);
  try {
    if (!frozen.empty()) {
      layOutFrozenBoard(frozen);
    } else if (!path.empty()) {
      layOutSharedBoard(path);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tessary-board: %s\n", error.what());
    ::_exit(EXIT_FAILURE);
  }
}

__attribute__((destructor)) void leaveBoard() {
  if (const Board* const board = Board::active()) board->clock().leaveProcess();
}

}  // namespace
