#include "tools/recording/capture.h"

#include <poll.h>

#include <algorithm>
#include <cmath>

#include "tools/commands/options.h"
#include "tools/commands/stop_signal.h"
#include "tools/figures/time_units.h"

namespace tool {

namespace {

// False when it is to end before.
bool waitUntil(std::int64_t time) {
  const std::int64_t left = time - bootTime();
  const std::int64_t milliseconds = (left + kNanosecondsInMillisecond - 1) / kNanosecondsInMillisecond;
  pollfd stop{StopSignal::descriptor(), POLLIN, 0};
  return ::poll(&stop, 1, static_cast<int>(std::max<std::int64_t>(milliseconds, 0))) == 0;
}

// To the microsecond, as a board's file has it.
double milliseconds(std::int64_t nanoseconds) {
  constexpr std::int64_t kNanosecondsInMicrosecond = 1000;
  const std::int64_t microseconds = nanoseconds / kNanosecondsInMicrosecond;
  return static_cast<double>(microseconds) / 1000;
}

}  // namespace

int capture(const Options& options, Streams& streams) {
  streams.divertLibrary(options.diagnostics);
  const StopSignal stop;
  Capture capture{select(options.monitors, true), options.scrub};
  Sink out = options.output == "-" ? Sink{std::move(streams.out)} : Sink::file(options.output);
  out.write(capture.begin());

  const std::int64_t interval = options.plan.intervalMs * kNanosecondsInMillisecond;
  const auto whole = static_cast<std::int64_t>(options.duration * 1000) / options.plan.intervalMs;
  const std::int64_t start = bootTime();
  std::int64_t at = 0;
  for (std::int64_t number = 0; options.duration == 0 || number <= whole; ++number) {
    // A frame that took longer than the interval delays those after it.
    const std::int64_t due = std::max(start + number * interval, bootTime());
    if (number > 0 && !waitUntil(due)) break;
    const std::int64_t now = bootTime() - start;
    at = number > 0 ? std::max(now, at + kNanosecondsInMillisecond) : 0;
    out.write(capture.frame(milliseconds(at)));
  }
  out.write(capture.end());
  if (capture.nodes() > 0) return kOk;
  streams.error.write("tessary: nothing could be read; \"tessary doctor\" tells what to do about it\n");
  return kNothingRead;
}

}  // namespace tool
