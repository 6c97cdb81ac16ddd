#include "tessary/thermal_mon.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/log.h"
#include "base/path.h"
#include "base/reading.h"
#include "base/scanner.h"

namespace thermal {

namespace {

constexpr tessary::LogChannel kLog{"libtessary : thermal_mon"};

constexpr char kThermalFolder[] = "/sys/class/thermal";
constexpr std::string_view kZonePrefix = "thermal_zone";
constexpr std::string_view kNode = "/temp";

void logConstruction() { TESSARY_LOG_VERBOSE(kLog, "THERMAL_MON : Constructor done.\n"); }

// Opens the temp nodes of zones, by their names within the folder that most of them are in.
class ZoneOpener {
 public:
  tessary::Descriptor open(std::string_view zone) {
    constexpr std::size_t kPrefix = sizeof kThermalFolder;  // and the slash
    const bool inFolder = zone.size() > kPrefix && zone.substr(0, kPrefix - 1) == kThermalFolder &&
                          zone[kPrefix - 1] == '/' && zone[kPrefix] != '/';
    if (inFolder) return folder_.open(path_.join(zone.substr(kPrefix), kNode));
    return tessary::openForReading(path_.join(zone, kNode));
  }

 private:
  tessary::Folder folder_{kThermalFolder};
  tessary::Path<PATH_MAX + 1> path_;  // a path that is too long is still too long when it is cut here
};

}  // namespace

THERMAL_MON::THERMAL_MON() : implementation(new THERMAL_MON_INTERFACE) { logConstruction(); }

THERMAL_MON::~THERMAL_MON() {
  implementation.reset();
  TESSARY_LOG_VERBOSE(kLog, "THERMAL_MON : Destructor done.\n");
}

std::vector<int>* THERMAL_MON::tessary_getThermalStats() { return implementation->getThermalTemps(); }

int THERMAL_MON::tessary_getNumSensors() { return static_cast<int>(implementation->zonePaths.size()); }

std::vector<std::string> THERMAL_MON::tessary_getSensorNames() { return implementation->sensorNames; }

THERMAL_MON::THERMAL_MON_INTERFACE::THERMAL_MON_INTERFACE() {
  if (getThermalZones() < 0) {
    TESSARY_LOG_ERROR(kLog, "THERMAL_MON : /sys/class/thermal can't be accessed!!!\n");
    inaccessible = 1;
  } else {
    logConstruction();  // the facade's constructor logs the same line once more, by design
  }
}

THERMAL_MON::THERMAL_MON_INTERFACE::~THERMAL_MON_INTERFACE() {
  TESSARY_LOG_VERBOSE(kLog, "THERMAL_MON_INTERFACE : Destructor done.\n");
}

int THERMAL_MON::THERMAL_MON_INTERFACE::getThermalZones() {
  const tessary::Directory folder = tessary::openDirectory(kThermalFolder);
  if (!folder) {
    std::perror("Unable to read directory");
    return -1;
  }
  int zones = 0;
  while (const dirent* const entry = ::readdir(folder.get())) {
    if (std::strncmp(entry->d_name, kZonePrefix.data(), kZonePrefix.size()) != 0) continue;
    zonePaths.push_back(std::string{kThermalFolder} + "/" + entry->d_name);
    sensorNames.emplace_back(entry->d_name);
    ++zones;
  }
  return zones;
}

std::vector<int>* THERMAL_MON::THERMAL_MON_INTERFACE::getThermalTemps() {
  temperatures.clear();
  if (zonePaths.empty()) return &temperatures;

  ZoneOpener zones;
  tessary::TextBuffer text;
  int temperature = 0;  // a node that does not scan leaves the one of the zone before
  for (const std::string& zone : zonePaths) {
    const tessary::Descriptor node = zones.open(zone);
    if (!node) {
      TESSARY_LOG_ERROR(kLog, "Error while reading the THERMAL node. Error number = %d\n", errno);
      break;
    }
    tessary::Scanner{text.readOnce(node.get())}.number(temperature);
    temperatures.push_back(temperature);
  }
  return &temperatures;
}

}  // namespace thermal
