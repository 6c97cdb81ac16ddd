#include <tessary/thermal_mon.h>

#include "tools/sections/sections.h"

namespace tool {

namespace {

const std::vector<Source> kSources{
    {"/sys/class/thermal", checkFolder, "the kernel has no thermal framework"},
    {"/sys/class/thermal/thermal_zone#/temp", checkNumber, "the machine has no sensor that the kernel knows"},
};

class ThermalSection : public Section {
 public:
  explicit ThermalSection(const Plan&) : zones_{monitor_.tessary_getSensorNames()} {}

  Sample read() override {
    const std::vector<int>& temperatures = *monitor_.tessary_getThermalStats();
    Sample sample(1);
    for (std::size_t zone = 0; zone < zones_.size(); ++zone) {
      sample[0].rows.push_back({zones_[zone], temperature(zone, temperatures)});
    }
    if (zones_.empty()) {
      sample[0].absent =
          absentBecause(kSources[0], kSources[0].target, "the machine has no thermal zone").reason;
    }
    return sample;
  }

 private:
  // The library stops at the first zone that it cannot open, which must not hide those after it. A node
  // without a number gets the temperature of the zone before, or 0 as the first: such a figure may be no
  // reading.
  Value temperature(std::size_t zone, const std::vector<int>& temperatures) const {
    constexpr double kMillidegrees = 1000;
    const int before = zone > 0 && zone <= temperatures.size() ? temperatures[zone - 1] : 0;
    if (zone < temperatures.size() && temperatures[zone] != before) return temperatures[zone] / kMillidegrees;
    Value own = numberOf(kSources[1], "/sys/class/thermal/" + zones_[zone] + "/temp");
    if (const auto* const number = std::get_if<std::int64_t>(&own)) {
      return static_cast<double>(*number) / kMillidegrees;
    }
    return own;
  }

  thermal::THERMAL_MON monitor_;
  std::vector<std::string> zones_;
};

}  // namespace

const SectionInfo kThermalSection{
    "thermal",
    "Temperatures",
    {{"zones", {{"zone", "zone", kPlain, true}, {"temperature_celsius", "temperature", kCelsius}}}},
    kSources,
    openSection<ThermalSection>};

}  // namespace tool
