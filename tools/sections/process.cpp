#include <tessary/process_mon.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "tools/sections/sections.h"

namespace tool {

namespace {

const std::vector<Source> kSources{
    {"/proc", checkFolder, "is /proc mounted?"},
    {"/proc/#/stat", checkNumber, "the process has ended"},
};

constexpr char kEnded[] = "the process ended during the interval";
constexpr char kUnread[] = "no permission, or a parenthesis or line end in the name";

bool isSelected(const std::vector<int>& sorted, int pid) {
  return sorted.empty() || std::binary_search(sorted.begin(), sorted.end(), pid);
}

class ProcessSection : public Section {
 public:
  explicit ProcessSection(const Plan& plan) : plan_{plan} {}

  void begin() override {
    if (monitor_) return;
    if (plan_.pids.empty()) {
      monitor_.emplace();
    } else {
      monitor_.emplace(nullptr, plan_.pids);
    }
    monitor_->tessary_setSamplingTime(plan_.intervalMs);
    sampledAt_ = bootTime();
  }

  std::vector<std::function<void()>> waits() override {
    return {[this] { measure(); }};
  }

  Sample read() override {
    if (used_.empty() && plan_.pids.empty()) {
      const bool anyNow = !monitor_->implementation->previousSample.empty();
      const Absent none =
          absentBecause(kSources[0], kSources[0].target,
                        anyNow ? "no earlier sample to compare with" : "no process could be read");
      return {{{{none, none}}, {}}, {{}, none.reason}};
    }
    std::sort(used_.begin(), used_.end(),
              [](const process::resultProcInfo& a, const process::resultProcInfo& b) {
                return a.totalTime != b.totalTime ? a.totalTime > b.totalTime : a.pid < b.pid;
              });
    double total = 0;
    for (const process::resultProcInfo& info : used_) total += info.totalTime;
    Sample sample{{{{static_cast<std::int64_t>(used_.size()), percent(total)}}, {}}, {}};
    if (plan_.pids.empty()) {
      sample[1].absent = unreadable();
      for (const process::resultProcInfo& info : used_) {
        if (info.totalTime <= 0 || sample[1].rows.size() == plan_.top) break;
        sample[1].rows.push_back(row(info));
      }
    } else {
      for (const int pid : plan_.pids) sample[1].rows.push_back(rowOf(pid));
    }
    return sample;
  }

 private:
  // The monitor pairs its samples rightly as long as the new one has no process that the old one has not. So
  // it is asked for those of the old one; those that started since then are added one by one.
  void measure() {
    const std::int64_t before = sampledAt_;
    std::vector<process::processStats>& sample = monitor_->implementation->previousSample;
    const std::vector<int> known = idsOf(sample);
    const std::vector<process::resultProcInfo>& results = *monitor_->tessary_getProcessStats(known);
    sampledAt_ = bootTime();
    seconds_ = static_cast<double>(sampledAt_ - before) / kNanosecondsInSecond;

    const std::vector<int> alive = idsOf(sample);
    used_.clear();
    std::copy_if(results.begin(), results.end(), std::back_inserter(used_),
                 [&](const auto& info) { return std::binary_search(alive.begin(), alive.end(), info.pid); });
    addStarted(alive, static_cast<double>(before) / kNanosecondsInSecond);
  }

  void addStarted(const std::vector<int>& known, double since) {
    constexpr double kTick = 0.01;  // the kernel cuts the start time to its tick
    auto& state = *monitor_->implementation;
    unread_.clear();
    for (const int pid : processIds()) {
      if (!isSelected(plan_.pids, pid) || std::binary_search(known.begin(), known.end(), pid)) continue;
      const std::size_t before = state.currentSample.size();
      state.readSchedStat(pid);
      if (state.currentSample.size() == before) unread_.push_back(pid);
    }
    for (const process::processStats& started : state.currentSample) {
      state.previousSample.push_back(started);
      if (started.startTime < since - kTick) continue;  // it was there, and could not be read
      process::resultProcInfo info{};
      info.pid = started.pid;
      started.name.copy(info.name, sizeof info.name - 1);
      info.userTime = started.userTime;
      info.systemTime = started.systemTime;
      info.totalTime = started.userTime + started.systemTime;
      used_.push_back(info);
    }
    if (state.currentSample.empty()) return;
    state.currentSample.clear();
    std::sort(state.previousSample.begin(), state.previousSample.end(), process::comparePid);
  }

  // How many processes are there and could not be read.
  std::string unreadable() const {
    std::size_t count = 0;
    for (const int pid : unread_) {
      const Finding finding = kSources[1].check(expanded(kSources[1].target, std::to_string(pid)));
      count += finding.state != State::kAbsent ? 1 : 0;
    }
    if (count == 0) return {};
    return kSources[1].target + (": " + std::to_string(count)) + " processes not read: " + kUnread;
  }

  static std::vector<int> idsOf(const std::vector<process::processStats>& sample) {
    std::vector<int> ids;
    ids.reserve(sample.size());
    for (const process::processStats& stats : sample) ids.push_back(stats.pid);
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  Value percent(double cpuSeconds) const { return finite(cpuSeconds / seconds_ * 100, "no time has passed"); }

  Row row(const process::resultProcInfo& info) const {
    const std::string_view field{info.name, sizeof info.name};
    return {static_cast<std::int64_t>(info.pid), std::string{field.substr(0, field.find('\0'))},
            percent(info.totalTime), info.userTime, info.systemTime};
  }

  Row rowOf(int pid) const {
    const auto info = std::find_if(used_.begin(), used_.end(),
                                   [pid](const auto& candidate) { return candidate.pid == pid; });
    if (info != used_.end()) return row(*info);
    const bool unread = std::binary_search(unread_.begin(), unread_.end(), pid);
    const Absent reason = absentBecause(kSources[1], expanded(kSources[1].target, std::to_string(pid)),
                                        unread ? kUnread : kEnded);
    return {static_cast<std::int64_t>(pid), reason, reason, reason, reason};
  }

  static constexpr double kNanosecondsInSecond = 1e9;

  Plan plan_;
  std::optional<process::PROCESS_MON> monitor_;
  std::int64_t sampledAt_ = 0;  // boot time of the monitor's last sample
  double seconds_ = 0;          // from the sample before it
  std::vector<process::resultProcInfo> used_;
  std::vector<int> unread_;  // listed, and not in the last sample
};

}  // namespace

const SectionInfo kProcessSection{"process",
                                  "Processes by CPU time",
                                  {{nullptr, {{"processes", "processes"}, {"cpu_percent", "CPU", kPercent}}},
                                   {"top",
                                    {{"pid", "pid", kPlain, true},
                                     {"name", "name", kPlain, true},
                                     {"cpu_percent", "CPU", kPercent},
                                     {"user_seconds", "user", kSeconds},
                                     {"system_seconds", "system", kSeconds}}}},
                                  kSources,
                                  openSection<ProcessSection>};

}  // namespace tool
