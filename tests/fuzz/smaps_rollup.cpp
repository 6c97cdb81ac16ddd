#include "tessary/procmem_mon.h"
#include "tests/fuzz/target.h"

FUZZ_TARGET(text) {
  static simulator::Board board;
  if (text.empty()) return;  // an empty one stays open, by design
  board.file("/proc/7/stat", "7 (sh) S 1 7 7 0 -1 4194304 9 0 0 0 1 2 0 0 20 0 1 0 1530 2500000 200 1\n");
  board.file("/proc/7/smaps_rollup", text);
  board.folder("/proc");
  static procmem::PERPROCMEM_MON memory;
  memory.tessary_getPerProcessMemStats();
}
