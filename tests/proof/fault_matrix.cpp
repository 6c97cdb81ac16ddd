// The fault matrix. Prints a line that says what was tried, and a line for each mistake.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "tessary/memory_mon.h"
#include "tests/proof/operations.h"
#include "tests/proof/programs.h"
#include "tests/proof/silent_output.h"
#include "tests/proof/summary.h"

namespace {

using namespace proof;

// By any of the object's own functions.
const void* theLibrary() {
  const auto address = &memory::MEMORY_MON::tessary_getMemStats;
  return reinterpret_cast<const void* const&>(address);
}

Summary runMonitors(std::string_view wanted) {
  Summary summary;
  for (const auto operations : {cpuOperations, processOperations, kernelOperations, deviceOperations}) {
    for (const Operation& operation : operations()) {
      if (std::string_view{operation.name}.find(wanted) != std::string_view::npos) run(operation, summary);
    }
  }
  return summary;
}

// tessary_fault_matrix monitors [PART-OF-A-NAME]
// tessary_fault_matrix report|record MODULE STRIDE-OF-MEMORY STRIDE-OF-CELLS
Summary runAsTold(const std::vector<std::string>& arguments) {
  const std::string& what = arguments.at(1);
  if (what != "monitors") {
    return runPrograms(arguments.at(2), what, {std::stoul(arguments.at(3)), std::stoul(arguments.at(4))});
  }
  return runMonitors(arguments.size() > 2 ? arguments[2] : "");
}

}  // namespace

int main(int argc, char** argv) {
  tellOfTheEnd();
  const std::vector<std::string> arguments{argv, argv + argc};
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::string> unknown;
  Summary summary;
  {
    const SilentOutput silent;
    unknown = standInFor(theLibrary());
    summary = runAsTold(arguments);
  }
  for (const std::string& name : unknown) {
    summary.mistakes.push_back("the library calls " + name + ", and nothing says how that fails");
  }
  for (const std::string& mistake : summary.mistakes) std::printf("%s\n", mistake.c_str());
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
  char line[256];
  std::snprintf(line, sizeof line,
                "fault matrix, %s: %zu operations, %zu calls, %zu cells, %zu mistakes, %.1f s",
                arguments[1].c_str(), summary.operations, summary.calls, summary.cells,
                summary.mistakes.size(), passed.count());
  tell(line);
  return summary.mistakes.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}
