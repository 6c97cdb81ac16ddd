#include <tessary/procmem_mon.h>

#include <algorithm>

#include "tools/sections/kept.h"
#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

constexpr char kPss[] = "Pss:";

// Kernel threads and processes that have ended have no memory, which their node says in either of two ways.
Finding checkRollup(const std::string& path) {
  Finding finding = checkHolding<kPss>(path);
  if (finding.error == kEmptyNode) finding.state = State::kAbsent;
  return finding;
}

const Node kFolder{"/proc", checkFolder, "is /proc mounted?"};
const Node kStat{"/proc/#/stat", checkNumber, "the process has ended"};
const Node kRollup{"/proc/#/smaps_rollup", checkRollup,
                   "nothing: kernel threads and ended processes have no memory"};

struct Sums {
  Value processes;
  Value pss;
  Value own;
};

constexpr Column<Sums> kSumColumns[] = {
    {"processes", "processes", kPlain, "Processes that are no kernel threads.", get<&Sums::processes>,
     kFigure, kMoreIsWorse, 0, "count"},
    {"pss_kib", "PSS", kKibibytes,
     "Sum of the PSS of those whose memory could be read, from /proc/<pid>/smaps_rollup.", get<&Sums::pss>,
     kFigure, kMoreIsWorse, 0, "sum_pss"},
    {"private_kib", "private", kKibibytes,
     "Sum of their resident memory that they share with nobody, from /proc/<pid>/smaps_rollup.",
     get<&Sums::own>, kFigure, kMoreIsWorse, 0, "sum_private"},
};
constexpr Table<Sums> kSums{nullptr, "", kSumColumns};

struct Process {
  std::int64_t pid = 0;
  Value parent;
  Value name;
  Value pss;
  Value rss;
  Value own;
  Value virtualSize;
};

constexpr Column<Process> kProcessColumns[] = {
    {"pid", "pid", kPlain, "The process's id.", get<&Process::pid>, kLabel},
    {"parent_pid", "parent", kPlain, "Its parent's id, from /proc/<pid>/stat.", get<&Process::parent>, kFixed,
     kNeither, 4},
    {"name", "name", kPlain,
     "The kernel's name of its first thread up to the first blank, from /proc/<pid>/stat.",
     get<&Process::name>, kLabel},
    {"pss_kib", "PSS", kKibibytes,
     "Resident memory, each shared page divided by its users, from /proc/<pid>/smaps_rollup.",
     get<&Process::pss>, kFigure, kMoreIsWorse},
    {"rss_kib", "RSS", kKibibytes, "Resident memory, shared pages in full, from /proc/<pid>/smaps_rollup.",
     get<&Process::rss>, kFigure, kMoreIsWorse, 1},
    {"private_kib", "private", kKibibytes,
     "Resident memory that it shares with nobody, from /proc/<pid>/smaps_rollup.", get<&Process::own>,
     kFigure, kMoreIsWorse, 2},
    {"virtual_kib", "virtual", kKibibytes, "Address space, from /proc/<pid>/stat.",
     get<&Process::virtualSize>, kFigure, kMoreIsWorse, 3},
};
constexpr Table<Process> kProcesses{"top", "process", kProcessColumns};

using procmem::processMemoryMap;

bool isMeasured(const processMemoryMap& info) {
  return info.rss != 0 || info.pss != 0 || info.privateMem != 0;
}

Finding rollup(int pid) { return tried(kRollup, std::to_string(pid)); }

class ProcmemSection : public Section {
 public:
  explicit ProcmemSection(const Plan& plan) : plan_{plan}, kept_{plan.keep} {}

  std::vector<TableSample> read() override {
    const std::vector<int> asked = selected();
    std::vector<processMemoryMap>& processes = *monitor_.tessary_getPerProcessMemStats(asked);
    if (processes.empty() && plan_.pids.empty()) {
      const Absent none = absentBecause(kFolder, "no process could be read");
      return {{{kSums.row({none, none, none})}, {}}, {{}, none.reason}};
    }
    std::sort(processes.begin(), processes.end(), [](const processMemoryMap& a, const processMemoryMap& b) {
      return a.pss != b.pss ? a.pss > b.pss : a.pid < b.pid;
    });
    const std::string missing = unreadable(asked, processes);
    return {{{kSums.row(sums(processes))}, missing},
            {plan_.pids.empty() ? largest(processes) : named(processes), missing}};
  }

