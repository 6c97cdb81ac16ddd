#include "tools/section.h"

#include <unistd.h>

#include <ctime>
#include <utility>

namespace tool {

namespace {

constexpr std::int64_t kNanosecondsInSecond = 1000000000;

}  // namespace

std::int64_t bootTime() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<std::int64_t>(now.tv_sec) * kNanosecondsInSecond + now.tv_nsec;
}

double Stopwatch::lap() {
  const std::int64_t before = std::exchange(last_, bootTime());
  return static_cast<double>(last_ - before) / static_cast<double>(kNanosecondsInSecond);
}

std::function<void()> sleepFor(int intervalMs) {
  return [intervalMs] { ::usleep(static_cast<useconds_t>(intervalMs) * 1000); };
}

}  // namespace tool
