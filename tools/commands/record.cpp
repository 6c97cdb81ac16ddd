#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include "tools/commands/options.h"
#include "tools/recording/live.h"
#include "tools/views/json.h"

namespace tool {

namespace {

constexpr double kNanosecondsInSecond = 1e9;

// Ctrl-C and the termination signal, as a descriptor that becomes readable. The second one of them ends the
// program at once.
class StopSignal {
 public:
  StopSignal() {
    descriptor_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    struct sigaction action {};
    action.sa_handler = [](int) {
      const int before = errno;
      ::eventfd_write(descriptor_, 1);
      errno = before;
    };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
  }

  static int descriptor() { return descriptor_; }

  static bool raised() {
    pollfd event{descriptor_, POLLIN, 0};
    return ::poll(&event, 1, 0) > 0;
  }

 private:
  static inline int descriptor_ = kNoStop;
};

class Progress {
 public:
  // Not among the lines of a recording on the same terminal.
  Progress(Sink& terminal, const Sink& recording)
      : terminal_{terminal}, shown_{terminal.isTerminal() && !recording.isTerminal()} {}
  ~Progress() {
    if (any_) say("\n");
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(int samples, double seconds, const Sink& target) {
    if (!shown_) return;
    char text[128];
    std::snprintf(text, sizeof text, "\r%d samples, %.0f s, %zu KiB", samples, seconds,
                  target.written() / 1024);
    say(text);
    any_ = true;
  }

 private:
  // The recording goes on without its watcher.
  void say(const char* text) {
    try {
      terminal_.write(text);
    } catch (...) {
      shown_ = false;
    }
  }

  Sink& terminal_;
  bool shown_;
  bool any_ = false;
};

}  // namespace

int record(const Options& options, Streams& streams) {
  streams.divertLibrary(options.diagnostics);
  const StopSignal stop;
  const bool toFile = options.output != "-";
  Sink file = toFile ? Sink::file(options.output) : Sink{std::move(streams.out)};
  Live live{select(options.monitors, false), options.plan, true};
  file.write(recordHeader(live.origin()));

  Progress progress{streams.error, file};
  const std::int64_t start = bootTime();
  bool anyFigures = false;
  for (int samples = 1; !StopSignal::raised(); ++samples) {
    const std::optional<Report> report = live.next(StopSignal::descriptor());
    if (!report) break;
    file.write(recordLine(*report));
    anyFigures = anyFigures || hasFigures(*report);
    const double seconds = static_cast<double>(report->bootTimeNs - start) / kNanosecondsInSecond;
    progress.show(samples, seconds, file);
    if (options.duration > 0 && seconds >= options.duration) {
      if (anyFigures) return kOk;
      streams.error.write("tessary: nothing could be read; \"tessary doctor\" tells what to do about it\n");
      return kNothingRead;
    }
  }
  return kOk;
}

}  // namespace tool
