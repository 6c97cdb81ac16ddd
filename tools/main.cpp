// tessary: the library's monitors on the command line.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <csignal>
#include <exception>
#include <sstream>

#include "tools/commands/options.h"
#include "tools/sections/library.h"

namespace {

using tool::Options;
using tool::Streams;

constexpr int kLongestIntervalMs = 3600000;
constexpr int kMostRows = 100000;

std::vector<std::string> sectionNames() {
  std::vector<std::string> names;
  for (const tool::SectionInfo* const info : tool::allSections()) names.emplace_back(info->schema.name);
  return names;
}

std::string positiveSeconds(const std::string& text) {
  double seconds = 0;
  const bool good = CLI::detail::lexical_cast(text, seconds) && std::isfinite(seconds) && seconds > 0;
  return good ? std::string{} : "not a number of seconds above 0: " + text;
}

void addMonitors(CLI::App& command, Options& options) {
  command.add_option("--monitors", options.monitors, "Only these")
      ->delimiter(',')
      ->check(CLI::IsMember(sectionNames()))
      ->type_name("NAME,..");
}

void addSampling(CLI::App& command, Options& options) {
  addMonitors(command, options);
  command.add_option("--interval", options.plan.intervalMs, "Milliseconds that a sample takes")
      ->check(CLI::Range(1, kLongestIntervalMs))
      ->type_name("MS")
      ->capture_default_str();
  command.add_option("--top", options.plan.top, "Processes in each table")
      ->check(CLI::Range(1, kMostRows))
      ->type_name("N")
      ->capture_default_str();
  command.add_option("--pid", options.plan.pids, "Only these processes")
      ->delimiter(',')
      ->check(CLI::PositiveNumber)
      ->type_name("PID,..");
  command.add_flag("--diagnostics", options.diagnostics, "What the library says, on standard error");
}

CLI::App& addCommand(CLI::App& app, const char* name, const char* description, const char* example) {
  CLI::App& command = *app.add_subcommand(name, description);
  command.footer(std::string{"Example:\n  "} + example);
  return command;
}

int usage(const CLI::App& app, const CLI::ParseError& error, Streams& streams) {
  std::ostringstream out;
  std::ostringstream message;
  const int code = app.exit(error, out, message);
  streams.out.write(out.str());
  streams.error.write(message.str());
  return code == 0 ? tool::kOk : tool::kUsage;
}

int run(int argc, char** argv, Streams& streams) {
  Options options;
  CLI::App app{
      "What the board is doing: its cores, processes, memory, temperatures, disks, networks, GPU, DSPs\n"
      "and memory bus, read through libtessary."};
  app.require_subcommand(1);
  app.set_version_flag("--version", "tessary " + tool::libraryVersion());
  app.footer(
      "Example:\n  tessary report --interval 500 --monitors cpu,memory\n\n"
      "Exit codes: 0 done, 1 nothing could be read or a failure, 2 wrong usage.");

  CLI::App& report = addCommand(app, "report", "Everything at a glance, over one interval",
                                "tessary report --interval 500 --monitors cpu,process --top 5");
  addSampling(report, options);
  report.add_flag("--json", options.json, "For programs");
  report.add_flag("--wide", options.wide, "All columns, also those that do not fit the terminal");

  CLI::App& record = addCommand(app, "record", "Sample after sample into a file of JSON lines, until Ctrl-C",
                                "tessary record -o drive.jsonl --duration 600 --interval 1000");
  addSampling(record, options);
  record.add_option("-o,--output", options.output, "The file, which is overwritten; - for standard output")
      ->required()
      ->type_name("FILE");
  record.add_option("--duration", options.duration, "End after this many seconds")
      ->check(positiveSeconds)
      ->type_name("S");

  CLI::App& doctor =
      addCommand(app, "doctor", "Why a figure is missing: each source, and what to do about it",
                 "tessary doctor --monitors gpu,dsp,ddr");
  addMonitors(doctor, options);
  doctor.add_flag("--json", options.json, "For programs");
  doctor.add_flag("--wide", options.wide, "All columns, also those that do not fit the terminal");

  CLI::App& selftest =
      addCommand(app, "selftest", "The library's two test runs of the GPU profiler", "tessary selftest");
  CLI::App& version = addCommand(app, "version", "Which build of the library this is", "tessary version");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return usage(app, error, streams);
  }

  if (selftest.parsed()) return tool::selftest(streams);
  if (version.parsed()) {
    streams.out.write(tool::libraryBuild());
    return tool::kOk;
  }

  std::vector<int>& pids = options.plan.pids;
  std::sort(pids.begin(), pids.end());
  pids.erase(std::unique(pids.begin(), pids.end()), pids.end());
  streams.divertLibrary(options.diagnostics);
  if (report.parsed()) return tool::report(options, tool::select(options.monitors, true), streams);
  if (record.parsed()) return tool::record(options, tool::select(options.monitors, false), streams);
  return tool::doctor(options, tool::select(options.monitors, true), streams);
}

}  // namespace

int main(int argc, char** argv) {
  // A write that nobody reads, or that a file has no room for, is an error of the write alone.
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  Streams streams;
  try {
    return run(argc, argv, streams);
  } catch (const tool::ClosedPipe&) {
    return tool::kOk;
  } catch (const std::exception& exception) {
    try {
      streams.error.write(std::string{"tessary: "} + exception.what() + "\n");
    } catch (...) {  // nobody is left to be told
    }
    return tool::kNothingRead;
  }
}
