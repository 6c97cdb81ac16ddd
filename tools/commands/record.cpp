#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <utility>

#include "tools/commands/options.h"
#include "tools/commands/stop_signal.h"
#include "tools/figures/time_units.h"
#include "tools/recording/file.h"
#include "tools/recording/gzip.h"
#include "tools/recording/live.h"
#include "tools/verdict/live_check.h"
#include "tools/views/escaping.h"
#include "tools/views/json.h"

namespace tool {

namespace {

constexpr std::size_t kRecordedProcesses = 50;  // of the tables of processes
constexpr double kLongest = 1e9;                // seconds: what is longer has no end either

// 0 for 0 alone.
std::int64_t nanoseconds(double seconds) {
  return static_cast<std::int64_t>(std::ceil(std::min(seconds, kLongest) * kNanosecondsInSecond));
}

class Progress {
 public:
  // Not among the lines of a recording on the same terminal.
  Progress(Sink& terminal, const RecordingFile& file)
      : terminal_{terminal}, shown_{terminal.isTerminal() && !file.isTerminal()} {}
  ~Progress() {
    if (any_) say("\n");
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(int samples, double seconds, const RecordingFile& file) {
    if (!shown_) return;
    char text[128];
    std::snprintf(text, sizeof text, "\r%d samples, %.0f s, %zu KiB", samples, seconds,
                  file.written() / 1024);
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

// Says once that samples were left out. Those that the machine slept through were not.
class Punctuality {
 public:
  Punctuality(Sink& error, int intervalMs) : error_{error}, intervalMs_{intervalMs} {}

  void look(const Report& report) {
    if (told_ || report.missed == 0 || report.suspendedMs != 0) return;
    told_ = true;
    error_.write("tessary: reading takes too long for an interval of " + std::to_string(intervalMs_) +
                 " ms: samples are left out, and the recording says how many\n");
  }

 private:
  Sink& error_;
  int intervalMs_;
  bool told_ = false;
};

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() > end.size() && text.substr(text.size() - end.size()) == end;
}

FilePlan filePlan(const Options& options) {
  FilePlan plan;
  plan.path = options.output;
  plan.compress = options.compress || endsWith(options.output, kGzipSuffix);
  plan.rotation = options.rotation;
  plan.syncNs = nanoseconds(options.syncSeconds);
  return plan;
}

RecordingFile openFile(const Options& options, const Live& live, Streams& streams) {
  // A later part begins when it begins, not with the recording.
  const auto header = [&live, first = true]() mutable {
    Origin origin = live.origin();
    if (!std::exchange(first, false)) {
      origin.bootTimeNs = bootTime();
      origin.unixTimeNs = unixTime();
    }
    return recordHeader(origin);
  };
  if (options.output == "-") return {filePlan(options), std::move(streams.out), bootTime(), header};
  return {filePlan(options), bootTime(), header,
          [&streams](const std::string& text) { streams.error.write("tessary: " + text + "\n"); }};
}

// The budgets that the recording is to keep.
class LimitWatch {
 public:
  LimitWatch(std::vector<Budget> budgets, bool stopOnLimit, Sink& error)
      : stopOnLimit_{stopOnLimit}, error_{error} {
    if (!budgets.empty()) check_.emplace(std::move(budgets), allSchemas());
  }

  // Marks the report with what it exceeds. Whether the recording goes on.
  bool look(Report& report) {
    if (!check_) return true;
    report.marks = check_->add(report);
    for (const std::string& mark : report.marks) error_.write("tessary: " + printable(mark) + "\n");
    return report.marks.empty() || !stopOnLimit_;
  }

  // Says what was not kept, also of that which could be told at the end alone.
  bool kept() {
    if (!check_) return true;
    const std::vector<BudgetResult> results = check_->results();
    for (const BudgetResult& result : results) {
      if (result.outcome == kHeld) continue;
      const std::string& name = result.figure != nullptr ? result.figure->name : result.budget->selector.text;
      error_.write("tessary: " + printable(name + ": " + resultText(result)) + "\n");
    }
    return allHeld(results);
  }

 private:
  bool stopOnLimit_;
  Sink& error_;
  std::optional<LiveCheck> check_;
};

}  // namespace

int record(const Options& options, Streams& streams) {
  if (options.output == "-" && options.rotation.wanted()) {
    streams.error.write("tessary: --rotate needs a file, to begin others beside it\n");
    return kUsage;
  }
  if (options.stopOnLimit && options.budgets.empty()) {
    streams.error.write("tessary: --stop-on limit needs the budgets of --check\n");
    return kUsage;
  }
  std::vector<Budget> budgets;
  try {
    if (!options.budgets.empty()) budgets = readBudgets(options.budgets);
  } catch (const Failure& mistake) {
    streams.error.write(std::string{"tessary: "} + mistake.what() + "\n");
    return kUsage;
  }
  LimitWatch watch{std::move(budgets), options.stopOnLimit, streams.error};
  streams.divertLibrary(options.diagnostics);
  const StopSignal stop;
  Plan plan = options.plan;
  plan.top = options.top.value_or(kRecordedProcesses);
  plan.keep = true;
  Live live{select(options.monitors, false), plan, nanoseconds(options.duration)};
  RecordingFile file = openFile(options, live, streams);

  Progress progress{streams.error, file};
  Punctuality punctuality{streams.error, options.plan.intervalMs};
  bool anyFigures = false;
  int samples = 0;
  bool goesOn = true;
  while (goesOn && !StopSignal::raised()) {
    std::optional<Report> report = live.next(StopSignal::descriptor());
    if (!report) break;
    goesOn = watch.look(*report);
    file.add(recordLine(*report), report->bootTimeNs);
    anyFigures = anyFigures || hasFigures(*report);
    punctuality.look(*report);
    const std::int64_t passed = report->bootTimeNs - live.origin().bootTimeNs;
    progress.show(++samples, static_cast<double>(passed) / kNanosecondsInSecond, file);
  }
  file.finish();
  if (!watch.kept()) return kLimitPassed;
  if (anyFigures || StopSignal::raised()) return kOk;
  streams.error.write("tessary: nothing could be read; \"tessary doctor\" tells what to do about it\n");
  return kNothingRead;
}

}  // namespace tool
