// What the command line asks for.
#ifndef TESSARY_TOOLS_COMMANDS_OPTIONS_H
#define TESSARY_TOOLS_COMMANDS_OPTIONS_H

#include <string>
#include <vector>

#include "tools/output.h"
#include "tools/sections/sections.h"
#include "tools/views/text.h"

namespace tool {

enum ExitCode { kOk = 0, kNothingRead = 1, kUsage = 2 };

struct Options {
  std::vector<std::string> monitors;  // names of sections; empty: the command's own choice
  Plan plan;
  std::string output;   // the recording's file, - for standard output
  double duration = 0;  // seconds of recording, 0: until it is stopped
  bool json = false;
  bool wide = false;
  bool diagnostics = false;
};

// The commands: each returns the exit code.
int report(const Options& options, const Selection& sections, Streams& streams);
int record(const Options& options, const Selection& sections, Streams& streams);
int doctor(const Options& options, const Selection& sections, Streams& streams);
int selftest(Streams& streams);

// As the terminal can show it, and as NO_COLOR has it.
TextStyle styleFor(const Sink& sink, const Options& options);

}  // namespace tool

#endif
