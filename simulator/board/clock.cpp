#include "simulator/board/clock.h"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <utility>

namespace simulator {

namespace {

// Stepped time begins on 2024-01-01 00:00:00 UTC, on a board that has been up for an hour.
constexpr Nanoseconds kDate = 1704067200 * kNanosecondsInSecond;
constexpr Nanoseconds kUptime = 3600 * kNanosecondsInSecond;

thread_local Nanoseconds threadTime = 0;

// By the C library's own, which is no system call: the one that stands in front of it answers for the board.
Nanoseconds machineClock(int id) {
  using Function = int(clockid_t, timespec*);
  static std::atomic<Function*> function{nullptr};
  if (function == nullptr) function = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, "clock_gettime"));
  timespec time{};
  function.load(std::memory_order_relaxed)(id, &time);
  return time.tv_sec * kNanosecondsInSecond + time.tv_nsec;
}

}  // namespace

Clock::Clock(Mode mode, Nanoseconds start)
    : mode_{mode}, origin_{bootTime() - start}, date_{mode == Mode::kStepped ? kDate : date() - start} {
  threadTime = start;
}

Clock Clock::since(Nanoseconds origin, Nanoseconds date) {
  Clock clock{Mode::kReal, bootTime() - origin};
  clock.date_ = date;
  return clock;
}

Nanoseconds Clock::bootTime() { return machineClock(CLOCK_BOOTTIME); }

Nanoseconds Clock::date() { return machineClock(CLOCK_REALTIME); }

Nanoseconds Clock::now() const { return mode_ == Mode::kStepped ? threadTime : bootTime() - origin_; }

Nanoseconds Clock::wait(Nanoseconds duration) {
  duration = std::max<Nanoseconds>(duration, 0);
  if (mode_ == Mode::kStepped) {
    threadTime += duration;
    publish();
    return 0;
  }
  timespec time{duration / kNanosecondsInSecond, duration % kNanosecondsInSecond};
  timespec left{};
  if (::syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &time, &left) == 0) return 0;
  return left.tv_sec * kNanosecondsInSecond + left.tv_nsec;
}

void Clock::advanceTo(Nanoseconds time) {
  if (threadTime >= time) return;
  threadTime = time;
  publish();
}

Nanoseconds Clock::read(int id) const {
  if (mode_ == Mode::kReal) return machineClock(id);
  const bool date = id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE;
  return (date ? kDate : kUptime) + now();
}

Nanoseconds Clock::uptimeAtStart() const { return mode_ == Mode::kStepped ? kUptime : origin_; }

void Clock::share(ProcessTimes* times, std::string path) {
  times_ = times;
  timesPath_ = std::move(path);
}

void Clock::leaveProcess() const {
  if (times_ != nullptr) ProcessTimes::leave(timesPath_);
}

void Clock::enterProcess() const {
  if (times_ != nullptr) times_->begin(::getpid(), threadTime);
}

void Clock::joinProcess(pid_t process) {
  if (times_ == nullptr) return;
  if (const auto time = times_->end(process)) advanceTo(*time);
}

void Clock::publish() const {
  if (times_ != nullptr) times_->advance(::getpid(), threadTime);
}

}  // namespace simulator
