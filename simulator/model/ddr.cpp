#include <algorithm>
#include <limits>
#include <mutex>

#include "simulator/board/fork_safe_mutex.h"
#include "simulator/devices/bandwidth_device.h"
#include "simulator/model/model.h"

namespace simulator {

namespace {

enum Figure : std::size_t { kA1, kA2, kB1, kB2 };

// The newer driver hands out the figures themselves: A total, A1, A2, B total, B1, B2.
std::uint32_t newerWord(const DdrFile& ddr, int word, Microseconds now) {
  constexpr std::pair<Figure, Figure> kParts[] = {{kA1, kA2}, {kA1, kA1}, {kA2, kA2},
                                                  {kB1, kB2}, {kB1, kB1}, {kB2, kB2}};
  const auto [first, second] = kParts[word];
  const Thousandths sum =
      ddr.perSecond[first].at(now) + (first == second ? 0 : ddr.perSecond[second].at(now));
  return static_cast<std::uint32_t>(sum / kOne);
}

// The older one hands out what its counters have counted since the last time: four sets of six counters, A1
// and A2 in turn in the words from 2 on, B1 and B2 in turn in those from 14 on.
class OlderCounters {
 public:
  explicit OlderCounters(const DdrFile& ddr) : ddr_{ddr} {}

  void start(Microseconds now) {
    const std::lock_guard lock{mutex_};
    from_ = to_ = now;
  }

  std::uint32_t word(int word, Microseconds now) {
    const std::lock_guard lock{mutex_};
    if (word == kFirstWord) from_ = std::exchange(to_, now);
    const bool isB = word >= kFirstWord + 2 * kCounters;
    const Signal& perSecond = ddr_.perSecond[(isB ? kB1 : kA1) + static_cast<std::size_t>(word % 2)];
    const Wide counted = (perSecond.integral(to_) - perSecond.integral(from_)) *
                         (isB ? kCountsOfB : kCountsOfA) / kOneForASecond;
    const int counter = (word - kFirstWord) / 2 % kCounters;
    const Wide share = counted / kCounters + (counter < static_cast<int>(counted % kCounters) ? 1 : 0);
    return static_cast<std::uint32_t>(std::min<Wide>(share, std::numeric_limits<std::int32_t>::max()));
  }

 private:
  static constexpr int kFirstWord = 2;
  static constexpr int kCounters = 6;
  static constexpr int kCountsOfA = 8192;  // to one of the figure
  static constexpr int kCountsOfB = 65536;

  const DdrFile& ddr_;
  ForkSafeMutex mutex_;
  Microseconds from_ = 0;
  Microseconds to_ = 0;
};

}  // namespace

void layOutDdr(Board& board, const SharedFile& file) {
  if (!file->ddr) return;
  BandwidthDevice device{board};
  device.keepHistory(board.keepsHistory());
  if (file->hasNewerDdr()) {
    device.speaks(BandwidthDevice::Interface::kNewer);
    device.figures([&board, file](int word) { return newerWord(*file->ddr, word, boardTime(board)); });
    return;
  }
  const auto counters = std::make_shared<OlderCounters>(*file->ddr);
  device.speaks(BandwidthDevice::Interface::kOlder);
  device.onStart([&board, counters] { counters->start(boardTime(board)); });
  device.figures([&board, file, counters](int word) { return counters->word(word, boardTime(board)); });
}

}  // namespace simulator
