#include <cstdlib>
#include <cstring>

#include "tools/commands/options.h"

namespace tool {

TextStyle styleFor(const Sink& sink, const Options& options) {
  if (!sink.isTerminal()) return {};
  const char* const noColour = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  const bool refused = noColour != nullptr && noColour[0] != '\0';
  const bool dumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
  return {!refused && !dumb, options.wide ? kAnyWidth : sink.columns()};
}

}  // namespace tool
