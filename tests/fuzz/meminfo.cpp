#include "tessary/memory_mon.h"
#include "tests/fuzz/target.h"

FUZZ_TARGET(text) {
  static simulator::Board board;
  static memory::MEMORY_MON monitor;
  board.file("/proc/meminfo", text);
  monitor.tessary_getMemStats();
}
