#include "net/net_counters.h"

#include "base/scanner.h"

namespace net {

// "1519840733\n"
uint64_t parseCounter(std::string_view text) {
  uint64_t value = 0;
  tessary::Scanner{text}.number(value);
  return value;
}

void subtractCounters(const netStats& current, const netStats& previous, netStats& target) {
  for (const Counter& counter : kCounters) {
    target.*counter.field = current.*counter.field - previous.*counter.field;
  }
}

}  // namespace net
