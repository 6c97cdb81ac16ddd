#include <cstdlib>
#include <cstring>

#include "tools/commands/options.h"
#include "tools/recording/live.h"
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

int report(const Options& options, const Selection& sections, Streams& streams) {
  Live live{sections, options.plan};
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
  if (hasFigures(report)) return kOk;
  streams.error.write("tessary: nothing could be read; \"tessary doctor\" tells what to do about it\n");
  return kNothingRead;
}

}  // namespace tool
