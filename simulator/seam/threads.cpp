// Threads, which start with the time of the thread that creates them, and pass theirs on when they are
// joined: pthread_create, pthread_join, pthread_tryjoin_np, pthread_timedjoin_np, pthread_clockjoin_np.

#include <pthread.h>

#include <cerrno>
#include <ctime>
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

namespace {

int joinUntil(pthread_t thread, void** value, Nanoseconds limit) {
  const int result =
      Schedule::get().joinUntil(thread, limit, [&] { return NEXT(pthread_join)(thread, value); });
  Board::active()->clock().publish();
  return result;
}

}  // namespace

STANDS_IN int pthread_timedjoin_np(pthread_t thread, void** value, const timespec* time) {
  if (!timeIsStepped() || !isTime(*time)) return NEXT(pthread_timedjoin_np)(thread, value, time);
  return joinUntil(thread, value, limitAt(CLOCK_REALTIME, *time));
}

STANDS_IN int pthread_clockjoin_np(pthread_t thread, void** value, clockid_t clock, const timespec* time) {
  if (!timeIsStepped() || !isTime(*time)) return NEXT(pthread_clockjoin_np)(thread, value, clock, time);
  return joinUntil(thread, value, limitAt(clock, *time));
}

STANDS_IN int pthread_tryjoin_np(pthread_t thread, void** value) noexcept {
  if (!timeIsStepped()) return NEXT(pthread_tryjoin_np)(thread, value);
  const int result = joinUntil(thread, value, Schedule::now());
  return result == ETIMEDOUT ? EBUSY : result;
}
