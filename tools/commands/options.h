// What the command line asks for.
#ifndef TESSARY_TOOLS_COMMANDS_OPTIONS_H
#define TESSARY_TOOLS_COMMANDS_OPTIONS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/output.h"
#include "tools/recording/rotation.h"
#include "tools/sections/sections.h"
#include "tools/serve/web/address.h"
#include "tools/verdict/selector.h"
#include "tools/views/text.h"

namespace tool {

enum ExitCode { kOk = 0, kNothingRead = 1, kLimitPassed = 1, kUsage = 2, kNotEnoughData = 3 };

struct Options {
  std::vector<std::string> monitors;  // names of sections; empty: the command's own choice
  Plan plan;                          // without the rows of its tables
  std::optional<std::size_t> top;     // those; none: the command's own choice
  std::string output;                 // the recording's file, - for standard output
  double duration = 0;                // seconds of recording, 0: until it is stopped
  Rotation rotation;
  double syncSeconds = 10;  // between forced writes to the disk
  bool compress = false;
  std::string format;                       // of an export; empty: as the output's name says
  std::optional<std::int64_t> startUnixNs;  // the wall clock at a recording's start
  std::optional<std::int64_t> atNs;         // of a recording to look at, from its start
  bool once = false;
  bool json = false;
  bool wide = false;
  bool all = false;
  bool diagnostics = false;
  bool scrub = false;                               // without the names of processes
  std::string operand;                              // the word or the file that stands alone
  std::vector<std::string> files;                   // recordings to read
  std::vector<std::string> with;                    // and those to compare them with
  std::vector<Selector> figures;                    // empty: all
  std::string junit;                                // the file for build servers
  std::string html;                                 // the page of charts
  std::string budgets;                              // the file that a recording is checked by; empty: none
  bool stopOnLimit = false;                         // the recording ends there
  double leastPercent = 5;                          // changes below do not matter
  Address listen;                                   // of the server
  double keepSeconds = 3600;                        // of samples, for those who look later
  std::size_t keepBytes = std::size_t{256} << 20U;  // and no more than these, all boards together
};

// The commands, each in the file of its name: they return the exit code.
int report(const Options& options, Streams& streams);
int record(const Options& options, Streams& streams);
int capture(const Options& options, Streams& streams);
int exportRecording(const Options& options, Streams& streams);
int summary(const Options& options, Streams& streams);
int watch(const Options& options, Streams& streams);
int serve(const Options& options, Streams& streams);
int doctor(const Options& options, Streams& streams);
int selftest(const Options& options, Streams& streams);
int version(const Options& options, Streams& streams);
int help(const Options& options, Streams& streams);
int check(const Options& options, Streams& streams);
int compare(const Options& options, Streams& streams);
int completion(const Options& options, Streams& streams);

// As the terminal can show it, and as NO_COLOR has it.
TextStyle styleFor(const Sink& sink, const Options& options);

}  // namespace tool

#endif
