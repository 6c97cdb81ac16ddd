#include "tessary/net_mon.h"

#include <utility>

#include "base/console.h"
#include "base/waiting.h"
#include "net/net_counters.h"
#include "net/net_log.h"

namespace net {

namespace {

constexpr int kHookCallerId = 10;

}  // namespace

NET_MON::NET_MON() : NET_MON(nullptr) {}

NET_MON::NET_MON(int (*hook)(int)) : implementation(new NET_MON_INTERFACE), waitHook(hook) {
  TESSARY_LOG_VERBOSE(kLog, "Entered the constructor\n");
}

NET_MON::~NET_MON() {
  implementation.reset();
  TESSARY_LOG_VERBOSE(kLog, "Entered the destructor\n");
}

std::vector<std::string> NET_MON::getInterfaceNames() { return implementation->interfaceNames; }

std::vector<std::string> NET_MON::getvalueVector() { return implementation->statNames; }

std::vector<netStats> NET_MON::tessary_getNetstats() {
  NET_MON_INTERFACE& state = *implementation;
  const bool proceeds = tessary::waitInterval(waitHook, kHookCallerId, state.samplingTime);
  std::vector<netStats>{}.swap(state.results);  // clear() would keep the storage
  if (!proceeds) return state.results;
  return state.getDifVal();
}

void NET_MON::tessary_setSamplingTime(int ms) {
  tessary::printLine("Current Sample Time = ", implementation->samplingTime);
  implementation->samplingTime = ms;
  tessary::printLine("Changed Sample Time = ", implementation->samplingTime);
}

NET_MON::NET_MON_INTERFACE::NET_MON_INTERFACE() {
  TESSARY_LOG_VERBOSE(kLog, "Entered the NET_MON_INTERFACE constructor\n");
  for (const Counter& counter : kCounters) statNames.emplace_back(counter.file);
  getInterfaceNames();
  samplingTime = 1000;
  getNetStats();
  previousSample = std::exchange(currentSample, {});
}

NET_MON::NET_MON_INTERFACE::~NET_MON_INTERFACE() {
  TESSARY_LOG_VERBOSE(kLog, "Entered the NET_MON_INTERFACE distructor\n");
}

}  // namespace net
