// The filter in front of a program's system calls, and of those of all that it starts.
#ifndef TESSARY_SIMULATOR_NOTIFY_FILTER_H
#define TESSARY_SIMULATOR_NOTIFY_FILTER_H

namespace simulator {

struct FilterOptions {
  bool asksForReads = false;    // for boards on which reading may fail: dear, so only for them
  bool machineNetwork = false;  // the network's configuration is the machine's
};

// For the calling thread and its children, for good. The descriptor on which the kernel asks, or -1 and
// errno. Needs no privilege, and gives up those that set-user-id programs would gain.
int installFilter(const FilterOptions& options);

// Whether this kernel can do what is needed: Linux 5.14.
bool filterIsSupported();

}  // namespace simulator

#endif
