#include "tessary/cpu_mon.h"
#include "tests/fuzz/target.h"

FUZZ_TARGET(text) {
  static simulator::Board board{simulator::Cores{8}};
  static cpu::CPU_MON monitor;
  board.file("/proc/stat", text);
  monitor.tessary_getTotalCPULoad();
}
