// Waits of one thread for another with a time limit, in stepped time: condition variables, semaphores, locks,
// message queues, signals that are waited for, and the futexes that the C++ library waits on for futures and
// atomics.

#include "simulator/seam/notices.h"

#include <linux/futex.h>
#include <mqueue.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <limits>
#include <mutex>
#include <set>

#include "simulator/board/machine.h"
#include "simulator/seam/board_time.h"
#include "simulator/seam/interpose.h"

namespace {

using namespace simulator;

// Condition variables whose clock is not that of the date.
struct MonotonicConditions {
  std::mutex mutex;
  std::set<const void*> conditions;
  std::atomic<bool> areAny{false};
};

MonotonicConditions& monotonicConditions() {
  static auto* const conditions = new MonotonicConditions;
  return *conditions;
}

void noteClock(const void* condition, bool isMonotonic) {
  MonotonicConditions& noted = monotonicConditions();
  if (!isMonotonic && !noted.areAny) return;
  const std::lock_guard lock{noted.mutex};
  if (isMonotonic) {
    noted.conditions.insert(condition);
  } else {
    noted.conditions.erase(condition);
  }
  noted.areAny = !noted.conditions.empty();
}

clockid_t clockOf(const void* condition) {
  MonotonicConditions& noted = monotonicConditions();
  if (!noted.areAny) return CLOCK_REALTIME;
  const std::lock_guard lock{noted.mutex};
  return noted.conditions.count(condition) != 0 ? CLOCK_MONOTONIC : CLOCK_REALTIME;
}

int waitForCondition(pthread_cond_t* condition, pthread_mutex_t* mutex, Nanoseconds limit) {
  int error = 0;
  const auto end =
      Schedule::get().waitForNotice(condition, limit, [&] { error = ::pthread_mutex_unlock(mutex); });
  Board::active()->clock().publish();
  if (error != 0) return error;
  const int locked = ::pthread_mutex_lock(mutex);
  if (locked != 0) return locked;
  return end == Schedule::End::kAtLimit ? ETIMEDOUT : 0;
}

// Who ends the wait may be in another process, which this one's schedule does not know. The record says so
// itself: the other process may have made it.
bool isShared(const pthread_cond_t* condition) {
#ifdef __GLIBC__
  constexpr unsigned kShared = 1;
  return (condition->__data.__wrefs & kShared) != 0;
#else
  return false;
#endif
}

// A notice between two slices finds nobody who waits: each slice ends the wait, and the caller looks whether
// there is what it waits for, as after any wake-up.
int waitForSharedCondition(pthread_cond_t* condition, pthread_mutex_t* mutex, Nanoseconds limit) {
  int error = 0;
  Schedule::get().waitInKernel(limit, [&](Nanoseconds slice) {
    const timespec until = timespecOf(machineClock(CLOCK_MONOTONIC) + slice);
    error = NEXT(pthread_cond_clockwait)(condition, mutex, CLOCK_MONOTONIC, &until);
    if (error == ETIMEDOUT && slice != 0) error = 0;
    return error != ETIMEDOUT;
  });
  Board::active()->clock().publish();
  return error;
}

int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex, Nanoseconds limit) {
  return isShared(condition) ? waitForSharedCondition(condition, mutex, limit)
                             : waitForCondition(condition, mutex, limit);
}

// The machine's date after a slice of its time: the end of an attempt.
timespec dateAfter(Nanoseconds slice) { return timespecOf(machineClock(CLOCK_REALTIME) + slice); }

// `call` gets the machine's date at which to give up, and answers with an error number: ETIMEDOUT then.
template <typename Call>
int tryUntil(Nanoseconds limit, Call call) {
  int error = 0;
  Schedule::get().waitInKernel(limit, [&](Nanoseconds slice) {
    const timespec until = dateAfter(slice);
    error = call(until);
    return error != ETIMEDOUT;
  });
  Board::active()->clock().publish();
  return error;
}

}  // namespace

// -- condition variables

