// What the library says of itself and of the board, and the test runs that it brings along.
#ifndef TESSARY_TOOLS_SECTIONS_LIBRARY_H
#define TESSARY_TOOLS_SECTIONS_LIBRARY_H

#include <string>
#include <vector>

namespace tool {

std::string libraryVersion();

// Several lines: the version and the build.
std::string libraryBuild();

// Empty where they are not known.
struct BoardIdentity {
  std::string model;  // the tool's own reading: the library has none
  std::string platform;
  std::string soc;
};
BoardIdentity boardIdentity();

// A test run of the GPU profiler, which writes to standard output and ends with 0 when it passed.
struct SelfTest {
  const char* name;
  int (*run)();
};
const std::vector<SelfTest>& selfTests();

}  // namespace tool

#endif
