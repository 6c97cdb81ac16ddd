// Clocks: gettimeofday, clock_gettime, timespec_get, time.

#include <sys/time.h>

#include <ctime>

#include "simulator/seam/board_time.h"
#include "simulator/seam/interpose.h"

using namespace simulator;

STANDS_IN int clock_gettime(clockid_t id, timespec* time) noexcept {
  Board* const board = Board::active();
  const bool ofProcess = id == CLOCK_PROCESS_CPUTIME_ID || id == CLOCK_THREAD_CPUTIME_ID || id < 0;
  if (board == nullptr || ofProcess) return NEXT(clock_gettime)(id, time);
  *time = boardClock(*board, id);
  return 0;
}

STANDS_IN int gettimeofday(timeval* time, void* zone) noexcept {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(gettimeofday)(time, zone);
  const timespec now = boardClock(*board, CLOCK_REALTIME);
  *time = {now.tv_sec, now.tv_nsec / 1000};
  return 0;
}

STANDS_IN int timespec_get(timespec* time, int base) noexcept {
  if (Board::active() == nullptr || base != TIME_UTC) return NEXT(timespec_get)(time, base);
  *time = boardClock(*Board::active(), CLOCK_REALTIME);
  return base;
}

STANDS_IN time_t time(time_t* target) noexcept {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(time)(target);
  const time_t now = boardClock(*board, CLOCK_REALTIME).tv_sec;
  if (target != nullptr) *target = now;
  return now;
}
