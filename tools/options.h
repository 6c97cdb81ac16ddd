// What the command line asks for.
#ifndef TESSARY_TOOLS_OPTIONS_H
#define TESSARY_TOOLS_OPTIONS_H

#include <string>
#include <vector>

#include "tools/output.h"
#include "tools/sampler.h"

namespace tool {

enum ExitCode { kOk = 0, kNothingRead = 1, kUsage = 2 };

struct Options {
  std::vector<std::string> monitors;  // names of sections; empty: the command's own choice
  Plan plan;
  std::string output;   // the recording's file, - for standard output
  double duration = 0;  // seconds of recording, 0: until it is stopped
  bool json = false;
  bool diagnostics = false;
};

// The commands: each returns the exit code.
int report(const Options& options, const Selection& sections, Streams& streams);
int record(const Options& options, const Selection& sections, Streams& streams);
int doctor(const Options& options, const Selection& sections, Streams& streams);
int selftest(Streams& streams);

// On a terminal that shows it, unless NO_COLOR says otherwise.
bool wantsColour(const Sink& sink);

}  // namespace tool

#endif