STANDS_IN int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
  clockid_t clock = CLOCK_REALTIME;
  if (attributes != nullptr) ::pthread_condattr_getclock(attributes, &clock);
  noteClock(condition, clock == CLOCK_MONOTONIC);
  return NEXT(pthread_cond_init)(condition, attributes);
}

STANDS_IN int pthread_cond_destroy(pthread_cond_t* condition) noexcept {
  noteClock(condition, false);
  return NEXT(pthread_cond_destroy)(condition);
}

STANDS_IN int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  if (!timeIsStepped() || isShared(condition)) return NEXT(pthread_cond_wait)(condition, mutex);
  return waitForCondition(condition, mutex, kNever);
}

STANDS_IN int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                     const timespec* time) {
  if (!timeIsStepped() || !isTime(*time)) return NEXT(pthread_cond_timedwait)(condition, mutex, time);
  return waitUntil(condition, mutex, limitAt(clockOf(condition), *time));
}

STANDS_IN int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                     const timespec* time) {
  if (!timeIsStepped() || !isTime(*time)) return NEXT(pthread_cond_clockwait)(condition, mutex, clock, time);
  return waitUntil(condition, mutex, limitAt(clock, *time));
}

// Who waited before there was a board waits with the machine.
STANDS_IN int pthread_cond_signal(pthread_cond_t* condition) noexcept {
  if (timeIsStepped() && Schedule::get().notify(condition, 1) != 0) return 0;
  return NEXT(pthread_cond_signal)(condition);
}

STANDS_IN int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
  if (timeIsStepped()) Schedule::get().notify(condition, std::numeric_limits<int>::max());
  return NEXT(pthread_cond_broadcast)(condition);
}

// -- semaphores and locks

// NOLINTBEGIN(bugprone-macro-parentheses): the arguments are names and a type
#define STANDS_IN_TIMED_LOCK(name, clock_name, Lock)                                                         \
  STANDS_IN int name(Lock* lock, const timespec* time) noexcept {                                            \
    if (!timeIsStepped() || !isTime(*time)) return NEXT(name)(lock, time);                                   \
    return tryUntil(limitAt(CLOCK_REALTIME, *time),                                                          \
                    [&](const timespec& until) { return NEXT(name)(lock, &until); });                        \
  }                                                                                                          \
  STANDS_IN int clock_name(Lock* lock, clockid_t clock, const timespec* time) noexcept {                     \
    if (!timeIsStepped() || !isTime(*time)) return NEXT(clock_name)(lock, clock, time);                      \
    return tryUntil(limitAt(clock, *time), [&](const timespec& until) { return NEXT(name)(lock, &until); }); \
  }
// NOLINTEND(bugprone-macro-parentheses)
STANDS_IN_TIMED_LOCK(pthread_mutex_timedlock, pthread_mutex_clocklock, pthread_mutex_t)
STANDS_IN_TIMED_LOCK(pthread_rwlock_timedrdlock, pthread_rwlock_clockrdlock, pthread_rwlock_t)
STANDS_IN_TIMED_LOCK(pthread_rwlock_timedwrlock, pthread_rwlock_clockwrlock, pthread_rwlock_t)

namespace {

int waitForSemaphore(sem_t* semaphore, Nanoseconds limit) {
  const int error = tryUntil(
      limit, [&](const timespec& until) { return NEXT(sem_timedwait)(semaphore, &until) == 0 ? 0 : errno; });
  return error == 0 ? 0 : fail(error);
}

}  // namespace

STANDS_IN int sem_timedwait(sem_t* semaphore, const timespec* time) {
  if (!timeIsStepped() || !isTime(*time)) return NEXT(sem_timedwait)(semaphore, time);
  return waitForSemaphore(semaphore, limitAt(CLOCK_REALTIME, *time));
}

STANDS_IN int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* time) {
  if (!timeIsStepped() || !isTime(*time)) return NEXT(sem_clockwait)(semaphore, clock, time);
  return waitForSemaphore(semaphore, limitAt(clock, *time));
}

// -- message queues, signals

