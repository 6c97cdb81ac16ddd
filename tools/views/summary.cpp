#include "tools/views/summary.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/figures/time_units.h"
#include "tools/statistics/series.h"
#include "tools/views/escaping.h"
#include "tools/views/json.h"
#include "tools/views/text.h"
#include "tools/views/words.h"

namespace tool {

namespace {

using OrderedJson = nlohmann::ordered_json;

// The short form: of each table so many columns, and of the first of them so many items.
constexpr std::size_t kShortColumns = 2;
constexpr std::size_t kShortItems = 2;
constexpr std::size_t kShortGaps = 5;

struct SpreadColumn {
  const char* name;
  double Spread::*value;
};
constexpr SpreadColumn kSpreadColumns[] = {{"mean", &Spread::mean},
                                           {"p50", &Spread::p50},
                                           {"p95", &Spread::p95},
                                           {"max", &Spread::max},
                                           {"min", &Spread::min}};

// Lines of cells in columns: the first to the left, figures to the right.
std::string aligned(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths(rows[0].size());
  for (const std::vector<std::string>& row : rows) {
    for (std::size_t at = 0; at < row.size(); ++at) widths[at] = std::max(widths[at], row[at].size());
  }
  std::string text;
  for (const std::vector<std::string>& row : rows) {
    std::string line = row[0] + std::string(widths[0] - row[0].size(), ' ');
    for (std::size_t at = 1; at < row.size(); ++at) {
      line += "  " + std::string(widths[at] - row[at].size(), ' ') + row[at];
    }
    text += line + "\n";
  }
  return text;
}

std::string seconds(std::int64_t ns) {
  return wordsOf(std::round(static_cast<double>(ns) / 1e6) / 1000) + " s";
}

}  // namespace

Spread spreadOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return {statistics::mean(values), statistics::quantile(values, 0.5), statistics::quantile(values, 0.95),
          values.back(), values.front()};
}

void Summary::add(const Report& report) {
  const auto intervalNs = static_cast<std::int64_t>(report.intervalMs * kNanosecondsInMillisecond);
  if (samples_ == 0) firstNs_ = report.bootTimeNs - intervalNs;
  ++samples_;
  missed_ += report.missed;
  suspendedMs_ += report.suspendedMs;
  followWallClock(report);
  forEachFigure(report, [&](const Figure& figure) {
    if (figure.column.role == kFigure && isNumber(figure.value)) {
      seriesOf(figure).values.push_back(numberOf(figure.value));
    }
  });
  const Absences::Change change = absences_.add(report);
  for (const Absence& ended : change.ended)
    gaps_.push_back({ended, report.bootTimeNs - intervalNs - ended.fromNs});
  lastNs_ = report.bootTimeNs;
}

// A wall clock that is kept right drifts from the other by less than a thousandth; what jumps was set.
void Summary::followWallClock(const Report& report) {
  constexpr std::int64_t kLeastStepNs = 100 * kNanosecondsInMillisecond;
  if (!report.unixTimeNs) return;
  const std::int64_t offset = *report.unixTimeNs - report.bootTimeNs;
  if (wallClockOffsetNs_) {
    const std::int64_t step = offset - *wallClockOffsetNs_;
    const auto drift = static_cast<std::int64_t>(report.intervalMs * 1000);
    if (std::abs(step) > kLeastStepNs + drift) clockSteps_.push_back({report.bootTimeNs - firstNs_, step});
  }
  wallClockOffsetNs_ = offset;
}

void Summary::end() {
  for (const Absence& open : absences_.present()) gaps_.push_back({open, lastNs_ - open.fromNs});
}

Summary::Series& Summary::seriesOf(const Figure& figure) {
  const auto [known, isNew] = places_.try_emplace(pathOf(figure), series_.size());
  if (isNew) {
    series_.push_back({&figure.section, &figure.table, &figure.column, known->first, {}});
  }
  return series_[known->second];
}

