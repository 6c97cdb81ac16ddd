#include "tools/recording/live.h"

#include <sys/utsname.h>

#include "tools/figures/time_units.h"
#include "tools/sections/library.h"

namespace tool {

namespace {

void nameMachine(Origin& origin) {
  utsname system{};
  ::uname(&system);
  origin.host = system.nodename;
  origin.kernel = std::string{system.sysname} + " " + system.release;
  BoardIdentity board = boardIdentity();
  origin.model = std::move(board.model);
  origin.platform = std::move(board.platform);
  origin.soc = std::move(board.soc);
}

void describe(Origin& origin, const Selection& sections, const Plan& plan) {
  origin.tool = TESSARY_VERSION;
  origin.library = libraryVersion();
  origin.intervalMs = plan.intervalMs;
  for (const SectionInfo* const info : sections) origin.sections.push_back(&info->schema);
}

}  // namespace

Live::Live(const Selection& sections, const Plan& plan)
    : intervalMs_{plan.intervalMs}, sampler_{sections, plan, false} {
  describe(origin_, sections, plan);
}

Live::Live(const Selection& sections, const Plan& plan, std::int64_t durationNs)
    : intervalMs_{plan.intervalMs}, durationNs_{durationNs}, sampler_{sections, plan, true} {
  describe(origin_, sections, plan);
}

const Origin& Live::origin() const {
  if (begun_) return origin_;
  begun_ = true;
  nameMachine(origin_);
  origin_.bootTimeNs = bootTime();
  origin_.unixTimeNs = unixTime();
  return origin_;
}

std::optional<Report> Live::next(int stop) {
  return durationNs_ ? nextOnGrid(stop) : sampler_.sample(intervalMs_, stop);
}

std::optional<Report> Live::nextOnGrid(int stop) {
  if (!grid_) grid_.emplace(origin().bootTimeNs, intervalMs_ * kNanosecondsInMillisecond, *durationNs_);
  const std::int64_t now = bootTime();
  const std::optional<std::int64_t> end = grid_->plan(now);
  if (!end) return std::nullopt;
  const std::int64_t waitMs = (*end - now + kNanosecondsInMillisecond - 1) / kNanosecondsInMillisecond;
  std::optional<Report> report = sampler_.sample(static_cast<int>(waitMs), stop);
  if (report) report->missed = grid_->end(report->bootTimeNs);
  return report;
}

}  // namespace tool