namespace {

// `call` gets the machine's date at which to give up, and answers with -1 and errno: ETIMEDOUT then.
template <typename Call>
ssize_t transferUntil(const timespec& time, Call call) {
  ssize_t result = 0;
  const int error = tryUntil(limitAt(CLOCK_REALTIME, time), [&](const timespec& until) {
    result = call(&until);
    return result >= 0 ? 0 : errno;
  });
  return error == 0 ? result : fail(error);
}

}  // namespace

STANDS_IN ssize_t mq_timedreceive(mqd_t queue, char* text, std::size_t bytes, unsigned* priority,
                                  const timespec* time) {
  if (!timeIsStepped() || !isTime(*time)) return NEXT(mq_timedreceive)(queue, text, bytes, priority, time);
  return transferUntil(*time, [&](const timespec* until) {
    return NEXT(mq_timedreceive)(queue, text, bytes, priority, until);
  });
}

STANDS_IN int mq_timedsend(mqd_t queue, const char* text, std::size_t bytes, unsigned priority,
                           const timespec* time) {
  if (!timeIsStepped() || !isTime(*time)) return NEXT(mq_timedsend)(queue, text, bytes, priority, time);
  return static_cast<int>(transferUntil(
      *time, [&](const timespec* until) { return NEXT(mq_timedsend)(queue, text, bytes, priority, until); }));
}

STANDS_IN int sigtimedwait(const sigset_t* signals, siginfo_t* info, const timespec* time) {
  if (time == nullptr || !timeIsStepped() || !isTime(*time)) return NEXT(sigtimedwait)(signals, info, time);
  int result = -1;
  int error = 0;
  Schedule::get().waitInKernel(limitAfter(*time), [&](Nanoseconds slice) {
    const timespec duration = timespecOf(slice);
    result = NEXT(sigtimedwait)(signals, info, &duration);
    error = errno;
    return result >= 0 || error != EAGAIN;
  });
  Board::active()->clock().publish();
  return result >= 0 ? result : fail(error);
}

// -- futexes

namespace {

constexpr long kFlags = FUTEX_PRIVATE_FLAG | FUTEX_CLOCK_REALTIME;

// FUTEX_WAIT has what is left of the time, and FUTEX_WAIT_BITSET a date.
Nanoseconds futexLimit(long operation, const timespec& time) {
  if ((operation & ~kFlags) == FUTEX_WAIT) return limitAfter(time);
  return limitAt((operation & FUTEX_CLOCK_REALTIME) != 0 ? CLOCK_REALTIME : CLOCK_MONOTONIC, time);
}

long waitOnFutex(long word, long operation, long value, long bits, Nanoseconds limit) {
  constexpr long kAnyBits = FUTEX_BITSET_MATCH_ANY;
  const bool hasBits = (operation & ~kFlags) == FUTEX_WAIT_BITSET;
  int error = 0;
  Schedule::get().waitInKernel(limit, [&](Nanoseconds slice) {
    const timespec until = timespecOf(machineClock(CLOCK_MONOTONIC) + slice);
    const long result = machineCall(SYS_futex, word, FUTEX_WAIT_BITSET | (operation & FUTEX_PRIVATE_FLAG),
                                    value, &until, nullptr, hasBits ? bits : kAnyBits);
    error = result == 0 ? 0 : errno;
    return error != ETIMEDOUT;
  });
  Board::active()->clock().publish();
  return error == 0 ? 0 : fail(error);
}

}  // namespace

namespace simulator {

bool waitsOnFutex(const long (&arguments)[6], long& result) {
  const long operation = arguments[1] & ~kFlags;
  const auto* const time =
      reinterpret_cast<const timespec*>(arguments[3]);  // NOLINT(performance-no-int-to-ptr)
  const bool waits = operation == FUTEX_WAIT || operation == FUTEX_WAIT_BITSET;
  if (!waits || time == nullptr || !timeIsStepped() || !isTime(*time)) return false;
  result =
      waitOnFutex(arguments[0], arguments[1], arguments[2], arguments[5], futexLimit(arguments[1], *time));
  return true;
}

}  // namespace simulator
