#include "tools/views/absences.h"

#include <algorithm>

#include "tools/views/words.h"

namespace tool {

namespace {

constexpr double kNanosecondsInMillisecond = 1e6;

std::string itemWords(const Gap::Item& item, const SectionSample& sample) {
  const TableInfo& table = sample.schema->tables[item.table];
  if (item.column == nullptr) return table.isFields() ? "all figures" : table.key;
  std::string words = item.column->heading;
  std::string rows;
  for (const std::size_t row : item.rows) {
    rows += (rows.empty() ? "" : ", ") + labelsOf(table, sample.tables[item.table].rows[row]);
  }
  return rows.empty() ? words : words + " (" + table.item + " " + rows + ")";
}

std::string words(const Gap& gap, const SectionSample& sample) {
  std::string all;
  for (const Gap::Item& item : gap.items) all += (all.empty() ? "" : ", ") + itemWords(item, sample);
  return all;
}

bool isSame(const Absence& a, const Absence& b) {
  return a.section == b.section && a.reason == b.reason && a.what == b.what;
}

// Moves those that the other list does not have.
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
      now.push_back({sample.schema, words(gap, sample), clean(gap.reason), startNs, samples_});
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
