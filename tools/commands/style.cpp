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
  constexpr std::size_t kUsualColumns = 80;  // of a terminal that does not know, as over a debug bridge
  const std::size_t columns = sink.size().columns;
  return {!refused && !dumb, options.wide ? kAnyWidth : columns != 0 ? columns : kUsualColumns};
}

}  // namespace tool
