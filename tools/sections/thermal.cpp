#include <tessary/thermal_mon.h>

#include <algorithm>
#include <optional>

#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

const Node kFolder{"/sys/class/thermal", checkFolder, "the kernel has no thermal framework"};
const Node kTemperature{"/sys/class/thermal/thermal_zone#/temp", checkNumber,
                        "the machine has no sensor that the kernel knows"};
const Node kType{"/sys/class/thermal/thermal_zone#/type", checkText,
                 "the machine has no sensor that the kernel knows"};

struct Zone {
  std::string name;
  Value type;
  Value temperature;
};

constexpr Column<Zone> kColumns[] = {
    {"zone", "zone", kPlain, "The kernel's name of the zone.", get<&Zone::name>, kLabel},
    {"type", "type", kPlain,
     "What the zone measures, in the driver's words: the tool's own reading of its type.", get<&Zone::type>,
     kLabel},
    {"temperature_celsius", "temperature", kCelsius,
     "The temperature at the end of the interval, from its temp.", get<&Zone::temperature>, kFigure,
     kMoreIsWorse, 0, ""},
};
constexpr Table<Zone> kZones{"zones", "zone", kColumns};

constexpr std::string_view kPrefix = "thermal_zone";

std::string numberIn(const std::string& zone) { return zone.substr(std::min(kPrefix.size(), zone.size())); }

class ThermalSection : public Section {
 public:
  explicit ThermalSection(const Plan&) {}

  std::vector<TableSample> read() override {
    findZones();
    const std::vector<int>& temperatures = *monitor_->tessary_getThermalStats();
    TableSample sample;
    for (std::size_t zone = 0; zone < zones_.size(); ++zone) {
      zones_[zone].temperature = temperature(zone, temperatures);
      sample.rows.push_back(kZones.row(zones_[zone]));
    }
    if (zones_.empty()) sample.absent = absentBecause(kFolder, "the machine has no thermal zone").reason;
    return {sample};
  }

 private:
  // The monitor finds its zones once: where there is a new one, another monitor takes its place.
  void findZones() {
    const std::vector<std::string> now = zoneNames();
    const bool complete = std::all_of(now.begin(), now.end(), [this](const std::string& name) {
      return std::any_of(zones_.begin(), zones_.end(), [&](const Zone& zone) { return zone.name == name; });
    });
    if (monitor_ && complete) return;
    monitor_.emplace();
    zones_.clear();
    for (std::string& name : monitor_->tessary_getSensorNames()) {
      const Value type = textOf(kType, numberIn(name));
      zones_.push_back({std::move(name), type, {}});
    }
  }

  // The library stops at the first zone that it cannot open, which must not hide those after it. A node
  // without a number gets the temperature of the zone before, or 0 as the first: such a figure may be no
  // reading.
  Value temperature(std::size_t zone, const std::vector<int>& temperatures) const {
    constexpr double kMillidegrees = 1000;
    const int before = zone > 0 && zone <= temperatures.size() ? temperatures[zone - 1] : 0;
    if (zone < temperatures.size() && temperatures[zone] != before) return temperatures[zone] / kMillidegrees;
    Value own = numberOf(kTemperature, numberIn(zones_[zone].name));
    if (const auto* const number = std::get_if<std::int64_t>(&own)) {
      return static_cast<double>(*number) / kMillidegrees;
    }
    return own;
  }

  std::optional<thermal::THERMAL_MON> monitor_;
  std::vector<Zone> zones_;  // in the monitor's order
};

}  // namespace

const SectionInfo& thermalSection() {
  static const SectionInfo info{{"thermal", "Temperatures", {kZones.info()}},
                                {kFolder, kTemperature, kType},
                                openSection<ThermalSection>};
  return info;
}

}  // namespace tool
