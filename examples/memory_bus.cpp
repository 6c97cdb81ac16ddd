// Traffic on the memory bus, in the driver's unit, a second after the profiling began.
#include <tessary/ddr_mon.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <thread>

int main() {
  ddr::DDR_MON bus;  // profiles until it is destroyed
  std::this_thread::sleep_for(std::chrono::milliseconds{bus.samplingTime});
  const std::uint64_t* now = bus.tessary_getDDRStats();  // six figures, the monitor's
  if (now == nullptr) return 1;  // from now on at each call: only a new monitor tries again
  std::printf("A %" PRIu64 ", B %" PRIu64 "\n", now[2], now[5]);
}
