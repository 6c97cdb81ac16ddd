// Waits, on the active board's clock: usleep, nanosleep, clock_nanosleep, sleep, poll, ppoll, select,
// pselect.
//
// Not stood in for: condition variables, semaphores, timers and epoll with a time limit keep the machine's
// time.

#include <poll.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <ctime>

#include "simulator/seam/board_time.h"
#include "simulator/seam/interpose.h"

namespace {

using namespace simulator;

// Something to wait for, or the time limit: in stepped time, what is not there at once does not come in time.
template <typename Call>
int waitStepped(std::int64_t microseconds, Call callWithoutWaiting) {
  const int ready = callWithoutWaiting();
  if (ready == 0) Board::active()->wait(microseconds);
  return ready;
}

}  // namespace

STANDS_IN int usleep(useconds_t microseconds) {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(usleep)(microseconds);
  return board->wait(microseconds) == 0 ? 0 : fail(EINTR);
}

STANDS_IN unsigned sleep(unsigned seconds) {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(sleep)(seconds);
  const std::int64_t left = board->wait(seconds * kMicrosecondsInSecond);
  return static_cast<unsigned>((left + kMicrosecondsInSecond - 1) / kMicrosecondsInSecond);
}

STANDS_IN int clock_nanosleep(clockid_t id, int flags, const timespec* time, timespec* left) {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(clock_nanosleep)(id, flags, time, left);
  const bool isAbsolute = (flags & TIMER_ABSTIME) != 0;
  const std::int64_t before = isAbsolute ? microsecondsOf(boardClock(*board, id)) : 0;
  const std::int64_t microseconds = board->wait(microsecondsOf(*time) - before);
  if (microseconds == 0) return 0;
  if (left != nullptr && !isAbsolute) *left = timeOf(microseconds);
  return EINTR;
}

STANDS_IN int nanosleep(const timespec* duration, timespec* left) {
  if (Board::active() == nullptr) return NEXT(nanosleep)(duration, left);
  const int error = ::clock_nanosleep(CLOCK_MONOTONIC, 0, duration, left);
  return error == 0 ? 0 : fail(error);
}

STANDS_IN int poll(pollfd* files, nfds_t count, int milliseconds) {
  if (milliseconds <= 0 || !timeIsStepped()) return NEXT(poll)(files, count, milliseconds);
  return waitStepped(milliseconds * std::int64_t{1000}, [=] { return NEXT(poll)(files, count, 0); });
}

STANDS_IN int ppoll(pollfd* files, nfds_t count, const timespec* time, const sigset_t* signals) {
  if (time == nullptr || !timeIsStepped()) return NEXT(ppoll)(files, count, time, signals);
  const timespec none{};
  return waitStepped(microsecondsOf(*time), [&] { return NEXT(ppoll)(files, count, &none, signals); });
}

STANDS_IN int select(int count, fd_set* reads, fd_set* writes, fd_set* others, timeval* time) {
  if (time == nullptr || !timeIsStepped()) return NEXT(select)(count, reads, writes, others, time);
  timeval none{};
  return waitStepped(microsecondsOf(*time),
                     [&] { return NEXT(select)(count, reads, writes, others, &none); });
}

STANDS_IN int pselect(int count, fd_set* reads, fd_set* writes, fd_set* others, const timespec* time,
                      const sigset_t* signals) {
  if (time == nullptr || !timeIsStepped()) return NEXT(pselect)(count, reads, writes, others, time, signals);
  const timespec none{};
  return waitStepped(microsecondsOf(*time),
                     [&] { return NEXT(pselect)(count, reads, writes, others, &none, signals); });
}
