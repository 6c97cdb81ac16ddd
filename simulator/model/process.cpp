#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cinttypes>

#include "simulator/model/model.h"

namespace simulator {

namespace {

constexpr std::int64_t kPageKB = 4;

// A process at a moment.
struct Moment {
  const BoardFile& file;
  const ProcessFile& process;
  Microseconds now;
  Microseconds uptimeAtStart;

  std::uint64_t ticks(const Signal& percent) const {
    return ticksOf(percent.integral(now) - percent.integral(process.life.from), file.ticksPerSecond);
  }
  std::int64_t kB(const Signal& size) const { return size.at(now) / kOne; }
  std::int64_t virtualKB() const {
    return process.virtualOverTime ? kB(*process.virtualOverTime) : process.virtualKB;
  }
  std::uint64_t startTicks() const {
    const Microseconds start = process.life.from == 0 ? process.started : uptimeAtStart + process.life.from;
    return ticksOf(Signal{100 * kOne}.integral(start), file.ticksPerSecond);
  }
};

// The kernel keeps 15 characters of a name.
std::string shortName(const ProcessFile& process) {
  constexpr std::size_t kLongest = 15;
  return process.name.substr(0, kLongest);
}

// 1 (init) S 0 1 1 0 -1 4194560 0 0 0 0 512 1290 0 0 20 0 1 0 3 10874880 2560 18446744073709551615 ..
// All 52 fields; those that no board describes are as an idle process has them.
std::string statText(const Moment& moment) {
  const ProcessFile& process = moment.process;
  const unsigned flags = process.isKernelThread() ? 0x208040 : 0x400100;
  std::string text;
  append(text, "%d (%s) %c %d %d %d 0 -1 %u 0 0 0 0", process.pid, shortName(process).c_str(), process.state,
         process.parent, process.pid, process.pid, flags);
  append(text, " %" PRIu64 " %" PRIu64 " 0 0 20 0 %d 0", moment.ticks(process.user),
         moment.ticks(process.system), process.threads);
  append(text, " %" PRIu64 " %" PRId64 " %" PRId64, moment.startTicks(), moment.virtualKB() * 1024,
         moment.kB(process.residentKB) / kPageKB);
  text += " 18446744073709551615 0 0 0 0 0 0 0 0 0 0 0 0 17 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n";
  return text;
}

std::string statmText(const Moment& moment) {
  std::string text;
  append(text, "%" PRId64 " %" PRId64 " 0 0 0 0 0\n", moment.virtualKB() / kPageKB,
         moment.kB(moment.process.residentKB) / kPageKB);
  return text;
}

// State:	S (sleeping)
std::string_view stateName(char state) {
  switch (state) {
    case 'R':
      return "R (running)";
    case 'D':
      return "D (disk sleep)";
    case 'T':
      return "T (stopped)";
    case 't':
      return "t (tracing stop)";
    case 'Z':
      return "Z (zombie)";
    case 'X':
      return "X (dead)";
    case 'I':
      return "I (idle)";
    default:
      return "S (sleeping)";
  }
}

std::string statusText(const Moment& moment) {
  const ProcessFile& process = moment.process;
  std::string text;
  append(
      text, "Name:\t%s\nUmask:\t0077\nState:\t%s\nTgid:\t%d\nNgid:\t0\nPid:\t%d\nPPid:\t%d\nTracerPid:\t0\n",
      shortName(process).c_str(), stateName(process.state).data(), process.pid, process.pid, process.parent);
  append(text, "Uid:\t0\t0\t0\t0\nGid:\t0\t0\t0\t0\nFDSize:\t64\nGroups:\t\n");
  if (!process.isKernelThread()) {
    const std::int64_t resident = moment.kB(process.residentKB);
    const std::int64_t owned = moment.kB(process.privateKB);
    append(text, "VmPeak:\t%8" PRId64 " kB\nVmSize:\t%8" PRId64 " kB\nVmLck:\t       0 kB\n",
           moment.virtualKB(), moment.virtualKB());
    append(text, "VmHWM:\t%8" PRId64 " kB\nVmRSS:\t%8" PRId64 " kB\n", resident, resident);
    append(text, "RssAnon:\t%8" PRId64 " kB\nRssFile:\t%8" PRId64 " kB\nRssShmem:\t       0 kB\n", owned,
           std::max<std::int64_t>(resident - owned, 0));
    append(text, "VmData:\t%8" PRId64 " kB\nVmStk:\t       0 kB\nVmExe:\t       0 kB\nVmLib:\t       0 kB\n",
           owned);
    text += "VmPTE:\t       0 kB\nVmSwap:\t       0 kB\n";
  }
  append(text, "Threads:\t%d\nSigQ:\t0/32768\n", process.threads);
  text += "SigPnd:\t0000000000000000\nShdPnd:\t0000000000000000\nSigBlk:\t0000000000000000\n";
  text += "SigIgn:\t0000000000000000\nSigCgt:\t0000000000000000\nNoNewPrivs:\t0\nSeccomp:\t0\n";
  text += "Cpus_allowed_list:\t" + moment.file.coreList() + "\n";
  text += "voluntary_ctxt_switches:\t0\nnonvoluntary_ctxt_switches:\t0\n";
  return text;
}

// A board describes no reads and writes of a process.
std::string ioText(const Moment&) {
  return "rchar: 0\nwchar: 0\nsyscr: 0\nsyscw: 0\nread_bytes: 0\nwrite_bytes: 0\n"
         "cancelled_write_bytes: 0\n";
}

// Max open files            1024                 4096                 files
std::string limitsText(const Moment&) {
  constexpr const char* kUnlimited = "unlimited";
  constexpr struct {
    const char* name;
    const char* soft;
    const char* hard;
    const char* unit;
  } kLimits[] = {{"Max cpu time", kUnlimited, kUnlimited, "seconds"},
                 {"Max file size", kUnlimited, kUnlimited, "bytes"},
                 {"Max data size", kUnlimited, kUnlimited, "bytes"},
                 {"Max stack size", "8388608", kUnlimited, "bytes"},
                 {"Max core file size", "0", kUnlimited, "bytes"},
                 {"Max resident set", kUnlimited, kUnlimited, "bytes"},
                 {"Max processes", "32768", "32768", "processes"},
                 {"Max open files", "32768", "32768", "files"},
                 {"Max locked memory", "65536", "65536", "bytes"},
                 {"Max address space", kUnlimited, kUnlimited, "bytes"},
                 {"Max file locks", kUnlimited, kUnlimited, "locks"},
                 {"Max pending signals", "32768", "32768", "signals"},
                 {"Max msgqueue size", "819200", "819200", "bytes"},
                 {"Max nice priority", "40", "40", ""},
                 {"Max realtime priority", "0", "0", ""},
                 {"Max realtime timeout", kUnlimited, kUnlimited, "us"}};
  std::string text;
  append(text, "%-25s %-20s %-20s %-10s\n", "Limit", "Soft Limit", "Hard Limit", "Units");
  for (const auto& limit : kLimits)
    append(text, "%-25s %-20s %-20s %-10s\n", limit.name, limit.soft, limit.hard, limit.unit);
  return text;
}

// 00400000-7ffd2f9f1000 ---p 00000000 00:00 0                              [rollup]
// Rss:                3412 kB
std::string rollupText(const Moment& moment) {
  constexpr std::int64_t kDirtyPart = 4;  // of five parts, of what is private
  const ProcessFile& process = moment.process;
  const std::int64_t resident = moment.kB(process.residentKB);
  const std::int64_t owned = moment.kB(process.privateKB);
  const std::int64_t dirty = owned * kDirtyPart / 5;
  const std::int64_t shared = std::max<std::int64_t>(resident - owned, 0);
  const std::pair<const char*, std::int64_t> lines[] = {
      {"Rss:", resident},        {"Pss:", moment.kB(process.proportionalKB)},
      {"Pss_Anon:", dirty},      {"Pss_File:", 0},
      {"Pss_Shmem:", 0},         {"Shared_Clean:", shared},
      {"Shared_Dirty:", 0},      {"Private_Clean:", owned - dirty},
      {"Private_Dirty:", dirty}, {"Referenced:", resident},
      {"Anonymous:", dirty},     {"LazyFree:", 0},
      {"AnonHugePages:", 0},     {"ShmemPmdMapped:", 0},
      {"FilePmdMapped:", 0},     {"Shared_Hugetlb:", 0},
      {"Private_Hugetlb:", 0},   {"Swap:", 0},
      {"SwapPss:", 0},           {"Locked:", 0}};
  if (process.isKernelThread()) return {};
  std::string text;
  append(text, "%-73s[rollup]\n", "00400000-7ffd2f9f1000 ---p 00000000 00:00 0");
  for (const auto& [name, value] : lines) append(text, "%-16s%8" PRId64 " kB\n", name, value);
  return text;
}

struct ProcessNode {
  const char* name;
  std::string (*text)(const Moment& moment);
};

constexpr ProcessNode kNodes[] = {
    {"cgroup", [](const Moment&) -> std::string { return "0::/\n"; }},
    {"cmdline",
     [](const Moment& moment) {
       return moment.process.isKernelThread() ? std::string{} : moment.process.name + '\0';
     }},
    {"comm", [](const Moment& moment) { return shortName(moment.process) + '\n'; }},
    {"io", ioText},
    {"limits", limitsText},
    {"loginuid", [](const Moment&) -> std::string { return "4294967295\n"; }},  // nobody has logged in
    {"oom_score", [](const Moment&) -> std::string { return "0\n"; }},
    {"oom_score_adj", [](const Moment&) -> std::string { return "0\n"; }},
    {"smaps_rollup", rollupText},
    {"stat", statText},
    {"statm", statmText},
    {"status", statusText},
    {"wchan", [](const Moment&) -> std::string { return "0"; }},  // without a line end, as the kernel has it
};

// What the kernel shows of a process to its own user alone. To every program they are there, and closed.
enum class PrivateForm { kFile, kFolder, kLink };
constexpr struct {
  const char* name;
  PrivateForm form;
} kPrivateNodes[] = {
    {"auxv", PrivateForm::kFile},        {"cwd", PrivateForm::kLink},     {"environ", PrivateForm::kFile},
    {"exe", PrivateForm::kLink},         {"fd", PrivateForm::kFolder},    {"fdinfo", PrivateForm::kFolder},
    {"map_files", PrivateForm::kFolder}, {"maps", PrivateForm::kFile},    {"mem", PrivateForm::kFile},
    {"numa_maps", PrivateForm::kFile},   {"pagemap", PrivateForm::kFile}, {"root", PrivateForm::kLink},
    {"smaps", PrivateForm::kFile},       {"stack", PrivateForm::kFile},   {"syscall", PrivateForm::kFile}};

// rest: "/maps", "/fd/3"
std::optional<Node> findPrivateNode(std::string_view rest) {
  const std::string_view name = rest.substr(1, rest.find('/', 1) - 1);
  for (const auto& entry : kPrivateNodes) {
    const bool isBelow = 1 + name.size() < rest.size();
    if (name != entry.name || (isBelow && entry.form == PrivateForm::kFile)) continue;
    Node node;
    node.openError = EACCES;
    node.isFolder = !isBelow && entry.form == PrivateForm::kFolder;
    node.isLink = !isBelow && entry.form == PrivateForm::kLink;
    return node;
  }
  return std::nullopt;
}

// A process's threads have the ids that follow its own, and its name; the first has all of its work.
constexpr struct {
  const char* name;
  std::string (*text)(const Moment& moment);
} kThreadNodes[] = {{"comm", [](const Moment& moment) { return shortName(moment.process) + '\n'; }},
                    {"stat", statText},
                    {"status", statusText}};

// An id may come again, when the process that had it has ended.
const ProcessFile* findProcess(const BoardFile& file, int pid, Microseconds now) {
  auto found = std::lower_bound(file.processes.begin(), file.processes.end(), pid,
                                [](const ProcessFile& process, int id) { return process.pid < id; });
  for (; found != file.processes.end() && found->pid == pid; ++found) {
    if (found->life.holds(now)) return &*found;
  }
  return nullptr;
}

std::vector<std::string> processNames(const BoardFile& file, Microseconds now) {
  std::vector<std::string> names;
  for (const ProcessFile& process : file.processes) {
    if (process.life.holds(now)) names.push_back(std::to_string(process.pid));
  }
  return names;
}

Node folderNode(std::vector<std::string> entries) {
  Node node;
  node.isFolder = true;
  node.entries = std::move(entries);
  return node;
}

// rest: "", "/4", "/4/stat"
std::optional<Node> findThreadNode(const Board& board, const SharedFile& file, const ProcessFile& process,
                                   std::string_view rest) {
  if (rest.empty()) {
    std::vector<std::string> threads;
    threads.reserve(static_cast<std::size_t>(process.threads));
    for (int thread = 0; thread < process.threads; ++thread) {
      threads.push_back(std::to_string(process.pid + thread));
    }
    return folderNode(std::move(threads));
  }
  int id = 0;
  const auto [end, error] = std::from_chars(rest.data() + 1, rest.data() + rest.size(), id);
  if (error != std::errc{} || id < process.pid || id >= process.pid + process.threads) return std::nullopt;
  rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
  if (rest.empty()) {
    std::vector<std::string> names;
    for (const auto& node : kThreadNodes) names.emplace_back(node.name);
    return folderNode(std::move(names));
  }
  for (const auto& entry : kThreadNodes) {
    if (rest.front() != '/' || rest.substr(1) != entry.name) continue;
    Node node;
    node.text = [&board, file, &process, id, text = entry.text] {
      ProcessFile thread = process;
      thread.pid = id;
      thread.threads = process.threads;
      if (id != process.pid) thread.user = thread.system = Signal{};
      return text({*file, thread, boardTime(board), board.clock().uptimeAtStart() / 1000});
    };
    return node;
  }
  return std::nullopt;
}

// below: "12" or "12/stat"
std::optional<Node> findNode(const Board& board, const SharedFile& file, std::string_view below) {
  constexpr std::string_view kTask = "/task";
  const Microseconds now = boardTime(board);
  int pid = 0;
  const auto [end, error] = std::from_chars(below.data(), below.data() + below.size(), pid);
  const std::string_view rest = below.substr(static_cast<std::size_t>(end - below.data()));
  const ProcessFile* const process = error == std::errc{} ? findProcess(*file, pid, now) : nullptr;
  if (process == nullptr) return std::nullopt;
  if (rest.empty()) {
    std::vector<std::string> names{"task"};
    for (const ProcessNode& entry : kNodes) names.emplace_back(entry.name);
    for (const auto& entry : kPrivateNodes) names.emplace_back(entry.name);
    return folderNode(std::move(names));
  }
  if (rest.substr(0, kTask.size()) == kTask)
    return findThreadNode(board, file, *process, rest.substr(kTask.size()));
  for (const ProcessNode& entry : kNodes) {
    if (rest.front() != '/' || rest.substr(1) != entry.name) continue;
    Node node;
    node.text = [&board, file, process, text = entry.text] {
      return text({*file, *process, boardTime(board), board.clock().uptimeAtStart() / 1000});
    };
    return node;
  }
  return findPrivateNode(rest);
}

void findProcessOf(BoardFile& file, Fault& fault) {
  const bool isThere =
      std::any_of(file.processes.begin(), file.processes.end(),
                  [&](const ProcessFile& process) { return std::to_string(process.pid) == fault.name; });
  if (!isThere) failAsMissing(file, fault.namePlace);
  fault.name = "/proc/" + fault.name;
}

}  // namespace

const FaultTarget kProcessFaults{"process", FaultTarget::Names::kNumber, "open read vanish cut rubbish",
                                 findProcessOf, [](Board& board, const SharedFile& file, const Fault& fault) {
                                   armNode(board, file, fault, fault.name);
                                 }};

void layOutProcesses(Board& board, const SharedFile& file) {
  board.residents("/proc", {[&board, file] { return processNames(*file, boardTime(board)); },
                            [&board, file](std::string_view below) { return findNode(board, file, below); }});
}

}  // namespace simulator
