#include "tools/sections/section.h"

#include <unistd.h>

#include <ctime>
#include <utility>

#include "tools/figures/time_units.h"

namespace tool {

namespace {

std::int64_t timeBy(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return static_cast<std::int64_t>(now.tv_sec) * kNanosecondsInSecond + now.tv_nsec;
}

}  // namespace

std::int64_t bootTime() { return timeBy(CLOCK_BOOTTIME); }

std::int64_t awakeTime() { return timeBy(CLOCK_MONOTONIC); }

std::int64_t unixTime() { return timeBy(CLOCK_REALTIME); }

double Stopwatch::lap() {
  const std::int64_t before = std::exchange(last_, bootTime());
  return static_cast<double>(last_ - before) / static_cast<double>(kNanosecondsInSecond);
}

std::function<void()> sleepFor(int waitMs) {
  return [waitMs] { ::usleep(static_cast<useconds_t>(waitMs) * 1000); };
}

}  // namespace tool
