#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <utility>

#include "tools/commands/options.h"
#include "tools/commands/recordings.h"
#include "tools/commands/stop_signal.h"
#include "tools/commands/terminal.h"
#include "tools/figures/time_units.h"
#include "tools/recording/descriptor.h"
#include "tools/recording/feed.h"
#include "tools/recording/live.h"
#include "tools/recording/player.h"

namespace tool {

namespace {

constexpr std::size_t kWatchedProcesses = 50;  // of the tables of processes
constexpr int kFastestMs = 10;
constexpr int kSlowestMs = 60000;
constexpr std::int64_t kNanosecondsInMinute = 60000 * kNanosecondsInMillisecond;

// A recording in a file to which nobody records any more: who does has locked it.
bool isFinished(const std::string& path) {
  const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
  struct stat status {};
  return file.number() >= 0 && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::flock(file.number(), LOCK_SH | LOCK_NB) == 0;
}

std::unique_ptr<ReportSource> openSource(const Options& options, Streams& streams, int intervalMs) {
  if (!options.operand.empty()) return openForReading(options.operand, streams, kFollowed);
  Plan plan = options.plan;
  plan.intervalMs = intervalMs;
  plan.top = options.top.value_or(kWatchedProcesses);
  constexpr std::int64_t kNoEnd = 0;
  return std::make_unique<Live>(select(options.monitors, true), plan, kNoEnd);
}

// 0:12:30
std::string duration(std::int64_t ns) {
  const std::int64_t seconds = ns / (1000 * kNanosecondsInMillisecond);
  char text[48];
  std::snprintf(text, sizeof text, "%d:%02d:%02d", static_cast<int>(seconds / 3600),
                static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
  return text;
}

// What the keys do that concern every source alike.
bool apply(Key key, std::size_t sections, ScreenChoice& choice) {
  switch (key) {
    case Key::kHelp:
      choice.help = !choice.help;
      return true;
    case Key::kSort:
      ++choice.sorting;
      return true;
    case Key::kCores:
      choice.everyCore = !choice.everyCore;
      return true;
    case Key::kSection:
      choice.section = (choice.section + 1) % (sections + 1);
      return true;
    default:
      return false;
  }
}

class Watch {
 public:
  Watch(const Options& options, Streams& streams)
      : options_{options}, streams_{streams}, colour_{styleFor(streams.out, options).colour} {}

  // The reports as they come. At the end of a stream its last report stays.
  int follow() {
    Terminal terminal{streams_.out};
    int intervalMs = options_.plan.intervalMs;
    auto feed = std::make_unique<Feed>(openSource(options_, streams_, intervalMs));
    bool paused = false;
    bool ended = false;
    bool changed = true;
    while (true) {
      if (changed && current_) draw(terminal);
      const Event event = wait(terminal, ended ? kNoStop : feed->ready(), -1);
      if (event.isEnd()) return current_ && hasFigures(*current_) ? kOk : kNothingRead;
      changed = event.resized;
      for (const Key key : event.keys) {
        changed = apply(key, sections(), choice_) || changed;
        if (key == Key::kPause) paused = !paused;
        const bool other = key == Key::kLonger || key == Key::kShorter;
        if (!other || !options_.operand.empty()) continue;
        intervalMs =
            std::clamp(key == Key::kLonger ? intervalMs * 2 : intervalMs / 2, kFastestMs, kSlowestMs);
        feed.reset();
        feed = std::make_unique<Feed>(openSource(options_, streams_, intervalMs));
      }
      if (event.ready) {
        Feed::News news = feed->take();
        for (const Report& report : news.reports) screen_.add(report);
        ended = news.ended;
        changed = changed || ended || (!paused && !news.reports.empty());
        if (!news.reports.empty() && !paused) {
          origin_ = std::move(news.origin);
          current_ = std::move(news.reports.back());
        }
      }
      const std::string status = ended ? "ended" : paused ? "paused" : "";
      changed = changed || status != choice_.status;
      choice_.status = status;
    }
  }

  // A finished recording, at a time.
  int play() {
    Player player = openPlayer();
    Terminal terminal{streams_.out};
    bool playing = false;
    show(player);
    while (true) {
      const std::int64_t offset = player.report().bootTimeNs - player.origin().bootTimeNs;
      choice_.status = duration(offset) + (playing ? " playing" : "");
      draw(terminal);
      const Event event =
          wait(terminal, kNoStop, playing ? static_cast<int>(player.report().intervalMs) : -1);
      if (event.isEnd()) return kOk;
      bool moved = playing && event.isTimeOut() && player.to(player.number() + 1);
      for (const Key key : event.keys) {
        if (key == Key::kPause) playing = !playing;
        apply(key, sections(), choice_);
        moved = move(player, key) || moved;
      }
      if (moved) show(player);
      if (playing && event.isTimeOut() && !moved) playing = false;
    }
  }

  // One screen, on a terminal or not.
  int once() {
    if (!options_.operand.empty() && isFinished(options_.operand)) {
      Player player = openPlayer();
      if (!options_.atNs) player.toEnd();
      show(player);
    } else {
      const std::unique_ptr<ReportSource> source = openSource(options_, streams_, options_.plan.intervalMs);
      std::optional<Report> report = source->next(StopSignal::descriptor());
      if (!report) return kNothingRead;
      screen_.add(*report);
      origin_ = source->origin();
      current_ = std::move(report);
    }
    std::string text;
    for (const std::string& line :
         screen_.lines(origin_, *current_, lookOf(streams_.out, colour_), choice_)) {
      text += line + "\n";
    }
    streams_.out.write(text);
    return hasFigures(*current_) ? kOk : kNothingRead;
  }

  // Nobody looks: a report in words for each sample.
  int print() {
    const bool ends = !options_.operand.empty() && isFinished(options_.operand);
    const std::unique_ptr<ReportSource> source =
        ends ? openForReading(options_.operand, streams_)
             : openSource(options_, streams_, options_.plan.intervalMs);
    bool any = false;
    while (const std::optional<Report> report = source->next(StopSignal::descriptor())) {
      std::string text;
      for (const SectionSample& section : report->sections) text += renderText(section, {}) + "\n";
      streams_.out.write(text);
      any = any || hasFigures(*report);
    }
    return any ? kOk : kNothingRead;
  }

 private:
  struct Event {
    bool stopped = false;
    bool resized = false;
    bool ready = false;
    std::vector<Key> keys;

    bool isTimeOut() const { return !stopped && !resized && !ready && keys.empty(); }
    bool isEnd() const { return stopped || std::find(keys.begin(), keys.end(), Key::kEnd) != keys.end(); }
  };

  static Event wait(Terminal& terminal, int ready, int timeOutMs) {
    std::array<pollfd, 4> events{{{StopSignal::descriptor(), POLLIN, 0},
                                  {terminal.resizes(), POLLIN, 0},
                                  {ready, POLLIN, 0},
                                  {terminal.keys(), POLLIN, 0}}};
    ::poll(events.data(), events.size(), timeOutMs);
    Event event{(events[0].revents & POLLIN) != 0,
                (events[1].revents & POLLIN) != 0,
                (events[2].revents & POLLIN) != 0,
                {}};
    if (event.resized) terminal.forgetResizes();
    if (events[3].revents != 0) event.keys = terminal.readKeys();
    return event;
  }

  Player openPlayer() {
    Player player{[this] { return openForReading(options_.operand, streams_); }};
    if (options_.atNs) player.toTime(*options_.atNs);
    return player;
  }

  static bool move(Player& player, Key key) {
    const std::int64_t now = player.report().bootTimeNs - player.origin().bootTimeNs;
    switch (key) {
      case Key::kBack:
        return player.number() > 0 && player.to(player.number() - 1);
      case Key::kOn:
        return player.to(player.number() + 1);
      case Key::kMuchBack:
        player.toTime(std::max<std::int64_t>(0, now - kNanosecondsInMinute));
        return true;
      case Key::kMuchOn:
        player.toTime(now + kNanosecondsInMinute);
        return true;
      case Key::kFirst:
        return player.to(0);
      case Key::kLast:
        player.toEnd();
        return true;
      default:
        return false;
    }
  }

  // The history behind the curves is that of the reports before this one.
  void show(const Player& player) {
    screen_.forget();
    for (std::size_t at = 0; at <= player.inWindow(); ++at) screen_.add(player.window()[at]);
    origin_ = player.origin();
    current_ = player.report();
  }

  void draw(Terminal& terminal) {
    terminal.draw(screen_.lines(origin_, *current_, lookOf(streams_.out, colour_), choice_));
  }

  std::size_t sections() const { return current_ ? current_->sections.size() : 0; }

  const Options& options_;
  Streams& streams_;
  bool colour_;
  Screen screen_;
  ScreenChoice choice_;
  Origin origin_;
  std::optional<Report> current_;
};

}  // namespace

int watch(const Options& options, Streams& streams) {
  std::setlocale(LC_CTYPE, "");
  streams.divertLibrary(false);  // it would write over the screen
  const StopSignal stop;
  Watch watch{options, streams};
  if (options.once) return watch.once();
  if (!streams.out.isTerminal()) return watch.print();
  const bool isPast = !options.operand.empty() && options.operand != "-" && isFinished(options.operand);
  return isPast ? watch.play() : watch.follow();
}

}  // namespace tool
