#include <cstdio>
#include <iostream>

#include "tools/commands/options.h"
#include "tools/sections/library.h"

namespace tool {

int selftest(const Options&, Streams& streams) {
  int failures = 0;
  for (const SelfTest& test : selfTests()) {
    streams.out.write(std::string{test.name} + "\n");
    const bool passed = test.run() == 0;
    // The library's words, before the verdict.
    std::cout.flush();
    std::fflush(stdout);
    streams.out.write(std::string{test.name} + (passed ? ": passed\n" : ": failed\n"));
    failures += passed ? 0 : 1;
  }
  return failures == 0 ? kOk : kNothingRead;
}

}  // namespace tool
