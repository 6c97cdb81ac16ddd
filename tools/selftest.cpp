#include <tessary/gpu_selftest.h>

#include <cstdio>
#include <iostream>

#include "tools/options.h"

namespace tool {

namespace {

struct Routine {
  const char* name;
  int (*run)();
};

constexpr Routine kRoutines[] = {{"RealTimeMetricsSample", RealTimeMetricsSample}, {"run_test", run_test}};

}  // namespace

int selftest(Streams& streams) {
  int failures = 0;
  for (const Routine& routine : kRoutines) {
    streams.out.write(std::string{routine.name} + "\n");
    const bool passed = routine.run() == 0;
    std::cout.flush();
    std::fflush(stdout);
    streams.out.write(std::string{routine.name} + (passed ? ": passed\n" : ": failed\n"));
    failures += passed ? 0 : 1;
  }
  return failures == 0 ? kOk : kNothingRead;
}

}  // namespace tool
