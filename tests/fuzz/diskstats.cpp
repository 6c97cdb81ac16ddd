#include "tessary/disk_mon.h"
#include "tests/fuzz/target.h"

FUZZ_TARGET(text) {
  static simulator::Board board;
  static diskio::DISK_MON monitor;
  board.folder("/sys/block/vda");
  board.file("/proc/diskstats", text);
  monitor.tessary_getIOStats();
}
