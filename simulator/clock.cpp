#include "simulator/clock.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

namespace simulator {

namespace {

constexpr Nanoseconds kSecond = 1000000000;

// Stepped time begins on 2024-01-01 00:00:00 UTC, on a board that has been up for an hour.
constexpr Nanoseconds kDate = 1704067200 * kSecond;
constexpr Nanoseconds kUptime = 3600 * kSecond;

thread_local Nanoseconds threadTime = 0;

// By the system call itself: the functions of the C library answer for the board.
Nanoseconds machineClock(int id) {
  timespec time{};
  ::syscall(SYS_clock_gettime, id, &time);
  return time.tv_sec * kSecond + time.tv_nsec;
}

}  // namespace

Clock::Clock(Mode mode, Nanoseconds start) : mode_{mode}, origin_{machineClock(CLOCK_BOOTTIME) - start} {
  threadTime = start;
}

Nanoseconds Clock::now() const {
  return mode_ == Mode::kStepped ? threadTime : machineClock(CLOCK_BOOTTIME) - origin_;
}

void Clock::wait(Nanoseconds duration) {
  duration = std::max<Nanoseconds>(duration, 0);
  if (mode_ == Mode::kStepped) {
    threadTime += duration;
    return;
  }
  timespec time{duration / kSecond, duration % kSecond};
  ::syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &time, nullptr);
}

void Clock::advanceTo(Nanoseconds time) { threadTime = std::max(threadTime, time); }

Nanoseconds Clock::read(int id) const {
  if (mode_ == Mode::kReal) return machineClock(id);
  const bool date = id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE;
  return (date ? kDate : kUptime) + now();
}

}  // namespace simulator
