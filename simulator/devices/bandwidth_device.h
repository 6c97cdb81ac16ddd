// /dev/profiler of a board: the bandwidth profiler with both of its command sets.
//
//   BandwidthDevice device{board};
//   device.figures([](int word) { return 1000U + word; });   // what a get fills in
//   device.answer(2, 7);                                     // the second request: not signed
#ifndef TESSARY_SIMULATOR_DEVICES_BANDWIDTH_DEVICE_H
#define TESSARY_SIMULATOR_DEVICES_BANDWIDTH_DEVICE_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/board/history.h"

namespace simulator {

// The record as it came, before the device wrote to it, in the words that all records are made of.
struct BandwidthRequest {
  std::uint32_t code;
  std::vector<std::uint32_t> words;
};

class BandwidthDevice {
 public:
  // The value of a word of the record at a get: words 2 to 25 of the older command, 0 to 5 of the newer one.
  // Zeros as long as there is none.
  using Figures = std::function<std::uint32_t(int word)>;

  // A driver has one of the two command sets, and none of the other's; a device that is told nothing has both.
  enum class Interface { kOlder, kNewer };

  static constexpr char kPath[] = "/dev/profiler";

  explicit BandwidthDevice(Board& board);

  void speaks(Interface interface) { state_->interface = interface; }
  void figures(Figures figures) { state_->figures = std::move(figures); }
  void onStart(std::function<void()> observer) { state_->onStart = std::move(observer); }

  // What a request results in, and nothing is written: any result, or -errno. The n-th from the first one
  // ever made (1), or each one; 0 is success.
  void answer(int nth, int result) { state_->results[nth] = result; }
  void answerAll(int result) { state_->result = result; }

  const std::vector<BandwidthRequest>& requests() const { return state_->requests.events(); }
  void keepHistory(bool keep) { state_->requests.keep(keep); }  // or not: for a program that runs for hours

 private:
  // Shared with the board, so that the two may end in any order.
  struct State {
    std::optional<Interface> interface;
    Figures figures;
    std::function<void()> onStart;
    std::map<int, int> results;
    int result = 0;
    int made = 0;
    History<BandwidthRequest> requests;

    int handle(std::uint32_t code, void* record);
  };

  std::shared_ptr<State> state_;
};

}  // namespace simulator

#endif
