#include "tools/recording/feed.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace tool {

Feed::Feed(std::unique_ptr<ReportSource> source)
    : source_{std::move(source)},
      ready_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)},
      stop_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)},
      thread_{[this] { run(); }} {}

Feed::~Feed() {
  ::eventfd_write(stop_, 1);
  thread_.join();
  ::close(ready_);
  ::close(stop_);
}

void Feed::run() {
  bool more = true;
  while (more) {
    std::optional<Report> report;
    std::exception_ptr failure;
    try {
      report = source_->next(stop_);
    } catch (...) {
      failure = std::current_exception();
    }
    const std::lock_guard<std::mutex> lock{mutex_};
    more = report.has_value();
    news_.origin = source_->origin();
    news_.ended = !more;
    failure_ = failure;
    if (more) news_.reports.push_back(std::move(*report));
    ::eventfd_write(ready_, 1);
  }
}

Feed::News Feed::take() {
  const std::lock_guard<std::mutex> lock{mutex_};
  eventfd_t count = 0;
  ::eventfd_read(ready_, &count);
  if (failure_) std::rethrow_exception(failure_);
  News taken{std::move(news_.reports), news_.origin, news_.ended};
  news_.reports.clear();
  return taken;
}

}  // namespace tool
