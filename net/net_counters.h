// The counters of an interface: which there are, their text, and their growth.
#ifndef TESSARY_NET_NET_COUNTERS_H
#define TESSARY_NET_NET_COUNTERS_H

#include <string_view>

#include "tessary/net_mon.h"

namespace net {

struct Counter {
  const char* file;  // in the interface's statistics folder
  uint64_t netStats::*field;
};

// A counter's position here is its number everywhere.
constexpr Counter kCounters[] = {
    {"tx_bytes", &netStats::tx_bytes},     {"rx_bytes", &netStats::rx_bytes},
    {"tx_packets", &netStats::tx_packets}, {"rx_packets", &netStats::rx_packets},
    {"tx_dropped", &netStats::tx_dropped}, {"rx_dropped", &netStats::rx_dropped},
    {"collisions", &netStats::collisions},
};

// The number that the text of a node begins with; 0 when there is none.
uint64_t parseCounter(std::string_view text);

// Sets the target's counters to current - previous, modulo 2^64. The name is left alone.
void subtractCounters(const netStats& current, const netStats& previous, netStats& target);

}  // namespace net

#endif
