// This machine as a source of reports.
#ifndef TESSARY_TOOLS_RECORDING_LIVE_H
#define TESSARY_TOOLS_RECORDING_LIVE_H

#include <optional>

#include "tools/recording/sampler.h"
#include "tools/recording/source.h"

namespace tool {

class Live : public ReportSource {
 public:
  // Paced, each report takes the interval, even when no section has to wait.
  Live(const Selection& sections, const Plan& plan, bool paced = false);

  // Asks the board for its names the first time.
  const Origin& origin() const override;

  std::optional<Report> next(int stop = kNoStop) override { return sampler_.sample(stop); }

 private:
  mutable Origin origin_;
  mutable bool named_ = false;
  Sampler sampler_;
};

}  // namespace tool

#endif
