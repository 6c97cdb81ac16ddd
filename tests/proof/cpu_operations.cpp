#include "tessary/cpu_mon.h"
#include "tests/proof/boards.h"
#include "tests/proof/operations.h"
#include "tests/proof/outcomes.h"

namespace proof {

namespace {

using cpu::CPU_MON;

constexpr int kCores = 2;

std::string loads(const double* table) { return shown(table, kCores + 1); }
std::string clocks(const std::int64_t* table) { return shown(table, kCores); }

std::string firstSample(CPU_MON& monitor) {
  const CPU_MON::CPU_MON_INTERFACE& state = *monitor.implementation;
  std::string text = shown(monitor.tessary_getTotalCPULoad());
  text += std::string{" "} + (monitor.tessary_getCPUFrequency() != nullptr ? "clocks" : kNull);
  text += " " + std::to_string(state.featureID) + " <" + state.platformName + "> <" + state.socName + ">";
  return text;
}

// Half of one core and a quarter of the other, of which the second has three quarters of the capacity. Where a capacity
// could not be opened the cores weigh the same; one that could not be read is none.
bool isOfAPoorerBoard(const Fault&, const std::string& outcome, const std::string& faultless) {
  return differsOnlyBy(outcome, faultless, {"37.500", "25.000", "50.000", "-1.000", kNull, "0", "-1", "<>"});
}

// A reading that ends early is not detected, nor is a wait that does.
bool isNoMeasurement(const Fault& fault, const std::string& outcome, const std::string&) {
  return outcome == kNull || outcome == "-1.000" || fault.isOf("read") || fault.isOf("usleep");
}

bool isNull(const Fault&, const std::string& outcome, const std::string&) { return outcome == kNull; }

std::string shares(CPU_MON& monitor) {
  CPU_MON::CPU_MON_INTERFACE& state = *monitor.implementation;
  return shown(state.cpuFactor2, kCores);
}

// The tables of before stay, by design.
std::function<Trial()> sharingByTable() {
  return [] {
    const auto monitor = std::make_shared<CPU_MON>();
    const auto share = [monitor] { monitor->implementation->getCPUFactor2(monitor->implementation.get()); };
    return Trial{share, [monitor] { return shares(*monitor); },
                 [monitor, share] {
                   share();
                   return shares(*monitor);
                 }};
  };
}

}  // namespace

std::vector<Operation> cpuOperations() {
  return {
      {"cpu: construct", kPlatform, constructing<CPU_MON>(firstSample), isOfAPoorerBoard},
      {"cpu: load of each core", kPlatform,
       calling<CPU_MON>([](CPU_MON& monitor) { return monitor.tessary_getPerCoreUsage(); }, loads),
       isNoMeasurement},
      {"cpu: total load", kPlatform,
       calling<CPU_MON>([](CPU_MON& monitor) { return monitor.tessary_getTotalCPULoad(); },
                        [](double load) { return shown(load); }),
       isNoMeasurement},
      {"cpu: clocks", kPlatform,
       calling<CPU_MON>([](CPU_MON& monitor) { return monitor.tessary_getCPUFrequency(); }, clocks,
                        [](CPU_MON& monitor) { monitor.tessary_getCPUFrequency(); }),
       isNull},
      {"cpu: shares by the table of boards", kPlatform, sharingByTable(),
       [](const Fault&, const std::string& outcome, const std::string&) {
         return outcome == kNull || outcome == "0.000 0.000";
       }},
  };
}

}  // namespace proof
