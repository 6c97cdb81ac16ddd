#include "simulator/board/clock.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <utility>

#include "simulator/board/machine.h"
#include "simulator/board/schedule.h"

namespace simulator {

namespace {

// Stepped time begins on 2024-01-01 00:00:00 UTC, on a board that has been up for an hour.
constexpr Nanoseconds kDate = 1704067200 * kNanosecondsInSecond;
constexpr Nanoseconds kUptime = 3600 * kNanosecondsInSecond;

bool showsDate(int id) {
  return id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE || id == CLOCK_REALTIME_ALARM || id == CLOCK_TAI;
}

}  // namespace

Clock::Clock(Mode mode, Nanoseconds start)
    : mode_{mode}, origin_{bootTime() - start}, date_{mode == Mode::kStepped ? kDate : date() - start} {
  if (mode == Mode::kStepped) Schedule::get().startAt(start);
}

Clock Clock::since(Nanoseconds origin, Nanoseconds date) {
  Clock clock{Mode::kReal, bootTime() - origin};
  clock.date_ = date;
  return clock;
}

Nanoseconds Clock::bootTime() { return machineClock(CLOCK_BOOTTIME); }

Nanoseconds Clock::date() { return machineClock(CLOCK_REALTIME); }

Nanoseconds Clock::now() const { return mode_ == Mode::kStepped ? Schedule::now() : bootTime() - origin_; }

Nanoseconds Clock::wait(Nanoseconds duration) {
  duration = std::max<Nanoseconds>(duration, 0);
  if (mode_ == Mode::kStepped) {
    const Nanoseconds limit = now() + duration;
    Schedule::get().sleepUntil(limit);
    publish();
    return std::max<Nanoseconds>(limit - now(), 0);
  }
  const timespec time = timespecOf(duration);
  timespec left{};
  if (machineCall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &time, &left) == 0) return 0;
  return left.tv_sec * kNanosecondsInSecond + left.tv_nsec;
}

void Clock::advanceTo(Nanoseconds time) {
  if (mode_ == Mode::kReal) return;
  Schedule::get().advanceTo(time);
  publish();
}

Nanoseconds Clock::read(int id) const {
  if (mode_ == Mode::kReal) return machineClock(id);
  return (showsDate(id) ? kDate : kUptime) + now();
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
  if (times_ != nullptr) times_->begin(::getpid(), mode_ == Mode::kStepped ? now() : 0);
}

void Clock::joinProcess(pid_t process) {
  if (times_ == nullptr) return;
  if (const auto time = times_->end(process)) advanceTo(*time);
}

void Clock::publish() const {
  if (times_ != nullptr) times_->advance(::getpid(), now());
}

}  // namespace simulator
