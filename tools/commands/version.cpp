#include "tools/commands/options.h"
#include "tools/sections/library.h"

namespace tool {

int version(const Options&, Streams& streams) {
  streams.out.write(libraryBuild());
  return kOk;
}

}  // namespace tool
