#include <algorithm>
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

// 1 (init) S 0 1 1 0 -1 4194560 0 0 0 0 512 1290 0 0 20 0 1 0 3 10874880 2560 18446744073709551615 ..
// All 52 fields; those that no board describes are as an idle process has them.
std::string statText(const Moment& moment) {
  const ProcessFile& process = moment.process;
  const unsigned flags = process.isKernelThread() ? 0x208040 : 0x400100;
  std::string text;
  append(text, "%d (%s) %c %d %d %d 0 -1 %u 0 0 0 0", process.pid, process.name.c_str(), process.state,
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
  append(text, "%" PRId64 " %" PRId64 " 0 0 0 0 0\n", moment.process.virtualKB / kPageKB,
         moment.kB(moment.process.residentKB) / kPageKB);
  return text;
}

std::string statusText(const Moment& moment) {
  const ProcessFile& process = moment.process;
  std::string text;
  append(text,
         "Name:\t%s\nUmask:\t0077\nState:\t%c\nTgid:\t%d\nNgid:\t0\nPid:\t%d\nPPid:\t%d\nTracerPid:\t0\n",
         process.name.c_str(), process.state, process.pid, process.pid, process.parent);
  append(text, "Uid:\t0\t0\t0\t0\nGid:\t0\t0\t0\t0\nFDSize:\t64\nGroups:\t\n");
  if (!process.isKernelThread()) {
    append(text, "VmSize:\t%8" PRId64 " kB\nVmRSS:\t%8" PRId64 " kB\n", process.virtualKB,
           moment.kB(process.residentKB));
  }
  append(text, "Threads:\t%d\n", process.threads);
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
    {"cmdline",
     [](const Moment& moment) {
       return moment.process.isKernelThread() ? std::string{} : moment.process.name + '\0';
     }},
    {"comm", [](const Moment& moment) { return moment.process.name + '\n'; }},
    {"smaps_rollup", rollupText},
    {"stat", statText},
    {"statm", statmText},
    {"status", statusText},
};

const ProcessFile* findProcess(const BoardFile& file, int pid, Microseconds now) {
  const auto found = std::lower_bound(file.processes.begin(), file.processes.end(), pid,
                                      [](const ProcessFile& process, int id) { return process.pid < id; });
  const bool isThere = found != file.processes.end() && found->pid == pid && found->life.holds(now);
  return isThere ? &*found : nullptr;
}

std::vector<std::string> processNames(const BoardFile& file, Microseconds now) {
  std::vector<std::string> names;
  for (const ProcessFile& process : file.processes) {
    if (process.life.holds(now)) names.push_back(std::to_string(process.pid));
  }
  return names;
}

// below: "12" or "12/stat"
std::optional<Node> findNode(const Board& board, const SharedFile& file, std::string_view below) {
  const Microseconds now = boardTime(board);
  int pid = 0;
  const auto [end, error] = std::from_chars(below.data(), below.data() + below.size(), pid);
  const std::string_view rest = below.substr(static_cast<std::size_t>(end - below.data()));
  const ProcessFile* const process = error == std::errc{} ? findProcess(*file, pid, now) : nullptr;
  if (process == nullptr) return std::nullopt;
  Node node;
  if (rest.empty()) {
    node.isFolder = true;
    for (const ProcessNode& entry : kNodes) node.entries.emplace_back(entry.name);
    return node;
  }
  for (const ProcessNode& entry : kNodes) {
    if (rest.front() != '/' || rest.substr(1) != entry.name) continue;
    node.text = [&board, file, process, text = entry.text] {
      return text({*file, *process, boardTime(board), board.clock().uptimeAtStart() / 1000});
    };
    return node;
  }
  return std::nullopt;
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
