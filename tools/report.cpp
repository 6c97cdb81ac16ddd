#include <cstdlib>
#include <cstring>

#include "tools/json.h"
#include "tools/options.h"
#include "tools/text.h"

namespace tool {

bool wantsColour(const Sink& sink) {
  const char* const noColour = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  const bool refused = noColour != nullptr && noColour[0] != '\0';
  const bool dumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
  return sink.isTerminal() && !refused && !dumb;
}

int report(const Options& options, const Selection& sections, Streams& streams) {
  Sampler sampler{sections, options.plan};
  const Report report = *sampler.sample();
  std::string text;
  if (options.json) {
    text = reportDocument(report);
  } else {
    const bool colour = wantsColour(streams.out);
    for (const Report::Part& part : report.parts) {
      if (!text.empty()) text += "\n";
      text += renderText(part.info->title, part.info->blocks, part.sample, colour);
    }
  }
  streams.out.write(text);
  if (report.hasFigures()) return kOk;
  streams.error.write("tessary: nothing could be read; \"tessary doctor\" tells what to do about it\n");
  return kNothingRead;
}

}  // namespace tool
