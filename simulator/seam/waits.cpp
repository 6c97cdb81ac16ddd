// Waits, on the active board's clock: usleep, nanosleep, clock_nanosleep, sleep; and for files, with a time
// limit: poll, ppoll, select, pselect, epoll_wait, epoll_pwait, epoll_pwait2.

#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

#include "simulator/seam/board_time.h"
#include "simulator/seam/interpose.h"

namespace {

using namespace simulator;

// Signals come while the wait is in the kernel and at no other time, or they would not interrupt it.
class HeldSignals {
 public:
  explicit HeldSignals(const sigset_t* wanted) {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    during_ = wanted != nullptr ? *wanted : before_;
  }
  ~HeldSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

  const sigset_t* during() const { return &during_; }

 private:
  sigset_t before_{};
  sigset_t during_{};
};

// `call` waits with the machine for as long as it is told, and answers with the number of files that are
// ready.
template <typename Call>
int waitForFiles(Nanoseconds limit, const sigset_t* wanted, Call call) {
  const Nanoseconds start = Schedule::now();
  int ready = 0;
  int error = 0;
  bool isInTime = false;
  {
    const HeldSignals signals{wanted};
    isInTime = Schedule::get().waitInKernel(limit, [&](Nanoseconds slice) {
      ready = call(timespecOf(slice), signals.during());
      error = errno;
      return ready != 0;
    });
  }
  Board& board = *Board::active();
  board.clock().publish();
  if (!isInTime) board.waited((limit - start) / 1000);
  if (ready < 0) errno = error;
  return ready;
}

int pollFor(pollfd* files, nfds_t count, Nanoseconds limit, const sigset_t* wanted) {
  return waitForFiles(limit, wanted, [&](const timespec& slice, const sigset_t* signals) {
    return NEXT(ppoll)(files, count, &slice, signals);
  });
}

// The sets are what to wait for, and then what is ready.
int selectFor(int count, fd_set* reads, fd_set* writes, fd_set* others, Nanoseconds limit,
              const sigset_t* wanted) {
  fd_set* const sets[] = {reads, writes, others};
  fd_set wantedSets[3];
  for (int i = 0; i < 3; ++i) {
    if (sets[i] != nullptr) wantedSets[i] = *sets[i];
  }
  return waitForFiles(limit, wanted, [&](const timespec& slice, const sigset_t* signals) {
    for (int i = 0; i < 3; ++i) {
      if (sets[i] != nullptr) *sets[i] = wantedSets[i];
    }
    return NEXT(pselect)(count, reads, writes, others, &slice, signals);
  });
}

// The descriptor of an epoll can be polled itself, to less than a millisecond.
int epollFor(int descriptor, epoll_event* events, int most, Nanoseconds limit, const sigset_t* wanted) {
  return waitForFiles(limit, wanted, [&](const timespec& slice, const sigset_t* signals) {
    pollfd file{descriptor, POLLIN, 0};
    const bool waits = slice.tv_nsec != 0;
    if (waits && NEXT(ppoll)(&file, 1, &slice, signals) < 0) return -1;
    return NEXT(epoll_wait)(descriptor, events, most, 0);
  });
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
  return pollFor(files, count, limitAfter(milliseconds), nullptr);
}

STANDS_IN int ppoll(pollfd* files, nfds_t count, const timespec* time, const sigset_t* signals) {
  if (time == nullptr || !timeIsStepped() || !isTime(*time)) return NEXT(ppoll)(files, count, time, signals);
  return pollFor(files, count, limitAfter(*time), signals);
}

// What programs built with fortified headers call instead.
STANDS_IN int __poll_chk(pollfd* files, nfds_t count, int milliseconds, std::size_t) {
  return ::poll(files, count, milliseconds);
}
STANDS_IN int __ppoll_chk(pollfd* files, nfds_t count, const timespec* time, const sigset_t* signals,
                          std::size_t) {
  return ::ppoll(files, count, time, signals);
}

STANDS_IN int select(int count, fd_set* reads, fd_set* writes, fd_set* others, timeval* time) {
  if (time == nullptr || !timeIsStepped()) return NEXT(select)(count, reads, writes, others, time);
  const timespec duration{time->tv_sec, time->tv_usec * 1000};
  if (!isTime(duration)) return NEXT(select)(count, reads, writes, others, time);
  const Nanoseconds limit = limitAfter(duration);
  const int ready = selectFor(count, reads, writes, others, limit, nullptr);
  const timespec left = timespecOf(std::max<Nanoseconds>(limit - Schedule::now(), 0));
  *time = {left.tv_sec, left.tv_nsec / 1000};  // as Linux does
  return ready;
}

STANDS_IN int pselect(int count, fd_set* reads, fd_set* writes, fd_set* others, const timespec* time,
                      const sigset_t* signals) {
  if (time == nullptr || !timeIsStepped() || !isTime(*time))
    return NEXT(pselect)(count, reads, writes, others, time, signals);
  return selectFor(count, reads, writes, others, limitAfter(*time), signals);
}

STANDS_IN int epoll_wait(int descriptor, epoll_event* events, int most, int milliseconds) {
  if (milliseconds <= 0 || most <= 0 || !timeIsStepped())
    return NEXT(epoll_wait)(descriptor, events, most, milliseconds);
  return epollFor(descriptor, events, most, limitAfter(milliseconds), nullptr);
}

STANDS_IN int epoll_pwait(int descriptor, epoll_event* events, int most, int milliseconds,
                          const sigset_t* signals) {
  if (milliseconds <= 0 || most <= 0 || !timeIsStepped())
    return NEXT(epoll_pwait)(descriptor, events, most, milliseconds, signals);
  return epollFor(descriptor, events, most, limitAfter(milliseconds), signals);
}

STANDS_IN int epoll_pwait2(int descriptor, epoll_event* events, int most, const timespec* time,
                           const sigset_t* signals) {
  if (time == nullptr || most <= 0 || !timeIsStepped() || !isTime(*time))
    return NEXT(epoll_pwait2)(descriptor, events, most, time, signals);
  return epollFor(descriptor, events, most, limitAfter(*time), signals);
}
