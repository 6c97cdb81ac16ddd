#include <tessary/net_mon.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

struct Interface {
  std::string name;
  Value received;
  Value sent;
  Value packetsIn;
  Value packetsOut;
  Value droppedIn;
  Value droppedOut;
  Value collisions;
};

constexpr Column<Interface> kColumns[] = {
    {"interface", "interface", kPlain, "The kernel's name of the interface.", get<&Interface::name>, kLabel},
    {"rx_bytes_per_second", "received", kBytesPerSecond, "Bytes received, from its statistics/rx_bytes.",
     get<&Interface::received>, kFigure, kMoreIsWorse},
    {"tx_bytes_per_second", "sent", kBytesPerSecond, "Bytes sent, from its statistics/tx_bytes.",
     get<&Interface::sent>, kFigure, kMoreIsWorse},
    {"rx_packets_per_second", "packets in", kPerSecond, "Packets received, from its statistics/rx_packets.",
     get<&Interface::packetsIn>, kFigure, kMoreIsWorse, 3},
    {"tx_packets_per_second", "packets out", kPerSecond, "Packets sent, from its statistics/tx_packets.",
     get<&Interface::packetsOut>, kFigure, kMoreIsWorse, 3},
    {"rx_dropped_per_second", "dropped in", kPerSecond,
     "Received packets that were dropped, from its statistics/rx_dropped.", get<&Interface::droppedIn>,
     kFigure, kMoreIsWorse, 1},
    {"tx_dropped_per_second", "dropped out", kPerSecond,
     "Packets that were dropped instead of sent, from its statistics/tx_dropped.",
     get<&Interface::droppedOut>, kFigure, kMoreIsWorse, 1},
    {"collisions_per_second", "collisions", kPerSecond, "Collisions, from its statistics/collisions.",
     get<&Interface::collisions>, kFigure, kMoreIsWorse, 4},
};
constexpr Table<Interface> kInterfaces{"interfaces", "interface", kColumns};

struct Counter {
  Node node;
  std::uint64_t net::netStats::*counted;
  Value Interface::*rate;
};

constexpr char kAbsentCounter[] = "the interface has gone, or its driver does not count this";

constexpr Node counterNode(const char* target) { return {target, checkNumber, kAbsentCounter}; }

const std::vector<Counter> kCounters{
    {counterNode("/sys/class/net/*/statistics/rx_bytes"), &net::netStats::rx_bytes, &Interface::received},
    {counterNode("/sys/class/net/*/statistics/tx_bytes"), &net::netStats::tx_bytes, &Interface::sent},
    {counterNode("/sys/class/net/*/statistics/rx_packets"), &net::netStats::rx_packets,
     &Interface::packetsIn},
    {counterNode("/sys/class/net/*/statistics/tx_packets"), &net::netStats::tx_packets,
     &Interface::packetsOut},
    {counterNode("/sys/class/net/*/statistics/rx_dropped"), &net::netStats::rx_dropped,
     &Interface::droppedIn},
    {counterNode("/sys/class/net/*/statistics/tx_dropped"), &net::netStats::tx_dropped,
     &Interface::droppedOut},
    {counterNode("/sys/class/net/*/statistics/collisions"), &net::netStats::collisions,
     &Interface::collisions},
};

const Node kFolder{"/sys/class/net", checkFolder, "is /sys mounted, and has the kernel networking?"};

std::vector<Node> nodes() {
  std::vector<Node> all{kFolder};
  for (const Counter& counter : kCounters) all.push_back(counter.node);
  return all;
}

class NetSection : public Section {
 public:
  explicit NetSection(const Plan&) {}

  void begin(int waitMs) override {
    orBeginAnew(monitor_, [this] { monitor_ ? addAppeared() : takeFirst(); });
    monitor_->tessary_setSamplingTime(waitMs);
  }

  std::vector<std::function<void()>> waits() override {
    return {[this] {
      stats_ = orBeginAnew(monitor_, [this] { return monitor_->tessary_getNetstats(); });
      seconds_ = watch_.lap();
    }};
  }

  std::vector<TableSample> read() override {
    return orBeginAnew(monitor_, [this] { return rows(); });
  }

 private:
  using Unread = std::vector<std::vector<bool>>;  // by interface and counter

  std::vector<TableSample> rows() {
    const Unread before = std::exchange(unread_, unreadCounters());
    TableSample sample;
    for (std::size_t at = 0; at < stats_.size() && at < unread_.size(); ++at) {
      Interface row;
      row.name = stats_[at].name;
      for (std::size_t counter = 0; counter < kCounters.size(); ++counter) {
        row.*kCounters[counter].rate =
            rate(kCounters[counter], stats_[at], before[at][counter], unread_[at][counter]);
      }
      sample.rows.push_back(kInterfaces.row(row));
    }
    if (stats_.empty()) sample.absent = absentBecause(kFolder, "the machine has no interface").reason;
    return {sample};
  }

  void takeFirst() {
    monitor_.emplace();
    watch_.lap();
    unread_ = unreadCounters();
  }

  // The monitor lists its interfaces once. One that is there now joins it, with the counters of this moment
  // as those of its sample before.
  void addAppeared() {
    auto& state = *monitor_->implementation;
    std::vector<std::string>& known = state.interfaceNames;
    const std::size_t before = known.size();
    for (std::string& name : interfaceNames()) {
      if (std::find(known.begin(), known.end(), name) == known.end()) known.push_back(std::move(name));
    }
    if (known.size() == before) return;
    state.getNetStats();
    const auto appeared = state.currentSample.begin() + static_cast<std::ptrdiff_t>(before);
    state.previousSample.insert(state.previousSample.end(), appeared, state.currentSample.end());
    state.currentSample.clear();
    unread_ = unreadCounters();
  }

  // A counter that cannot be read is 0 to the library, and the next difference is off by all that it has
  // counted. One that can be read a moment later, and is not 0 then, was not read either.
  Unread unreadCounters() const {
    Unread unread;
    for (const net::netStats& raw : monitor_->implementation->previousSample) {
      std::vector<bool>& row = unread.emplace_back();
      for (const Counter& counter : kCounters) {
        row.push_back(raw.*counter.counted == 0 && !isZero(numberOf(counter.node, raw.name)));
      }
    }
    return unread;
  }

  static bool isZero(const Value& number) {
    const auto* const integer = std::get_if<std::int64_t>(&number);
    return integer != nullptr && *integer == 0;
  }

  Value rate(const Counter& counter, const net::netStats& stats, bool unreadBefore, bool unreadNow) const {
    const std::uint64_t difference = stats.*counter.counted;
    if (unreadNow) {
      return absentBecause(counter.node, pathOf(counter.node, stats.name), "it could not be read");
    }
    if (unreadBefore) return Absent{"no earlier reading to compare with"};
    if (wrapped(difference)) return Absent{"the counter went back"};
    return finite(static_cast<double>(difference) / seconds_, "no time has passed");
  }

  std::optional<net::NET_MON> monitor_;
  Stopwatch watch_;
  std::vector<net::netStats> stats_;
  Unread unread_;  // of the monitor's last sample
  double seconds_ = 0;
};

}  // namespace

const SectionInfo& netSection() {
  static const SectionInfo info{
      {"net", "Network interfaces", {kInterfaces.info()}}, nodes(), openSection<NetSection>};
  return info;
}

}  // namespace tool
