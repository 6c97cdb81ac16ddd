// What each network interface sends and receives, over half a second.
#include <tessary/net_mon.h>

#include <chrono>
#include <cstdio>

int main() {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  net::NET_MON network;  // lists the interfaces and takes the first sample
  network.tessary_setSamplingTime(500);
  const std::vector<net::netStats> growth = network.tessary_getNetstats();
  // Counts, not rates: they reach back to the sample before.
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  for (const net::netStats& one : growth) {
    if (one.rx_bytes > INT64_MAX || one.tx_bytes > INT64_MAX)
      continue;  // it went away, and its counter with it
    std::printf("%-12s %10.1f kB/s in %10.1f kB/s out\n", one.name.c_str(),
                static_cast<double>(one.rx_bytes) / seconds / 1000,
                static_cast<double>(one.tx_bytes) / seconds / 1000);
  }
  return growth.empty();
}
