// A machine's figures for the tests of the tool: sections that no monitor fills.
#ifndef TESSARY_TESTS_TOOLS_MACHINE_H
#define TESSARY_TESTS_TOOLS_MACHINE_H

#include "tools/figures/report.h"

namespace machine {

struct Total {
  tool::Value load;
  tool::Value soc;
};

inline constexpr tool::Column<Total> kTotalColumns[] = {
    {"load_percent", "load", tool::kPercent, "of all cores", [](const Total& t) { return t.load; },
     tool::kFigure, tool::kMoreIsWorse},
    {"soc", "SoC", tool::kPlain, "the board's", [](const Total& t) { return t.soc; }, tool::kFixed},
};

struct Core {
  tool::Value core;
  tool::Value load;
  tool::Value clock;
};

inline constexpr tool::Column<Core> kCoreColumns[] = {
    {"core", "core", tool::kPlain, "its number", [](const Core& c) { return c.core; }, tool::kLabel},
    {"load_percent", "load", tool::kPercent, "busy time", [](const Core& c) { return c.load; }, tool::kFigure,
     tool::kMoreIsWorse},
    {"clock_khz", "clock", tool::kKilohertz, "now", [](const Core& c) { return c.clock; }},
};

inline const tool::Table<Total> kTotal{nullptr, "", kTotalColumns};
inline const tool::Table<Core> kCores{"cores", "core", kCoreColumns};
inline const tool::SectionSchema kCpu{"cpu", "CPU", {kTotal.info(), kCores.info()}};

struct Process {
  tool::Value pid;
  tool::Value name;
};

inline constexpr tool::Column<Process> kProcessColumns[] = {
    {"pid", "pid", tool::kPlain, "its id", [](const Process& p) { return p.pid; }, tool::kLabel},
    {"name", "name", tool::kPlain, "the kernel's name", [](const Process& p) { return p.name; },
     tool::kLabel},
};

inline const tool::Table<Process> kTop{"top", "process", kProcessColumns};
inline const tool::SectionSchema kProcesses{"process", "Processes", {kTop.info()}};

inline const std::vector<const tool::SectionSchema*> kSchemas{&kCpu, &kProcesses};

inline tool::Origin origin() {
  tool::Origin origin;
  origin.host = "bench7";
  origin.kernel = "5.15.0";
  origin.model = "VX4490P";
  origin.tool = "2.3.3";
  origin.library = "2.3.3";
  origin.bootTimeNs = 3600'000'000'000;
  origin.unixTimeNs = 1704067200'000'000'000;
  origin.intervalMs = 1000;
  origin.sections = kSchemas;
  return origin;
}

// The sample that ends `seconds` after the start.
inline tool::Report report(std::int64_t seconds) {
  tool::Report report;
  report.bootTimeNs = (3600 + seconds) * 1'000'000'000;
  report.unixTimeNs = (1704067200 + seconds) * 1'000'000'000;
  report.intervalMs = 1000;
  report.sections.push_back({&kCpu,
                             {{{kTotal.row({37.5, std::string{"X1"}})}, {}},
                              {{kCores.row({std::int64_t{0}, 75.0, std::int64_t{1804800}}),
                                kCores.row({std::int64_t{1}, 0.0, std::int64_t{300000}})},
                               {}}}});
  report.sections.push_back(
      {&kProcesses, {{{kTop.row({std::int64_t{931}, std::string{"navigation"}})}, {}}}});
  return report;
}

}  // namespace machine

#endif