// In the order of the tables: a figure of an item that came later stands with its kind.
std::vector<const Summary::Series*> Summary::ordered() const {
  std::vector<const Series*> all;
  for (const Series& series : series_) all.push_back(&series);
  sort(all);
  return all;
}

void Summary::sort(std::vector<const Series*>& all) const {
  std::stable_sort(all.begin(), all.end(), [&](const Series* a, const Series* b) {
    if (a->section != b->section) return sectionRank(a->section) < sectionRank(b->section);
    return a->table != b->table ? a->table < b->table : a->column < b->column;
  });
}

std::size_t Summary::sectionRank(const SectionSchema* section) const {
  const auto found = std::find(origin_.sections.begin(), origin_.sections.end(), section);
  return static_cast<std::size_t>(found - origin_.sections.begin());
}

// Of each table the first figures of rank 0; of items those that are largest in the first of them, of the
// others the largest alone.
std::vector<const Summary::Series*> Summary::shortened() const {
  std::map<const TableInfo*, std::vector<const ColumnInfo*>> columns;
  for (const Series* const series : ordered()) {
    std::vector<const ColumnInfo*>& chosen = columns[series->table];
    const bool known = std::find(chosen.begin(), chosen.end(), series->column) != chosen.end();
    if (!known && series->column->rank == 0 && chosen.size() < kShortColumns)
      chosen.push_back(series->column);
  }
  std::vector<const Series*> result;
  for (const auto& [table, chosen] : columns) {
    for (const ColumnInfo* const column : chosen) {
      const std::size_t items = column == chosen.front() ? kShortItems : 1;
      for (const Series* const series : largest(column, items)) result.push_back(series);
    }
  }
  sort(result);
  return result;
}

std::vector<const Summary::Series*> Summary::largest(const ColumnInfo* column, std::size_t count) const {
  std::vector<const Series*> all = ordered();
  all.erase(std::remove_if(all.begin(), all.end(), [&](const Series* one) { return one->column != column; }),
            all.end());
  std::stable_sort(all.begin(), all.end(), [](const Series* a, const Series* b) {
    return statistics::mean(a->values) > statistics::mean(b->values);
  });
  all.resize(std::min(all.size(), count));
  return all;
}

std::string Summary::text(bool everything) const {
  std::string text = heading();
  std::vector<std::vector<std::string>> rows{{"figure"}};
  for (const SpreadColumn& statistic : kSpreadColumns) rows[0].emplace_back(statistic.name);
  for (const char* const heading : {"samples", "gaps"}) rows[0].emplace_back(heading);
  for (const Series* const series : everything ? ordered() : shortened()) {
    const Spread spread = spreadOf(series->values);
    std::vector<std::string>& row = rows.emplace_back();
    row.push_back(printable(series->path));
    for (const SpreadColumn& statistic : kSpreadColumns) {
      row.push_back(shown(spread.*statistic.value, series->column->format));
    }
    row.push_back(std::to_string(series->values.size()));
    row.push_back(std::to_string(samples_ - series->values.size()));
  }
  text += aligned(rows);
  if (!everything && rows.size() < series_.size() + 1) {
    text += std::to_string(rows.size() - 1) + " of " + std::to_string(series_.size()) +
            " figures: those of most interest, and the largest of many; --all has the others\n";
  }
  return text + gapLines(everything);
}

std::string Summary::heading() const {
  std::string text = printable(boardOf(origin_));
  for (const std::string& more : {origin_.platform, origin_.host, origin_.kernel}) {
    if (!more.empty()) text += ", " + printable(more);
  }
  text += "\n" + (origin_.unixTimeNs ? utcTime(*origin_.unixTimeNs) + ", " : std::string{});
  text += seconds(lastNs_ - firstNs_) + ", " + std::to_string(samples_) + " samples of " +
          wordsOf(origin_.intervalMs) + " ms";
  if (missed_ > 0) text += ", " + std::to_string(missed_) + " missed";
  return text + ", tool " + printable(origin_.tool) + ", library " + printable(origin_.library) + "\n" +
         clockLines() + "\n";
}

