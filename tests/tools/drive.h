// A drive for the tests of comparisons and budgets: samples of a second, of a machine with a few figures.
#ifndef TESSARY_TESTS_TOOLS_DRIVE_H
#define TESSARY_TESTS_TOOLS_DRIVE_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tools/figures/report.h"
#include "tools/verdict/recorded.h"

namespace drive {

struct Machine {
  tool::Value load;
  tool::Value free;
  tool::Value clock;
};

inline constexpr tool::Column<Machine> kMachineColumns[] = {
    {"load_percent", "load", tool::kPercent, "", [](const Machine& m) { return m.load; }, tool::kFigure,
     tool::kMoreIsWorse},
    {"free_kib", "free", tool::kKibibytes, "", [](const Machine& m) { return m.free; }, tool::kFigure,
     tool::kMoreIsBetter},
    {"clock_khz", "clock", tool::kKilohertz, "", [](const Machine& m) { return m.clock; }},
};

struct Process {
  std::int64_t pid;
  std::string name;
  double cpu;
};

inline constexpr tool::Column<Process> kProcessColumns[] = {
    {"pid", "pid", tool::kPlain, "", [](const Process& p) -> tool::Value { return p.pid; }, tool::kLabel},
    {"name", "name", tool::kPlain, "", [](const Process& p) -> tool::Value { return p.name; }, tool::kLabel},
    {"cpu_percent", "CPU", tool::kPercent, "", [](const Process& p) -> tool::Value { return p.cpu; },
     tool::kFigure, tool::kMoreIsWorse},
};

struct Zone {
  std::string zone;
  std::string type;
  double temperature;
};

inline constexpr tool::Column<Zone> kZoneColumns[] = {
    {"zone", "zone", tool::kPlain, "", [](const Zone& z) -> tool::Value { return z.zone; }, tool::kLabel},
    {"type", "type", tool::kPlain, "", [](const Zone& z) -> tool::Value { return z.type; }, tool::kLabel},
    {"temperature_celsius", "temperature", tool::kCelsius, "",
     [](const Zone& z) -> tool::Value { return z.temperature; }, tool::kFigure, tool::kMoreIsWorse},
};

inline const tool::Table<Machine> kMachine{nullptr, "", kMachineColumns};
inline const tool::Table<Process> kTop{"top", "process", kProcessColumns};
inline const tool::Table<Zone> kZones{"zones", "zone", kZoneColumns};
inline const tool::SectionSchema kCpu{"cpu", "CPU", {kMachine.info()}};
inline const tool::SectionSchema kProcesses{"process", "Processes", {kTop.info()}};
inline const tool::SectionSchema kThermal{"thermal", "Temperatures", {kZones.info()}};
inline const std::vector<const tool::SectionSchema*> kSchemas{&kCpu, &kProcesses, &kThermal};

inline tool::Report sample(const Machine& machine, const std::vector<Process>& processes = {},
                           const std::vector<Zone>& zones = {}) {
  tool::Report report;
  report.intervalMs = 1000;
  report.sections = {{&kCpu, {{{kMachine.row(machine)}, {}}}}, {&kProcesses, {{}}}, {&kThermal, {{}}}};
  for (const Process& process : processes) report.sections[1].tables[0].rows.push_back(kTop.row(process));
  for (const Zone& zone : zones) report.sections[2].tables[0].rows.push_back(kZones.row(zone));
  return report;
}

inline bool any(const tool::Figure&) { return true; }

// A load that persists from one second to the next, and the clock and the free memory that follow it.
inline tool::Recorded recording(std::uint64_t seed, double load, int seconds = 600,
                                double persistence = 0.5) {
  tool::Recorded recorded{any};
  std::mt19937_64 engine{seed};
  double deviation = 0;
  for (int second = 0; second < seconds; ++second) {
    deviation = persistence * deviation + static_cast<double>(engine() >> 40) / 0x1p24 - 0.5;
    const double now = load + 20 * deviation;
    recorded.add(sample({now, 5e6 - 5e4 * now, 4e5 + 1e4 * now}));
  }
  return recorded;
}

}  // namespace drive

#endif
