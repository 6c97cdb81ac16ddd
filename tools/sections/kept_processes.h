// Which processes a table has: those that used most, and those that it had before as long as they live, so
// that the series of a process has no holes.
#ifndef TESSARY_TOOLS_SECTIONS_KEPT_PROCESSES_H
#define TESSARY_TOOLS_SECTIONS_KEPT_PROCESSES_H

#include <cstddef>
#include <vector>

namespace tool {

class KeptProcesses {
 public:
  explicit KeptProcesses(std::size_t top) : top_{top} {}

  // Of the living processes, those that used most first, of which the first `used` used anything: the
  // positions of those to show, in that order.
  std::vector<std::size_t> choose(const std::vector<int>& pids, std::size_t used);

 private:
  std::size_t top_;
  std::vector<int> kept_;  // sorted
};

}  // namespace tool

#endif
