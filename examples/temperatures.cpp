// Every thermal zone, and how warm it is.
#include <tessary/thermal_mon.h>

#include <cstdio>

int main() {
  thermal::THERMAL_MON thermal;  // lists the zones, once
  const std::vector<std::string> zones = thermal.tessary_getSensorNames();
  const std::vector<int>* temperatures = thermal.tessary_getThermalStats();  // the monitor's
  // They end at the first zone that cannot be opened, so that there may be fewer of them than zones.
  for (std::size_t at = 0; at < temperatures->size(); ++at) {
    std::printf("%-16s %6.1f degrees Celsius\n", zones[at].c_str(), (*temperatures)[at] / 1000.0);
  }
  if (temperatures->size() < zones.size())
    std::printf("%s cannot be read\n", zones[temperatures->size()].c_str());
  return temperatures->empty();
}
