#include "base/waiting.h"

#include <unistd.h>

#include <cstdint>

namespace tessary {

bool waitInterval(WaitHook hook, int callerId, int samplingTimeMs) {
  if (hook != nullptr) return hook(callerId) == kHookProceeds;
  ::usleep(static_cast<std::uint32_t>(samplingTimeMs) * 1000U);
  return true;
}

}  // namespace tessary
