#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "tools/commands/options.h"
#include "tools/recording/live.h"
#include "tools/recording/recording.h"
#include "tools/views/json.h"

namespace tool {

TextStyle styleFor(const Sink& sink, const Options& options) {
  if (!sink.isTerminal()) return {};
  const char* const noColour = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  const bool refused = noColour != nullptr && noColour[0] != '\0';
  const bool dumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
  return {!refused && !dumb, options.wide ? kAnyWidth : sink.columns()};
}

namespace {

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

Schemas allSchemas() {
  Schemas all;
  for (const SectionInfo* const info : allSections()) all.push_back(&info->schema);
  return all;
}

}  // namespace

int report(const Options& options, const Selection& sections, Streams& streams) {
  std::unique_ptr<ReportSource> source;
  Report report;
  if (options.input.empty()) {
    source = std::make_unique<Live>(sections, options.plan);
    report = *source->next();
  } else {
    source = openRecording(options.input, allSchemas(), [&streams](const std::string& text) {
      streams.error.write("tessary: " + text + "\n");
    });
    report = lastOf(*source, options.input);
    keep(sections, report);
  }
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
  if (hasFigures(report)) return kOk;
  streams.error.write("tessary: nothing could be read; \"tessary doctor\" tells what to do about it\n");
  return kNothingRead;
}

}  // namespace tool
