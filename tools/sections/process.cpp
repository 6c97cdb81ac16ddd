#include <tessary/process_mon.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "tools/figures/time_units.h"
#include "tools/sections/kept.h"
#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

const Node kFolder{"/proc", checkFolder, "is /proc mounted?"};
const Node kStat{"/proc/#/stat", checkNumber, "the process has ended"};

struct Sums {
  Value processes;
  Value cpu;
};

constexpr Column<Sums> kSumColumns[] = {
    {"processes", "processes", kPlain, "Processes at the end of the interval that could be read.",
     get<&Sums::processes>, kFigure, kMoreIsWorse, 0, "count"},
    {"cpu_percent", "CPU", kPercent,
     "CPU time of all of them over the interval, from /proc/<pid>/stat; 100 percent is one busy core.",
     get<&Sums::cpu>, kFigure, kMoreIsWorse, 0, "sum_cpu"},
};
constexpr Table<Sums> kSums{nullptr, "", kSumColumns};

struct Process {
  std::int64_t pid = 0;
  Value name;
  Value cpu;
  Value user;
  Value system;
};

constexpr Column<Process> kProcessColumns[] = {
    {"pid", "pid", kPlain, "The process's id.", get<&Process::pid>, kLabel},
    {"name", "name", kPlain, "The kernel's name of its first thread, from /proc/<pid>/stat.",
     get<&Process::name>, kLabel},
    {"cpu_percent", "CPU", kPercent,
     "CPU time over the interval, from /proc/<pid>/stat; 100 percent is one busy core.", get<&Process::cpu>,
     kFigure, kMoreIsWorse},
    {"user_seconds", "user", kSeconds, "The part of it in the program, from /proc/<pid>/stat.",
     get<&Process::user>, kFigure, kMoreIsWorse, 1},
    {"system_seconds", "system", kSeconds, "The part of it in the kernel, from /proc/<pid>/stat.",
     get<&Process::system>, kFigure, kMoreIsWorse, 2},
};
constexpr Table<Process> kProcesses{"top", "process", kProcessColumns};

constexpr char kEnded[] = "the process ended during the interval";
constexpr char kHalfRead[] = "could not be read at one end of the interval";
constexpr char kUnread[] = "no permission, or a parenthesis or line end in the name";

bool isSelected(const std::vector<int>& sorted, int pid) {
  return sorted.empty() || std::binary_search(sorted.begin(), sorted.end(), pid);
}

class ProcessSection : public Section {
 public:
  explicit ProcessSection(const Plan& plan) : plan_{plan}, kept_{plan.keep} {}

  void begin(int waitMs) override {
    if (!monitor_) takeFirst();
    monitor_->tessary_setSamplingTime(waitMs);
  }

  std::vector<std::function<void()>> waits() override {
    return {[this] { orBeginAnew(monitor_, [this] { measure(); }); }};
  }

  std::vector<TableSample> read() override {
    if (used_.empty() && plan_.pids.empty()) return nothing();
    std::sort(used_.begin(), used_.end(),
              [](const process::resultProcInfo& a, const process::resultProcInfo& b) {
                return a.totalTime != b.totalTime ? a.totalTime > b.totalTime : a.pid < b.pid;
              });
    double total = 0;
    for (const process::resultProcInfo& info : used_) total += info.totalTime;
    const std::string missing = plan_.pids.empty() ? unreadable() : "";
    return {{{kSums.row({static_cast<std::int64_t>(used_.size()), percent(total)})}, missing},
            {plan_.pids.empty() ? largest() : named(), missing}};
  }

 private:
  void takeFirst() {
    if (plan_.pids.empty()) {
      monitor_.emplace();
    } else {
      monitor_.emplace(nullptr, plan_.pids);
    }
    sampledAt_ = bootTime();
  }

  std::vector<TableSample> nothing() const {
    const bool anyNow = !monitor_->implementation->previousSample.empty();
    const Absent none =
        absentBecause(kFolder, anyNow ? "no earlier sample to compare with" : "no process could be read");
    return {{{kSums.row({none, none})}, {}}, {{}, none.reason}};
  }

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
    halfRead_ = 0;
    for (const int pid : processIds()) {
      if (!isSelected(plan_.pids, pid) || std::binary_search(known.begin(), known.end(), pid)) continue;
      const std::size_t before = state.currentSample.size();
      state.readSchedStat(pid);
      if (state.currentSample.size() == before) unread_.push_back(pid);
    }
    for (const process::processStats& started : state.currentSample) {
      state.previousSample.push_back(started);
      if (started.startTime < since - kTick) {  // it was there, and could not be read
        ++halfRead_;
        continue;
      }
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

  // How many processes are there and could not be read, at both ends.
  std::string unreadable() const {
    const auto count = static_cast<std::size_t>(std::count_if(unread_.begin(), unread_.end(), [](int pid) {
      return tried(kStat, std::to_string(pid)).state != State::kAbsent;
    }));
    const std::size_t missing = count + halfRead_;
    if (missing == 0) return {};
    return std::string{kStat.target} + ": " + (count != 0 ? kUnread : kHalfRead) + " " +
           partOf(used_.size(), used_.size() + missing);
  }

  static std::vector<int> idsOf(const std::vector<process::processStats>& sample) {
    std::vector<int> ids;
    ids.reserve(sample.size());
    for (const process::processStats& stats : sample) ids.push_back(stats.pid);
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  Value percent(double cpuSeconds) const { return finite(cpuSeconds / seconds_ * 100, "no time has passed"); }

  // Those that used most, without those that used none.
  std::vector<Row> largest() {
    std::vector<Row> rows;
    kept_.begin();
    for (const process::resultProcInfo& info : used_) {
      const bool large = info.totalTime > 0 && rows.size() < plan_.top;
      if (kept_.takes(info.pid, large)) rows.push_back(row(info));
    }
    return rows;
  }

  std::vector<Row> named() const {
    std::vector<Row> rows;
    for (const int pid : plan_.pids) rows.push_back(rowOf(pid));
    return rows;
  }

  Row row(const process::resultProcInfo& info) const {
    const std::string_view field{info.name, sizeof info.name};
    return kProcesses.row({info.pid, std::string{field.substr(0, field.find('\0'))}, percent(info.totalTime),
                           info.userTime, info.systemTime});
  }

  Row rowOf(int pid) const {
    const auto info = std::find_if(used_.begin(), used_.end(),
                                   [pid](const auto& candidate) { return candidate.pid == pid; });
    if (info != used_.end()) return row(*info);
    const bool unread = std::binary_search(unread_.begin(), unread_.end(), pid);
    const Absent reason = absentBecause(kStat, pathOf(kStat, std::to_string(pid)), unread ? kUnread : kEnded);
    return kProcesses.absentRow({pid, reason, {}, {}, {}}, reason.reason);
  }

  Plan plan_;
  std::optional<process::PROCESS_MON> monitor_;
  std::int64_t sampledAt_ = 0;  // boot time of the monitor's last sample
  double seconds_ = 0;          // from the sample before it
  std::vector<process::resultProcInfo> used_;
  std::vector<int> unread_;   // listed, and not in the last sample
  std::size_t halfRead_ = 0;  // in one of the last two samples alone, and not new
  Kept kept_;
};

}  // namespace

const SectionInfo& processSection() {
  static const SectionInfo info{{"process", "Processes by CPU time", {kSums.info(), kProcesses.info()}},
                                {kFolder, kStat},
                                openSection<ProcessSection>};
  return info;
}

}  // namespace tool
