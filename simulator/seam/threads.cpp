// Threads, which start with the time of the thread that creates them, and pass theirs on when they are
// joined: pthread_create, pthread_join.

#include <pthread.h>

#include <memory>

#include "simulator/seam/board_time.h"
#include "simulator/seam/interpose.h"

namespace {

using namespace simulator;

struct ThreadStart {
  void* (*function)(void*);
  void* argument;
  Schedule::Thread* thread;
};

void* runThread(void* argument) {
  const ThreadStart start = *std::unique_ptr<ThreadStart>{static_cast<ThreadStart*>(argument)};
  Schedule::get().enter(start.thread);
  return start.function(start.argument);
}

}  // namespace

STANDS_IN int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                             void* argument) noexcept {
  if (!timeIsStepped()) return NEXT(pthread_create)(thread, attributes, function, argument);
  Schedule& schedule = Schedule::get();
  Schedule::Thread* const prepared = schedule.prepare(Schedule::now());
  auto start = std::make_unique<ThreadStart>(ThreadStart{function, argument, prepared});
  const int result = NEXT(pthread_create)(thread, attributes, runThread, start.get());
  if (result == 0) {
    static_cast<void>(start.release());  // the thread's own now
    schedule.noteCreated(prepared, *thread);
  } else {
    schedule.discard(prepared);
  }
  return result;
}

STANDS_IN int pthread_join(pthread_t thread, void** value) {
  if (!timeIsStepped()) return NEXT(pthread_join)(thread, value);
  const int result = Schedule::get().join(thread, [&] { return NEXT(pthread_join)(thread, value); });
  Board::active()->clock().publish();
  return result;
}
