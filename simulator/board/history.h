// What happened, in order, for tests to look at; a program that runs for hours keeps none of it. Its owner
// locks.
#ifndef TESSARY_SIMULATOR_BOARD_HISTORY_H
#define TESSARY_SIMULATOR_BOARD_HISTORY_H

#include <utility>
#include <vector>

namespace simulator {

template <typename Event>
class History {
 public:
  void add(Event event) {
    if (isKept_) events_.push_back(std::move(event));
  }
  void forget() { events_.clear(); }
  const std::vector<Event>& events() const { return events_; }

  void keep(bool keep) { isKept_ = keep; }
  bool isKept() const { return isKept_; }

 private:
  bool isKept_ = true;
  std::vector<Event> events_;
};

}  // namespace simulator

#endif
