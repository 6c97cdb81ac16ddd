#include "tools/serve/server.h"

#include <poll.h>

#include <algorithm>

#include "tools/figures/time_units.h"

namespace tool {

namespace {

constexpr std::int64_t kWakeNs = 100 * kNanosecondsInMillisecond;  // viewers are told no more often
constexpr std::int64_t kAnywayNs =
    5000 * kNanosecondsInMillisecond;  // and at least as often, to see who left

// Until then, rounded up: what is due is over when the wait is.
int millisecondsTo(std::int64_t then, std::int64_t now) {
  return static_cast<int>(std::max<std::int64_t>(0, then - now + kNanosecondsInMillisecond - 1) /
                          kNanosecondsInMillisecond);
}

}  // namespace

Server::Server(const Address& address, Schemas known, std::int64_t keepNs)
    : site_{fleet_, address.host, keepNs}, http_{address, [this](const Request& request) {
                                                   return site_.answer(request);
                                                 }} {
  fleet_.known = std::move(known);
  fleet_.startNs = monotonicTime();
}

void Server::add(std::unique_ptr<Board> board, std::unique_ptr<Input> input) {
  sources_.push_back({*board, std::move(input)});
  fleet_.boards.push_back(std::move(board));
}

void Server::run(int stop) {
  constexpr std::size_t kOthers = 2;
  std::vector<bool> ready(sources_.size());
  std::vector<pollfd> events;
  while (true) {
    events = {{stop, POLLIN, 0}, {http_.descriptor(), POLLIN, 0}};
    for (const Source& source : sources_) events.push_back({source.input->descriptor(), POLLIN, 0});
    ::poll(events.data(), events.size(), timeOutMs(monotonicTime()));
    if (events[0].revents != 0) return;
    for (std::size_t at = 0; at < ready.size(); ++at) ready[at] = events[at + kOthers].revents != 0;
    const std::int64_t now = monotonicTime();
    readReady(now, ready);
    wakeViewers(now);
    fleet_.connections = http_.connections();
    http_.run();
  }
}

void Server::readReady(std::int64_t now, const std::vector<bool>& ready) {
  for (std::size_t at = 0; at < sources_.size(); ++at) {
    Source& source = sources_[at];
    const int lookMs = source.input->lookAfterMs();
    const bool isDue = source.lookNs == 0 || (lookMs != 0 && now >= source.lookNs);
    if (!ready[at] && !isDue) continue;
    const std::uint64_t samples = source.board.samples();
    const bool hasMore = source.input->read(source.board, now);
    hasNews_ = hasNews_ || samples != source.board.samples();
    // All at the same moments: a hundred sources wake the server as often as one.
    const std::int64_t lookNs = source.input->lookAfterMs() * kNanosecondsInMillisecond;
    source.lookNs = hasMore || lookNs == 0 ? now : now - now % lookNs + lookNs;
  }
}

void Server::wakeViewers(std::int64_t now) {
  if (fleet_.viewers == 0 && fleet_.downloads == 0) return;
  hasNews_ = fleet_.noteChanges(now) || hasNews_;
  const std::int64_t passed = now - wokenNs_;
  if ((!hasNews_ || passed < kWakeNs) && passed < kAnywayNs) return;
  hasNews_ = false;
  wokenNs_ = now;
  http_.wake();
}

int Server::timeOutMs(std::int64_t now) const {
  int timeOut = http_.timeOutMs();
  const auto atMost = [&](std::int64_t then) {
    const int wait = millisecondsTo(then, now);
    timeOut = timeOut < 0 ? wait : std::min(timeOut, wait);
  };
  for (const Source& source : sources_) {
    if (source.input->lookAfterMs() != 0 || source.lookNs == 0) atMost(source.lookNs);
  }
  if (fleet_.viewers == 0) return timeOut;
  atMost(wokenNs_ + (hasNews_ ? kWakeNs : kAnywayNs));
  const std::int64_t silence = fleet_.nextSilence(now);
  if (silence != 0) atMost(silence + kNanosecondsInMillisecond);
  return timeOut;
}

}  // namespace tool
