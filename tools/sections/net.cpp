#include <tessary/net_mon.h>

#include <optional>
#include <utility>

#include "tools/sections/sections.h"

namespace tool {

namespace {

struct Counter {
  Source source;
  std::uint64_t net::netStats::*field;
};

constexpr char kAbsentCounter[] = "the interface has gone, or its driver does not count this";

const std::vector<Counter> kCounters{
    {{"/sys/class/net/*/statistics/rx_bytes", checkNumber, kAbsentCounter}, &net::netStats::rx_bytes},
    {{"/sys/class/net/*/statistics/tx_bytes", checkNumber, kAbsentCounter}, &net::netStats::tx_bytes},
    {{"/sys/class/net/*/statistics/rx_packets", checkNumber, kAbsentCounter}, &net::netStats::rx_packets},
    {{"/sys/class/net/*/statistics/tx_packets", checkNumber, kAbsentCounter}, &net::netStats::tx_packets},
    {{"/sys/class/net/*/statistics/rx_dropped", checkNumber, kAbsentCounter}, &net::netStats::rx_dropped},
    {{"/sys/class/net/*/statistics/tx_dropped", checkNumber, kAbsentCounter}, &net::netStats::tx_dropped},
    {{"/sys/class/net/*/statistics/collisions", checkNumber, kAbsentCounter}, &net::netStats::collisions},
};

const Source kFolder{"/sys/class/net", checkFolder, "is /sys mounted, and has the kernel networking?"};

std::vector<Source> sources() {
  std::vector<Source> all{kFolder};
  for (const Counter& counter : kCounters) all.push_back(counter.source);
  return all;
}

class NetSection : public Section {
 public:
  explicit NetSection(const Plan& plan) : intervalMs_{plan.intervalMs} {}

  void begin() override {
    if (monitor_) return;
    monitor_.emplace();
    monitor_->tessary_setSamplingTime(intervalMs_);
    watch_.lap();
    unread_ = unreadCounters();
  }

  std::vector<std::function<void()>> waits() override {
    return {[this] {
      stats_ = monitor_->tessary_getNetstats();
      seconds_ = watch_.lap();
    }};
  }

  Sample read() override {
    const Unread before = std::exchange(unread_, unreadCounters());
    Sample sample(1);
    for (std::size_t at = 0; at < stats_.size() && at < unread_.size(); ++at) {
      Row& row = sample[0].rows.emplace_back(Row{stats_[at].name});
      for (std::size_t counter = 0; counter < kCounters.size(); ++counter) {
        row.push_back(rate(counter, stats_[at], before[at][counter], unread_[at][counter]));
      }
    }
    if (stats_.empty()) {
      sample[0].absent = absentBecause(kFolder, kFolder.target, "the machine has no interface").reason;
    }
    return sample;
  }

 private:
  using Unread = std::vector<std::vector<bool>>;  // by interface and counter

  // A counter that cannot be read is 0 to the library, and the next difference is off by all that it has
  // counted.
  Unread unreadCounters() const {
    Unread unread;
    for (const net::netStats& raw : monitor_->implementation->previousSample) {
      std::vector<bool>& row = unread.emplace_back();
      for (const Counter& counter : kCounters) {
        row.push_back(raw.*counter.field == 0 &&
                      counter.source.check(expanded(counter.source.target, raw.name)).state != State::kRead);
      }
    }
    return unread;
  }

  Value rate(std::size_t index, const net::netStats& stats, bool unreadBefore, bool unreadNow) const {
    const Counter& counter = kCounters[index];
    const std::uint64_t difference = stats.*counter.field;
    if (unreadNow) {
      return absentBecause(counter.source, expanded(counter.source.target, stats.name),
                           "it could not be read");
    }
    if (unreadBefore) return Absent{"no earlier reading to compare with"};
    if (wrapped(difference)) return Absent{"the counter went back"};
    return finite(static_cast<double>(difference) / seconds_, "no time has passed");
  }

  int intervalMs_;
  std::optional<net::NET_MON> monitor_;
  Stopwatch watch_;
  std::vector<net::netStats> stats_;
  Unread unread_;  // of the monitor's last sample
  double seconds_ = 0;
};

}  // namespace

const SectionInfo kNetSection{"net",
                              "Network interfaces",
                              {{"interfaces",
                                {{"interface", "interface", kPlain, true},
                                 {"rx_bytes_per_second", "received", kBytesPerSecond},
                                 {"tx_bytes_per_second", "sent", kBytesPerSecond},
                                 {"rx_packets_per_second", "packets in", kPerSecond},
                                 {"tx_packets_per_second", "packets out", kPerSecond},
                                 {"rx_dropped_per_second", "dropped in", kPerSecond},
                                 {"tx_dropped_per_second", "dropped out", kPerSecond},
                                 {"collisions_per_second", "collisions", kPerSecond}}}},
                              sources(),
                              openSection<NetSection>};

}  // namespace tool
