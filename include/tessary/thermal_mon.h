// The temperature of every thermal zone of the kernel.
#ifndef TESSARY_THERMAL_MON_H
#define TESSARY_THERMAL_MON_H

#include <memory>
#include <string>
#include <vector>

#include "tessary/export.h"

namespace thermal {

// Finds the zones of /sys/class/thermal at construction, once: a zone that appears later is not seen.
// Construction always succeeds; without the folder there are no zones. Messages go to the platform log under
// "libtessary : thermal_mon". One object must not be used from two threads at once. A call needs 64 KiB of
// stack, and opens a folder and a node at the same time.
class TESSARY_API THERMAL_MON {
 public:
  class THERMAL_MON_INTERFACE;

  THERMAL_MON();
  ~THERMAL_MON();
  THERMAL_MON(const THERMAL_MON&) = delete;
  THERMAL_MON& operator=(const THERMAL_MON&) = delete;

  // The temperature of each zone in millidegrees Celsius, from the zone's temp node, read at the call: no
  // interval. Entry i is the zone of name i. The reading ends at the first zone whose node cannot be opened
  // (it is gone, or not permitted), so that the vector may be shorter than the names. A node that opens and
  // holds no number, as one whose sensor answers an error, repeats the temperature of the zone before it, 0
  // for the first.
  //
  // The vector belongs to the monitor, lives until the monitor is destroyed, and is overwritten by the next
  // call.
  std::vector<int>* tessary_getThermalStats();

  // The zones that were found at construction; 0 without the folder.
  int tessary_getNumSensors();

  // The entry of each zone in /sys/class/thermal, as "thermal_zone0", in the order of the folder: it is not
  // sorted. The vector is a copy.
  std::vector<std::string> tessary_getSensorNames();

  std::unique_ptr<THERMAL_MON_INTERFACE> implementation;
};

// The zones and their last reading.
class TESSARY_API THERMAL_MON::THERMAL_MON_INTERFACE {
 public:
  THERMAL_MON_INTERFACE();
  ~THERMAL_MON_INTERFACE();
  THERMAL_MON_INTERFACE(const THERMAL_MON_INTERFACE&) = delete;
  THERMAL_MON_INTERFACE& operator=(const THERMAL_MON_INTERFACE&) = delete;

  // Adds the zones that are there now, those that it found before once more. Their number; -1 when the folder
  // cannot be listed, with the system's message on standard error.
  int getThermalZones();

  // Reads temperatures, and returns it.
  std::vector<int>* getThermalTemps();

  std::vector<std::string> zonePaths;    // "/sys/class/thermal/thermal_zone0"
  std::vector<int> temperatures;         // millidegrees Celsius
  int inaccessible = 0;                  // 1 when the folder could not be listed at construction
  std::vector<std::string> sensorNames;  // parallel to zonePaths
};

}  // namespace thermal

#endif
