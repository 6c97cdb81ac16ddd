#include <string_view>

#include "tools/commands/options.h"
#include "tools/recording/live.h"
#include "tools/views/json.h"

namespace tool {

namespace {

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

}  // namespace

int report(const Options& options, Streams& streams) {
  streams.divertLibrary(options.diagnostics);
  Live live{select(options.monitors, true), options.plan};
  const Report report = *live.next();
  std::string text;
  if (options.json) {
    text = reportDocument(live.origin(), report);
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
