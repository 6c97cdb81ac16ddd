#include <algorithm>
#include <future>
#include <numeric>
#include <utility>

#include "tools/commands/options.h"
#include "tools/output.h"
#include "tools/recording/recording.h"
#include "tools/verdict/comparison.h"
#include "tools/verdict/selector.h"
#include "tools/views/comparison.h"
#include "tools/views/dataset.h"
#include "tools/views/html.h"

namespace tool {

namespace {

// Fixed figures describe the machine: they are not better or worse.
Recorded::Wanted wantedOf(const std::vector<Selector>& selectors) {
  return [selectors](const Figure& figure) {
    if (figure.column.role != kFigure) return false;
    return selectors.empty() ||
           std::any_of(selectors.begin(), selectors.end(),
                       [&](const Selector& selector) { return selector.matches(figure); });
  };
}

struct ReadSide {
  Side recordings;
  ComparedSide summary;
  std::string warnings;
  std::vector<Dataset> charts;  // when there is to be a page
};

ReadSide readSide(const std::vector<std::string>& files, const Recorded::Wanted& wanted, bool withCharts) {
  ReadSide side;
  for (const std::string& file : files) {
    const auto source = openRecording(
        file, allSchemas(), [&side](const std::string& text) { side.warnings += "tessary: " + text + "\n"; });
    Recorded& recorded = side.recordings.emplace_back(wanted);
    Dataset* const charts = withCharts ? &side.charts.emplace_back(file) : nullptr;
    if (charts != nullptr) charts->begin(source->origin());
    while (const std::optional<Report> report = source->next()) {
      recorded.add(*report);
      if (charts != nullptr) charts->add(*report);
    }
    if (charts != nullptr) charts->end();
    if (recorded.samples() == 0) throw Failure{file + ": holds no sample"};
    side.summary.names.push_back(file);
    side.summary.samples += recorded.samples();
    side.summary.seconds += std::accumulate(recorded.seconds().begin(), recorded.seconds().end(), 0.0);
  }
  return side;
}

// What was asked for by name and is in no recording.
void addUnseen(Comparison& comparison, const std::vector<Selector>& selectors, const ReadSide& base,
               const ReadSide& other) {
  for (const Selector& selector : selectors) {
    const auto isSeen = [&selector](const Recorded& recorded) {
      const std::deque<RecordedFigure>& figures = recorded.figures();
      return std::any_of(figures.begin(), figures.end(), [&](const RecordedFigure& figure) {
        return selector.matches({*figure.section, *figure.table, *figure.column, figure.row, figure.row[0]});
      });
    };
    const bool seen = std::any_of(base.recordings.begin(), base.recordings.end(), isSeen) ||
                      std::any_of(other.recordings.begin(), other.recordings.end(), isSeen);
    if (!seen) comparison.left.push_back({selector.text, "in no sample of either side"});
  }
}

// All recordings over each other.
void writeCharts(const std::string& path, const ReadSide& base, const ReadSide& other) {
  std::vector<Dataset> all = base.charts;
  all.insert(all.end(), other.charts.begin(), other.charts.end());
  Sink file = Sink::file(path);
  writePage([&file](std::string_view text) { file.write(text); }, "Comparison", all);
}

int exitCode(const Comparison& comparison, bool askedByName) {
  const auto any = [&](Verdict verdict) {
    return std::any_of(comparison.figures.begin(), comparison.figures.end(),
                       [verdict](const ComparedFigure& figure) { return figure.verdict == verdict; });
  };
  if (any(kWorse)) return kLimitPassed;
  return askedByName && (any(kNotEnough) || !comparison.left.empty()) ? kNotEnoughData : kOk;
}

}  // namespace

int compare(const Options& options, Streams& streams) {
  std::vector<std::string> base = options.files;
  std::vector<std::string> other = options.with;
  if (other.empty() && base.size() == 2) other = {std::exchange(base, {base[0]})[1]};
  if (base.empty() || other.empty()) {
    streams.error.write("tessary: compare takes two recordings, or several --with several others\n");
    return kUsage;
  }

  const Recorded::Wanted wanted = wantedOf(options.figures);
  const bool withCharts = !options.html.empty();
  std::future<ReadSide> reading =
      std::async(std::launch::async, readSide, std::cref(other), std::cref(wanted), withCharts);
  const ReadSide bases = readSide(base, wanted, withCharts);
  const ReadSide others = reading.get();
  const std::string warnings = bases.warnings + others.warnings;
  if (!warnings.empty()) streams.error.write(warnings);

  ComparisonPlan plan;
  plan.least = options.leastPercent / 100;
  Comparison comparison = compare(bases.recordings, others.recordings, plan);
  addUnseen(comparison, options.figures, bases, others);
  if (withCharts) writeCharts(options.html, bases, others);
  streams.out.write(options.json ? comparisonJson(comparison, bases.summary, others.summary, plan)
                                 : comparisonText(comparison, bases.summary, others.summary,
                                                  styleFor(streams.out, options)));
  return exitCode(comparison, !options.figures.empty());
}

}  // namespace tool
