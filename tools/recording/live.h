// This machine as a source of reports.
#ifndef TESSARY_TOOLS_RECORDING_LIVE_H
#define TESSARY_TOOLS_RECORDING_LIVE_H

#include <cstdint>
#include <optional>

#include "tools/recording/grid.h"
#include "tools/recording/sampler.h"
#include "tools/recording/source.h"

namespace tool {

class Live : public ReportSource {
 public:
  // Each report is over the interval from when it is asked for, or at once when no section has to wait.
  Live(const Selection& sections, const Plan& plan);

  // The reports end at multiples of the interval and last as long; a duration of 0 has no end.
  Live(const Selection& sections, const Plan& plan, std::int64_t durationNs);

  // Asks the board for its names the first time, and counts the time from then on.
  const Origin& origin() const override;

  std::optional<Report> next(int stop = kNoStop) override;

 private:
  std::optional<Report> nextOnGrid(int stop);

  int intervalMs_;
  std::optional<std::int64_t> durationNs_;  // none: there is no grid
  mutable Origin origin_;
  mutable bool begun_ = false;
  std::optional<Grid> grid_;
  Sampler sampler_;
};

}  // namespace tool

#endif
