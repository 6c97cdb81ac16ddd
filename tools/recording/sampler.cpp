#include "tools/recording/sampler.h"

#include <exception>

#include "tools/figures/time_units.h"

namespace tool {

namespace {

// The clocks are read one after the other, and the thread may lose its core between: no suspend is as short.
constexpr std::int64_t kBetweenReadings = 50'000'000;

// The text of the exception that `step` ends with; empty without one.
template <typename Step>
std::string failureOf(const Step& step) {
  try {
    step();
  } catch (const std::exception& exception) {
    return exception.what();
  }
  return {};
}

}  // namespace

Sampler::Sampler(const Selection& sections, const Plan& plan, bool paced) : paced_{paced} {
  for (const SectionInfo* const info : sections) {
    Opened& opened = sections_.emplace_back(Opened{info, nullptr, {}});
    opened.failure = failureOf([&] { opened.section = info->open(plan); });
  }
}

std::optional<Report> Sampler::sample(int waitMs, int stop) {
  std::vector<std::function<void()>> waits;
  for (Opened& opened : sections_) {
    if (!opened.section) continue;
    opened.failure = failureOf([&] { opened.section->begin(waitMs); });
    if (!opened.failure.empty()) continue;
    for (std::function<void()>& wait : opened.section->waits()) {
      waits.push_back([&opened, wait = std::move(wait)] {
        const std::string failure = failureOf(wait);
        if (!failure.empty()) opened.failure = failure;
      });
    }
  }

  // A monitor that cannot read ends at once; the interval is waited for all the same.
  if (paced_) waits.push_back(sleepFor(waitMs));

  const std::int64_t awake = awakeTime();
  const std::int64_t start = bootTime();
  if (!runSideBySide(waits, stop)) return std::nullopt;
  const std::int64_t end = bootTime();
  const std::int64_t slept = (end - start) - (awakeTime() - awake);

  Report report;
  report.bootTimeNs = end;
  report.unixTimeNs = unixTime();
  report.intervalMs = static_cast<double>(end - start) / kNanosecondsInMillisecond;
  if (slept > kBetweenReadings) report.suspendedMs = static_cast<double>(slept) / kNanosecondsInMillisecond;
  for (Opened& opened : sections_) {
    SectionSample sample{&opened.info->schema, {}};
    if (opened.failure.empty()) {
      opened.failure = failureOf([&] { sample.tables = opened.section->read(); });
    }
    if (!opened.failure.empty()) sample = allAbsent(opened.info->schema, opened.failure);
    report.sections.push_back(std::move(sample));
  }
  return report;
}

}  // namespace tool
