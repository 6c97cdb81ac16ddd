#include "tessary/version.h"

#include "base/console.h"
#include "version/generated.h"

namespace {

constexpr char kMajor[] = "v" TESSARY_VERSION_MAJOR;
constexpr char kMinor[] = TESSARY_VERSION_MINOR;
constexpr char kPatch[] = TESSARY_VERSION_PATCH;
constexpr char kSeparator[] = ".";
constexpr char kReleaseType[] = "EXT";

}  // namespace

std::string getLibraryVersion() {
  std::string version{kMajor};
  return version.append(kSeparator).append(kMinor).append(kSeparator).append(kPatch);
}

void printLibraryVersion() {
  tessary::print("Tessary Library Version details : \n");
  tessary::print("Tessary Library Version : " + getLibraryVersion() + "\n");
  tessary::print("Build Date : " __DATE__ "\n");
  tessary::print("Build Time : " __TIME__ "\n");
  tessary::printLine(std::string{"Release Type : "} + kReleaseType);
}
