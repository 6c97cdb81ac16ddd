#include <tessary/procmem_mon.h>

#include <algorithm>

#include "tools/sections/sections.h"

namespace tool {

namespace {

constexpr char kPss[] = "Pss:";

// Kernel threads and processes that have ended have no memory, which their node says in either of two ways.
Finding checkRollup(const std::string& path) {
  Finding finding = checkHolding<kPss>(path);
  if (finding.error == kEmptyNode) finding.state = State::kAbsent;
  return finding;
}

const std::vector<Source> kSources{
    {"/proc", checkFolder, "is /proc mounted?"},
    {"/proc/#/stat", checkNumber, "the process has ended"},
    {"/proc/#/smaps_rollup", checkRollup, "nothing: kernel threads and ended processes have no memory"},
};

using procmem::processMemoryMap;

bool isMeasured(const processMemoryMap& info) {
  return info.rss != 0 || info.pss != 0 || info.privateMem != 0;
}

Finding rollup(int pid) { return kSources[2].check(expanded(kSources[2].target, std::to_string(pid))); }

class ProcmemSection : public Section {
 public:
  explicit ProcmemSection(const Plan& plan) : plan_{plan} {}

  Sample read() override {
    std::vector<processMemoryMap>& processes = *monitor_.tessary_getPerProcessMemStats(selected());
    if (processes.empty() && plan_.pids.empty()) {
      const Absent none = absentBecause(kSources[0], "/proc", "no process could be read");
      return {{{{none, none, none}}, {}}, {{}, none.reason}};
    }
    std::sort(processes.begin(), processes.end(), [](const processMemoryMap& a, const processMemoryMap& b) {
      return a.pss != b.pss ? a.pss > b.pss : a.pid < b.pid;
    });
    Sample sample{{{sums(processes)}, {}}, {}};
    sample[1].absent = unreadable(processes);
    if (plan_.pids.empty()) {
      processes.resize(std::min(processes.size(), plan_.top));
      for (const processMemoryMap& info : processes) sample[1].rows.push_back(row(info));
    } else {
      for (const int pid : plan_.pids) sample[1].rows.push_back(rowOf(processes, pid));
    }
    return sample;
  }

 private:
  // The monitor leaves the rollup of an ended process open, once a call, when it is empty: no such process is
  // asked for twice.
  std::vector<int> selected() {
    std::vector<int> ids = plan_.pids.empty() ? processIds() : plan_.pids;
    const auto gone = [&](int pid) { return !std::binary_search(ids.begin(), ids.end(), pid); };
    ended_.erase(std::remove_if(ended_.begin(), ended_.end(), gone), ended_.end());
    const auto ended = [&](int pid) { return std::find(ended_.begin(), ended_.end(), pid) != ended_.end(); };
    ids.erase(std::remove_if(ids.begin(), ids.end(), ended), ids.end());
    return ids;
  }

  static Row sums(const std::vector<processMemoryMap>& processes) {
    std::int64_t pss = 0;
    std::int64_t own = 0;
    bool any = false;
    for (const processMemoryMap& info : processes) {
      pss += static_cast<std::int64_t>(info.pss);
      own += static_cast<std::int64_t>(info.privateMem);
      any = any || isMeasured(info);
    }
    const auto sum = [any](std::int64_t kib) {
      return any ? Value{kib} : Absent{"no process could be measured"};
    };
    return {static_cast<std::int64_t>(processes.size()), sum(pss), sum(own)};
  }

  // Notes the ended processes, and says of the others that could not be measured how many there are and why.
  std::string unreadable(const std::vector<processMemoryMap>& processes) {
    std::size_t count = 0;
    std::string error;
    for (const processMemoryMap& info : processes) {
      if (isMeasured(info)) continue;
      const Finding finding = rollup(info.pid);
      if (finding.state == State::kAbsent || finding.state == State::kMalformed) {
        ended_.push_back(info.pid);
      } else if (finding.state == State::kDenied) {
        ++count;
        error = finding.error;
      }
    }
    if (count == 0 || !plan_.pids.empty()) return {};
    return kSources[2].target + (": " + error) + " (" + std::to_string(count) + " of " +
           std::to_string(processes.size()) + " processes)";
  }

  static Row rowOf(const std::vector<processMemoryMap>& processes, int pid) {
    const auto info = std::find_if(processes.begin(), processes.end(),
                                   [pid](const processMemoryMap& candidate) { return candidate.pid == pid; });
    if (info != processes.end()) return row(*info);
    const Absent reason = absentBecause(kSources[1], expanded(kSources[1].target, std::to_string(pid)),
                                        "a kernel thread or an ended process: it has no memory of its own");
    return {static_cast<std::int64_t>(pid), reason, reason, reason, reason, reason, reason};
  }

  static Row row(const processMemoryMap& info) {
    const auto kib = [&](std::uint64_t figure) -> Value {
      if (isMeasured(info)) return static_cast<std::int64_t>(figure);
      const Finding finding = rollup(info.pid);
      return Absent{std::string{kSources[2].target} + ": " +
                    (finding.state == State::kRead ? "it was empty" : finding.error)};
    };
    const Absent outOfStep{"/proc/#/stat: a blank in the process's name puts what follows out of step"};
    const bool inStep = info.ppid >= 0;
    return {static_cast<std::int64_t>(info.pid),
            inStep ? Value{static_cast<std::int64_t>(info.ppid)} : Value{outOfStep},
            name(info),
            kib(info.pss),
            kib(info.rss),
            kib(info.privateMem),
            inStep ? Value{static_cast<std::int64_t>(info.vmSize)} : Value{outOfStep}};
  }

  // The library has the name in its parentheses, cut at the first blank.
  static std::string name(const processMemoryMap& info) {
    std::string text = info.name;
    if (!text.empty() && text.front() == '(') text.erase(0, 1);
    if (!text.empty() && text.back() == ')') text.pop_back();
    return text;
  }

  Plan plan_;
  procmem::PERPROCMEM_MON monitor_;
  std::vector<int> ended_;
};

}  // namespace

const SectionInfo kProcmemSection{
    "procmem",
    "Processes by memory",
    {{nullptr,
      {{"processes", "processes"}, {"pss_kib", "PSS", kKibibytes}, {"private_kib", "private", kKibibytes}}},
     {"top",
      {{"pid", "pid", kPlain, true},
       {"parent_pid", "parent", kPlain, true},
       {"name", "name", kPlain, true},
       {"pss_kib", "PSS", kKibibytes},
       {"rss_kib", "RSS", kKibibytes},
       {"private_kib", "private", kKibibytes},
       {"virtual_kib", "virtual", kKibibytes}}}},
    kSources,
    openSection<ProcmemSection>};

}  // namespace tool
