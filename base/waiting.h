// The wait between the two readings of a monitor.
#ifndef TESSARY_BASE_WAITING_H
#define TESSARY_BASE_WAITING_H

namespace tessary {

// The caller's own wait, or null for a sleep. It is given a number that tells it which monitor waits.
using WaitHook = int (*)(int callerId);

constexpr int kHookProceeds = 110;  // 'n'

// Waits on the caller's thread: by `hook` where there is one, else by sleeping. True when the second reading
// may be taken. The microseconds are a 32-bit product: a negative interval is a long sleep, 0 is none.
bool waitInterval(WaitHook hook, int callerId, int samplingTimeMs);

}  // namespace tessary

#endif
