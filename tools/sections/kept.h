// Which processes have a row in a table of the largest ones.
#ifndef TESSARY_TOOLS_SECTIONS_KEPT_H
#define TESSARY_TOOLS_SECTIONS_KEPT_H

#include <cstddef>
#include <string>
#include <unordered_set>
#include <utility>

namespace tool {

// In a recording a process that had a row once has one while it lives, so that its series has no holes.
class Kept {
 public:
  explicit Kept(bool keeps) : keeps_{keeps} {}

  // A new sample, for which takes() is asked once for each process that is alive.
  void begin() {
    before_ = std::move(now_);
    now_.clear();
  }

  bool takes(int pid, bool large) {
    const bool taken = large || before_.count(pid) != 0;
    if (taken && keeps_) now_.insert(pid);
    return taken;
  }

 private:
  bool keeps_;
  std::unordered_set<int> before_;
  std::unordered_set<int> now_;
};

// "(1 of 21 could be read)": what a sum or a table is made of.
inline std::string partOf(std::size_t read, std::size_t all) {
  return "(" + std::to_string(read) + " of " + std::to_string(all) + " could be read)";
}

}  // namespace tool

#endif
