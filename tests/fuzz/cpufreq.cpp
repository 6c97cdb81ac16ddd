#include "tessary/cpu_mon.h"
#include "tests/fuzz/target.h"

FUZZ_TARGET(text) {
  static simulator::Board board{simulator::Cores{1}};
  static cpu::CPU_MON monitor;
  board.file("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_cur_freq", text);
  monitor.tessary_getCPUFrequency();
}