 private:
  // The monitor leaves the rollup of an ended process open, once a call, when it is empty: no such process is
  // asked for twice.
  std::vector<int> selected() {
    std::vector<int> ids = plan_.pids.empty() ? processIds() : plan_.pids;
    for (std::vector<int>* const known : {&ended_, &kernelThreads_}) {
      const auto gone = [&](int pid) { return !std::binary_search(ids.begin(), ids.end(), pid); };
      known->erase(std::remove_if(known->begin(), known->end(), gone), known->end());
    }
    ids.erase(std::remove_if(ids.begin(), ids.end(), [this](int pid) { return isIn(ended_, pid); }),
              ids.end());
    return ids;
  }

  static bool isIn(const std::vector<int>& sorted, int pid) {
    return std::binary_search(sorted.begin(), sorted.end(), pid);
  }

  static Sums sums(const std::vector<processMemoryMap>& processes) {
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

  // Notes the processes without memory, and says of the others that could not be measured why, and how many could.
  std::string unreadable(const std::vector<int>& asked, const std::vector<processMemoryMap>& processes) {
    std::vector<int> measured;
    std::vector<int> reported;
    for (const processMemoryMap& info : processes) {
      reported.push_back(info.pid);
      if (isMeasured(info)) measured.push_back(info.pid);
    }
    std::sort(measured.begin(), measured.end());
    std::sort(reported.begin(), reported.end());
    std::size_t count = 0;
    std::string error;
    for (const int pid : asked) {
      if (isIn(measured, pid) || isIn(kernelThreads_, pid)) continue;
      const Finding finding = rollup(pid);
      if (finding.state == State::kAbsent) {
        (isIn(reported, pid) ? ended_ : kernelThreads_).push_back(pid);
      } else {
        ++count;
        error = finding.state == State::kRead ? "it could not be read at first" : finding.error;
      }
    }
    std::sort(ended_.begin(), ended_.end());
    std::sort(kernelThreads_.begin(), kernelThreads_.end());
    if (count == 0 || !plan_.pids.empty()) return {};
    return std::string{kRollup.target} + ": " + error + " " +
           partOf(measured.size(), measured.size() + count);
  }

  std::vector<Row> largest(const std::vector<processMemoryMap>& processes) {
    std::vector<Row> rows;
    kept_.begin();
    for (const processMemoryMap& info : processes) {
      if (kept_.takes(info.pid, rows.size() < plan_.top)) rows.push_back(row(info));
    }
    return rows;
  }

  std::vector<Row> named(const std::vector<processMemoryMap>& processes) const {
    std::vector<Row> rows;
    for (const int pid : plan_.pids) rows.push_back(rowOf(processes, pid));
    return rows;
  }

  static Row rowOf(const std::vector<processMemoryMap>& processes, int pid) {
    const auto info = std::find_if(processes.begin(), processes.end(),
                                   [pid](const processMemoryMap& candidate) { return candidate.pid == pid; });
    if (info != processes.end()) return row(*info);
    const Absent reason = absentBecause(kStat, pathOf(kStat, std::to_string(pid)),
                                        "a kernel thread or an ended process: it has no memory of its own");
    return kProcesses.absentRow({pid, {}, reason, {}, {}, {}, {}}, reason.reason);
  }

  static Row row(const processMemoryMap& info) {
    const auto kib = [&](std::uint64_t figure) -> Value {
      if (isMeasured(info)) return static_cast<std::int64_t>(figure);
      const Finding finding = rollup(info.pid);
      return Absent{std::string{kRollup.target} + ": " +
                    (finding.state == State::kRead ? "it was empty" : finding.error)};
    };
    const auto fromStat = [&](std::int64_t figure) -> Value {
      if (info.ppid >= 0) return figure;
      return Absent{"/proc/#/stat: a blank in the process's name puts what follows out of step"};
    };
    return kProcesses.row({info.pid, fromStat(info.ppid), name(info), kib(info.pss), kib(info.rss),
                           kib(info.privateMem), fromStat(static_cast<std::int64_t>(info.vmSize))});
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
  std::vector<int> ended_;  // sorted, as those below
  std::vector<int> kernelThreads_;
  Kept kept_;
};

}  // namespace

// Reading it costs the kernel time in proportion to the memory in use: a recording has it on request.
const SectionInfo& procmemSection() {
  static const SectionInfo info{{"procmem", "Processes by memory", {kSums.info(), kProcesses.info()}},
                                {kFolder, kStat, kRollup},
                                openSection<ProcmemSection>,
                                true};
  return info;
}

}  // namespace tool
