#include "tessary/net_mon.h"
#include "tests/fuzz/target.h"

FUZZ_TARGET(text) {
  static simulator::Board board;
  board.file("/sys/class/net/lo/statistics/rx_bytes", text);
  static net::NET_MON monitor;
  monitor.tessary_getNetstats();
}
