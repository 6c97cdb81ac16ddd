// A finished recording that is looked at to and fro.
#ifndef TESSARY_TOOLS_RECORDING_PLAYER_H
#define TESSARY_TOOLS_RECORDING_PLAYER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>

#include "tools/recording/source.h"

namespace tool {

class Player {
 public:
  using Open = std::function<std::unique_ptr<ReportSource>()>;  // the recording, from its start

  // Stands at the first report. Failure when there is none.
  explicit Player(Open open);

  const Origin& origin() const { return source_->origin(); }
  const Report& report() const { return window_[at_ - first_]; }
  std::size_t number() const { return at_; }  // of the report, from 0

  // To another report; beyond the ends, to the first or the last. True when it is another one.
  bool to(std::size_t number);
  void toEnd();

  // To the first report at this time, nanoseconds of the boot clock from the start, or later.
  void toTime(std::int64_t sinceStartNs);

  // The reports before this one that are at hand, in the order of time, and this one.
  const std::deque<Report>& window() const { return window_; }
  std::size_t inWindow() const { return at_ - first_; }

 private:
  bool readOn();
  void startAgain();

  Open open_;
  std::unique_ptr<ReportSource> source_;
  std::deque<Report> window_;  // the last that were read, so that going back a little is quick
  std::size_t first_ = 0;      // the number of the first of them
  std::size_t at_ = 0;
};

}  // namespace tool

#endif
