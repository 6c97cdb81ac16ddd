// Traffic of each network interface.
#ifndef TESSARY_NET_MON_H
#define TESSARY_NET_MON_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tessary/export.h"

namespace net {

// The counters of one interface: since boot in a sample, the growth over an interval in a result.
struct netStats {
  std::string name;
  uint64_t tx_bytes = 0;
  uint64_t rx_bytes = 0;
  uint64_t tx_packets = 0;
  uint64_t rx_packets = 0;
  uint64_t tx_dropped = 0;
  uint64_t rx_dropped = 0;
  uint64_t collisions = 0;
};

// Reads /sys/class/net/<interface>/statistics. Construction lists the interfaces, once, and takes the first
// sample; it always succeeds. An interface that appears later is not reported. A file in /sys/class/net, as
// the bonding driver puts there, counts as an interface without counters.
//
// A counter that cannot be opened is 0, and "Unable to open files." on standard output says so, once for each
// of the seven; one that holds no number is 0 without a message. Other messages go to the platform log under
// "libtessary : net_mon".
//
// One object must not be used from two threads at once. Results are the caller's. A call needs 64 KiB of
// stack, and opens a folder and a node at the same time.
class TESSARY_API NET_MON {
 public:
  class NET_MON_INTERFACE;

  // The hook is called with 10 instead of sleeping; the sample is taken when it returns 110. Null: sleep.
  NET_MON();
  explicit NET_MON(int (*hook)(int));
  ~NET_MON();
  NET_MON(const NET_MON&) = delete;
  NET_MON& operator=(const NET_MON&) = delete;

  // The interfaces found at construction, in the kernel's order. Empty when /sys/class/net cannot be listed.
  std::vector<std::string> getInterfaceNames();

  // The names of the counters: "tx_bytes", "rx_bytes", "tx_packets", "rx_packets", "tx_dropped",
  // "rx_dropped", "collisions".
  std::vector<std::string> getvalueVector();

  // Waits one sampling time on the caller's thread, takes a sample, and returns the growth since the previous
  // one: the previous call's, or the construction's at first. The figures are counts, not rates: the time
  // between the samples is the interval plus what the caller spent between the calls.
  //
  // One record for each interface. The difference is taken modulo 2^64: a counter that went down, after a
  // reset of the interface or because the interface is gone, gives a very large one.
  //
  // Empty when there are no interfaces, or the hook stopped the measurement: the previous sample stays then.
  // Throws std::out_of_range when the previous sample has fewer interfaces than the list, which only a call
  // of the implementation can bring about.
  std::vector<netStats> tessary_getNetstats();

  // The interval in milliseconds, 1000 at first. Not checked: 0 does not wait, a negative one waits very
  // long. Writes "Current Sample Time = " and the old value, then "Changed Sample Time = " and the new one,
  // to standard output, a line each.
  void tessary_setSamplingTime(int ms);

  std::unique_ptr<NET_MON_INTERFACE> implementation;
  int (*waitHook)(int);  // null: sleep
};

// The interfaces and the samples.
class TESSARY_API NET_MON::NET_MON_INTERFACE {
 public:
  NET_MON_INTERFACE();
  ~NET_MON_INTERFACE();
  NET_MON_INTERFACE(const NET_MON_INTERFACE&) = delete;
  NET_MON_INTERFACE& operator=(const NET_MON_INTERFACE&) = delete;

  // Appends the entries of /sys/class/net to interfaceNames; nothing when it cannot be listed. The listing
  // stays open, by design.
  void getInterfaceNames();

  // Appends a record of counters for each interface to currentSample: what getValues reads at the positions 0
  // to 6, whatever statNames says there.
  void getNetStats();

  // One counter, read at the call, by the positions in interfaceNames and statNames. A position that is not
  // there counts as a file that cannot be opened.
  unsigned long long getValues(int interfaceIndex, int statIndex);

  // Takes a sample, appends its growth to `results`, and returns a copy of that; nothing for a position where
  // the name is not that of the previous sample. The sample becomes the previous one. Throws as
  // tessary_getNetstats does: the previous sample stays then, and the new one is dropped.
  std::vector<netStats> getDifVal();

  std::vector<std::string> interfaceNames;
  std::vector<std::string> statNames;
  std::vector<netStats> previousSample;
  std::vector<netStats> currentSample;  // empty between the calls
  std::vector<netStats> results;        // of the last call
  netStats scratch;                     // the record being filled
  int samplingTime;                     // milliseconds
};

}  // namespace net

#endif
