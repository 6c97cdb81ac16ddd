#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

#include "tools/commands/options.h"
#include "tools/commands/recordings.h"
#include "tools/recording/live.h"
#include "tools/views/json.h"

namespace tool {

namespace {

constexpr std::size_t kReportedProcesses = 10;  // of the tables of processes

// The sections of a recording that were asked for.
void keep(const Selection& sections, Report& report) {
  const auto isUnwanted = [&](const SectionSample& sample) {
    return std::none_of(sections.begin(), sections.end(),
                        [&](const SectionInfo* info) { return &info->schema == sample.schema; });
  };
  std::vector<SectionSample>& all = report.sections;
  all.erase(std::remove_if(all.begin(), all.end(), isUnwanted), all.end());
}

Report lastOf(ReportSource& recording, const std::string& name) {
  std::optional<Report> last;
  while (std::optional<Report> report = recording.next()) last = std::move(report);
  if (!last) throw Failure{name + ": holds no sample"};
  return std::move(*last);
}

// Of the rows that stand for processes, one has a figure; or nobody asked for processes.
bool anyProcess(const Report& report) {
  bool asked = false;
  bool any = false;
  forEachFigure(report, [&](const Figure& figure) {
    if (figure.table.isFields() || std::string_view{figure.table.item} != "process") return;
    asked = true;
    any = any || !isAbsent(figure.value);
  });
  return any || !asked;
}

// This machine now, or a recording's last sample.
std::unique_ptr<ReportSource> openSource(const Options& options, const Selection& sections,
                                         Streams& streams) {
  if (!options.operand.empty()) return openForReading(options.operand, streams);
  Plan plan = options.plan;
  plan.top = options.top.value_or(kReportedProcesses);
  return std::make_unique<Live>(sections, plan);
}

Report takeReport(ReportSource& source, const Options& options, const Selection& sections) {
  if (options.operand.empty()) return *source.next();
  Report report = lastOf(source, options.operand);
  keep(sections, report);
  return report;
}

}  // namespace

int report(const Options& options, Streams& streams) {
  if (!options.operand.empty() && !options.plan.pids.empty()) {
    streams.error.write("tessary: --pid is for this machine; a recording has the processes that it has\n");
    return kUsage;
  }
  streams.divertLibrary(options.diagnostics);
  const Selection sections = select(options.monitors, true);
  const std::unique_ptr<ReportSource> source = openSource(options, sections, streams);
  const Report report = takeReport(*source, options, sections);
  std::string text;
  if (options.json) {
    text = reportDocument(source->origin(), report);
  } else {
    const TextStyle style = styleFor(streams.out, options);
    for (const SectionSample& sample : report.sections) {
      if (!text.empty()) text += "\n";
      text += renderText(sample, style);
    }
  }
  streams.out.write(text);
  if (!options.plan.pids.empty() && !anyProcess(report)) {
    streams.error.write("tessary: none of these processes could be read\n");
    return kNothingRead;
  }
  if (hasFigures(report)) return kOk;
  streams.error.write("tessary: nothing could be read; \"tessary doctor\" tells what to do about it\n");
  return kNothingRead;
}

}  // namespace tool
