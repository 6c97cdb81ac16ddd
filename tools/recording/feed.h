// A source that is read on a thread of its own, so that keys are heard while it waits for the next report.
#ifndef TESSARY_TOOLS_RECORDING_FEED_H
#define TESSARY_TOOLS_RECORDING_FEED_H

#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "tools/recording/source.h"

namespace tool {

class Feed {
 public:
  explicit Feed(std::unique_ptr<ReportSource> source);
  ~Feed();
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  // A descriptor that becomes readable when there is something to take.
  int ready() const { return ready_; }

  struct News {
    std::vector<Report> reports;  // since the call before
    Origin origin;                // of the last of them
    bool ended = false;
  };

  // Throws what the source has thrown.
  News take();

 private:
  void run();

  std::unique_ptr<ReportSource> source_;
  int ready_;
  int stop_;
  std::mutex mutex_;
  News news_;
  std::exception_ptr failure_;
  std::thread thread_;
};

}  // namespace tool

#endif