std::string Summary::clockLines() const {
  std::string lines;
  for (const ClockStep& step : clockSteps_) {
    lines += std::string{"the wall clock was set "} + (step.byNs < 0 ? "back" : "forward") + " by " +
             seconds(std::abs(step.byNs)) + " within the sample that ends after " + seconds(step.afterNs) +
             "\n";
  }
  if (suspendedMs_ > 0) {
    lines += "suspended for " + seconds(static_cast<std::int64_t>(suspendedMs_ * kNanosecondsInMillisecond)) +
             " in all\n";
  }
  return lines;
}

// Where something was absent now and then, its times are added up.
std::vector<Summary::Gap> Summary::addedGaps() const {
  std::vector<Gap> added;
  for (const Gap& gap : gaps_) {
    const auto same = std::find_if(added.begin(), added.end(), [&](const Gap& other) {
      return other.absence.section == gap.absence.section && other.absence.what == gap.absence.what &&
             other.absence.reason == gap.absence.reason;
    });
    if (same == added.end()) {
      added.push_back(gap);
    } else {
      same->lengthNs += gap.lengthNs;
      ++same->times;
    }
  }
  return added;
}

std::string Summary::gapLines(bool everything) const {
  std::vector<Gap> all = addedGaps();
  std::stable_sort(all.begin(), all.end(),
                   [](const Gap& a, const Gap& b) { return a.lengthNs > b.lengthNs; });
  const std::size_t count = everything ? all.size() : std::min(all.size(), kShortGaps);
  std::string lines;
  for (std::size_t at = 0; at < count; ++at) {
    const Gap& gap = all[at];
    const std::string times = gap.times > 1 ? ", " + std::to_string(gap.times) + " times" : std::string{};
    lines += std::string{"  "} + gap.absence.section->name + ": " + gap.absence.what + ": " +
             printable(gap.absence.reason) + " (" + seconds(gap.lengthNs) + times + ")\n";
  }
  if (count < all.size()) lines += "  and " + std::to_string(all.size() - count) + " more; --all has them\n";
  return lines.empty() ? lines : "\nnot read:\n" + lines;
}

std::string Summary::json() const {
  OrderedJson figures = OrderedJson::array();
  for (const Series* const series : ordered()) {
    OrderedJson one{{"figure", series->path}, {"unit", series->column->format.unit.name}};
    const Spread spread = spreadOf(series->values);
    for (const SpreadColumn& statistic : kSpreadColumns) {
      one[statistic.name] = rounded(spread.*statistic.value, series->column->format.jsonDecimals);
    }
    one["samples"] = series->values.size();
    one["gaps"] = samples_ - series->values.size();
    figures.push_back(std::move(one));
  }
  OrderedJson gaps = OrderedJson::array();
  for (const Gap& gap : addedGaps()) {
    gaps.push_back({{"section", gap.absence.section->name},
                    {"what", gap.absence.what},
                    {"reason", gap.absence.reason},
                    {"seconds", static_cast<double>(gap.lengthNs) / kNanosecondsInSecond},
                    {"times", gap.times}});
  }
  OrderedJson clockSteps = OrderedJson::array();
  for (const ClockStep& step : clockSteps_) {
    clockSteps.push_back({{"after_seconds", static_cast<double>(step.afterNs) / kNanosecondsInSecond},
                          {"by_seconds", static_cast<double>(step.byNs) / kNanosecondsInSecond}});
  }
  const OrderedJson document{{"schema", "tessary-summary"},
                             {"version", 2},
                             {"board", clean(boardOf(origin_))},
                             {"samples", samples_},
                             {"missed", missed_},
                             {"seconds", static_cast<double>(lastNs_ - firstNs_) / kNanosecondsInSecond},
                             {"suspended_seconds", suspendedMs_ / kMillisecondsInSecond},
                             {"wall_clock_steps", clockSteps},
                             {"figures", figures},
                             {"not_read", gaps}};
  return document.dump(kJsonIndent) + "\n";
}

}  // namespace tool
