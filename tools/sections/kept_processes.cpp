#include "tools/sections/kept_processes.h"

#include <algorithm>

namespace tool {

std::vector<std::size_t> KeptProcesses::choose(const std::vector<int>& pids, std::size_t used) {
  std::vector<std::size_t> chosen;
  std::vector<int> kept;
  for (std::size_t at = 0; at < pids.size(); ++at) {
    const bool newly = at < used && at < top_;
    if (!newly && !std::binary_search(kept_.begin(), kept_.end(), pids[at])) continue;
    chosen.push_back(at);
    kept.push_back(pids[at]);
  }
  std::sort(kept.begin(), kept.end());
  kept_ = std::move(kept);
  return chosen;
}

}  // namespace tool
