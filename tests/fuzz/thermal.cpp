#include "tessary/thermal_mon.h"
#include "tests/fuzz/target.h"

FUZZ_TARGET(text) {
  static simulator::Board board;
  board.file("/sys/class/thermal/thermal_zone0/temp", text);
  static thermal::THERMAL_MON monitor;
  monitor.tessary_getThermalStats();
}
