#include "tools/views/absences.h"

#include <algorithm>

#include "tools/figures/time_units.h"
#include "tools/views/text.h"
#include "tools/views/words.h"

namespace tool {

namespace {

bool isSame(const Absence& a, const Absence& b) {
  return a.section == b.section && a.reason == b.reason && a.what == b.what;
}

// Those that the other list does not have.
std::vector<Absence> without(const std::vector<Absence>& all, const std::vector<Absence>& others) {
  std::vector<Absence> rest;
  std::copy_if(all.begin(), all.end(), std::back_inserter(rest), [&](const Absence& one) {
    return std::none_of(others.begin(), others.end(),
                        [&](const Absence& other) { return isSame(one, other); });
  });
  return rest;
}

}  // namespace

Absences::Change Absences::add(const Report& report) {
  const auto intervalNs = static_cast<std::int64_t>(report.intervalMs * kNanosecondsInMillisecond);
  const std::int64_t startNs = std::max(lastNs_, report.bootTimeNs - intervalNs);
  std::vector<Absence> now;
  for (const SectionSample& sample : report.sections) {
    for (const Gap& gap : gaps(sample)) {
      now.push_back({sample.schema, whatIsAbsent(gap, sample), clean(gap.reason), startNs, samples_});
    }
  }
  Change change{without(present_, now), without(now, present_)};
  present_ = without(present_, change.ended);
  present_.insert(present_.end(), change.begun.begin(), change.begun.end());
  ++samples_;
  lastNs_ = report.bootTimeNs;
  return change;
}

}  // namespace tool
