#include "tools/recording/live.h"

#include <sys/utsname.h>

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

}  // namespace

Live::Live(const Selection& sections, const Plan& plan, bool paced) : sampler_{sections, plan, paced} {
  origin_.tool = TESSARY_VERSION;
  origin_.library = libraryVersion();
  origin_.bootTimeNs = bootTime();
  origin_.unixTimeNs = unixTime();
  origin_.intervalMs = plan.intervalMs;
  for (const SectionInfo* const info : sections) origin_.sections.push_back(&info->schema);
}

const Origin& Live::origin() const {
  if (!named_) nameMachine(origin_);
  named_ = true;
  return origin_;
}

}  // namespace tool
