// Threads, which start with the time of the thread that creates them, and pass theirs on when they are
// joined: pthread_create, pthread_join.

#include <pthread.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "simulator/board/board.h"
#include "simulator/board/fork_safe_mutex.h"
#include "simulator/seam/interpose.h"

namespace {

using simulator::Board;

struct ThreadStart {
  void* (*function)(void*);
  void* argument;
  std::int64_t time;
};

struct ThreadTimes {
  simulator::ForkSafeMutex mutex;
  std::map<pthread_t, std::int64_t> ended;
};

ThreadTimes& threadTimes() { return simulator::lasting<ThreadTimes>(); }
[[maybe_unused]] const auto& earlyThreadTimes = threadTimes();

void* runThread(void* argument) {
  const ThreadStart start = *std::unique_ptr<ThreadStart>{static_cast<ThreadStart*>(argument)};
  if (Board* const board = Board::active()) board->clock().advanceTo(start.time);
  void* const result = start.function(start.argument);
  if (Board* const board = Board::active()) {
    const std::lock_guard lock{threadTimes().mutex};
    threadTimes().ended[::pthread_self()] = board->clock().now();
  }
  return result;
}

}  // namespace

STANDS_IN int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                             void* argument) noexcept {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(pthread_create)(thread, attributes, function, argument);
  auto start = std::make_unique<ThreadStart>(ThreadStart{function, argument, board->clock().now()});
  const int result = NEXT(pthread_create)(thread, attributes, runThread, start.get());
  if (result == 0) static_cast<void>(start.release());  // the thread's own now
  return result;
}

STANDS_IN int pthread_join(pthread_t thread, void** value) {
  const int result = NEXT(pthread_join)(thread, value);
  Board* const board = Board::active();
  if (result != 0 || board == nullptr) return result;
  const std::lock_guard lock{threadTimes().mutex};
  const auto ended = threadTimes().ended.find(thread);
  if (ended == threadTimes().ended.end()) return result;
  board->clock().advanceTo(ended->second);
  threadTimes().ended.erase(ended);
  return result;
}
