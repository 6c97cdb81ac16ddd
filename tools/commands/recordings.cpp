#include "tools/commands/recordings.h"

#include "tools/sections/sections.h"

namespace tool {

std::unique_ptr<Recording> openForReading(const std::string& path, Streams& streams, Ending ending) {
  const Warning warn = [&streams](const std::string& text) {
    streams.error.write("tessary: " + text + "\n");
  };
  return openRecording(path, allSchemas(), warn, ending);
}

}  // namespace tool
