// Waits that go through one interval together.
#ifndef TESSARY_TOOLS_RECORDING_SIDE_BY_SIDE_H
#define TESSARY_TOOLS_RECORDING_SIDE_BY_SIDE_H

#include <functional>
#include <vector>

#include "tools/recording/source.h"

namespace tool {

// Runs the tasks on a thread each, made for them and joined. False when `stop`, a descriptor, became readable
// before all had ended: the tasks that slept were woken, and what they measured is of no use.
bool runSideBySide(const std::vector<std::function<void()>>& tasks, int stop = kNoStop);

}  // namespace tool

#endif
