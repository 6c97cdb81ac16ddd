#include <algorithm>
#include <cinttypes>
#include <ctime>
#include <optional>
#include <string_view>

#include "simulator/model/model.h"

namespace simulator {

namespace {

constexpr char kCpuFolder[] = "/sys/devices/system/cpu";

// Nobody looks closely at these; they move as on a system that does some work.
constexpr std::int64_t kInterruptsPerSecond = 2000;
constexpr std::int64_t kSwitchesPerSecond = 5000;

using Row = std::array<std::uint64_t, kTickColumns>;

void appendRow(std::string& text, const std::string& label, const Row& row) {
  text += label;
  for (const std::uint64_t ticks : row) append(text, " %" PRIu64, ticks);
  text += '\n';
}

// What a core was idle before the board's start: all of the time. Programs take a core without any time for one
// that is offline.
std::uint64_t idleTicksAtStart(const BoardFile& file, const Clock& clock) {
  return ticksOf(Signal{100 * kOne}.integral(clock.uptimeAtStart() / 1000), file.ticksPerSecond);
}

// An offline core has no line, but stays in the sum.
std::string statText(const BoardFile& file, const Clock& clock, Microseconds now) {
  Row sum{};
  std::string cores;
  for (std::size_t core = 0; core < file.cores.size(); ++core) {
    Row row;
    for (std::size_t column = 0; column < kTickColumns; ++column) {
      row[column] = ticksOf(file.cores[core].passed(column, now), file.ticksPerSecond);
      if (column == kIdleColumn) row[column] += idleTicksAtStart(file, clock);
      sum[column] += row[column];
    }
    if (!file.cores[core].isOffline(now)) appendRow(cores, "cpu" + std::to_string(core), row);
  }
  std::string text;
  appendRow(text, "cpu ", sum);
  text += cores;

  const Nanoseconds started = clock.read(CLOCK_REALTIME) - clock.read(CLOCK_BOOTTIME);
  const auto born = std::count_if(file.processes.begin(), file.processes.end(),
                                  [now](const ProcessFile& process) { return process.life.from <= now; });
  const auto running = std::count_if(
      file.processes.begin(), file.processes.end(),
      [now](const ProcessFile& process) { return process.state == 'R' && process.life.holds(now); });
  append(text, "intr %" PRId64 "\n", now * kInterruptsPerSecond / kMicrosecondsInSecond);
  append(text, "ctxt %" PRId64 "\n", now * kSwitchesPerSecond / kMicrosecondsInSecond);
  append(text, "btime %" PRId64 "\n", started / (1000 * kMicrosecondsInSecond));
  append(text, "processes %td\nprocs_running %td\nprocs_blocked 0\n", born,
         std::max<std::ptrdiff_t>(running, 1));
  append(text, "softirq %" PRId64 " 0 0 0 0 0 0 0 0 0 0\n",
         now * kInterruptsPerSecond / kMicrosecondsInSecond);
  return text;
}

//            CPU0       CPU1
//  11:      30500       2000     GICv3  27 Level     arch_timer
// All of them, evenly; what is left over is the first core's.
std::string interruptsText(const BoardFile& file, Microseconds now) {
  const std::int64_t all = now * kInterruptsPerSecond / kMicrosecondsInSecond;
  const auto count = static_cast<std::int64_t>(file.cores.size());
  std::string text = "    ";
  for (std::int64_t core = 0; core < count; ++core) append(text, "       CPU%-4" PRId64, core);
  text += "\n 11:";
  for (std::int64_t core = 0; core < count; ++core)
    append(text, " %10" PRId64, all / count + (core == 0 ? all % count : 0));
  return text + "     GICv3  27 Level     arch_timer\n";
}

// 0-2,4-7
template <typename IsListed>
std::string listText(const BoardFile& file, IsListed isListed) {
  std::string text;
  const std::size_t count = file.cores.size();
  for (std::size_t core = 0; core < count; ++core) {
    if (!isListed(file.cores[core])) continue;
    std::size_t last = core;
    while (last + 1 < count && isListed(file.cores[last + 1])) ++last;
    text += (text.empty() ? "" : ",") + std::to_string(core);
    if (last > core) text += "-" + std::to_string(last);
    core = last;
  }
  return text + "\n";
}

void layOutClock(Board& board, const SharedFile& file, const CoreFile& core, const std::string& folder) {
  const auto frequency = [&board, file, &core] { return line(core.kHzAt(boardTime(board))); };
  board.file(folder + "/cpuinfo_cur_freq", frequency);
  board.file(folder + "/cpuinfo_max_freq", line(core.maxKHz));
  board.file(folder + "/cpuinfo_min_freq", line(core.minKHz));
  board.file(folder + "/scaling_cur_freq", frequency);
  board.file(folder + "/scaling_governor", "schedutil\n");
  board.file(folder + "/scaling_max_freq", line(core.maxKHz));
  board.file(folder + "/scaling_min_freq", line(core.minKHz));
  if (core.clock) {
    hideWhileAbsent(board, file, folder + "/cpuinfo_cur_freq", *core.clock);
    hideWhileAbsent(board, file, folder + "/scaling_cur_freq", *core.clock);
  }
  if (core.offline.empty()) return;
  board.change(folder,
               [&board, file, &core](Node& node) { node.isGone |= core.isOffline(boardTime(board)); });
}

// 3f: a bit for each core, 32 of them between two commas.
std::string maskText(std::size_t first, std::size_t count) {
  constexpr std::size_t kBits = 32;
  std::vector<std::uint32_t> words((first + count - 1) / kBits + 1);
  for (std::size_t core = first; core < first + count; ++core)
    words[core / kBits] |= std::uint32_t{1} << core % kBits;
  std::string text;
  for (auto word = words.rbegin(); word != words.rend(); ++word)
    append(text, word == words.rbegin() ? "%x" : ",%08x", *word);
  return text + "\n";
}

// Each core for itself, all of them in one package. Made when it is asked for: on a large board these would be
// half of the nodes, and few programs look there.
constexpr struct {
  const char* name;
  std::string (*text)(const BoardFile& file, std::size_t core);
} kTopology[] = {
    {"core_cpus", [](const BoardFile&, std::size_t core) { return maskText(core, 1); }},
    {"core_cpus_list", [](const BoardFile&, std::size_t core) { return std::to_string(core) + "\n"; }},
    {"core_id", [](const BoardFile&, std::size_t core) { return std::to_string(core) + "\n"; }},
    {"core_siblings", [](const BoardFile& file, std::size_t) { return maskText(0, file.cores.size()); }},
    {"core_siblings_list", [](const BoardFile& file, std::size_t) { return file.coreList() + "\n"; }},
    {"package_cpus", [](const BoardFile& file, std::size_t) { return maskText(0, file.cores.size()); }},
    {"package_cpus_list", [](const BoardFile& file, std::size_t) { return file.coreList() + "\n"; }},
    {"physical_package_id", [](const BoardFile&, std::size_t) -> std::string { return "0\n"; }},
    {"thread_siblings", [](const BoardFile&, std::size_t core) { return maskText(core, 1); }},
    {"thread_siblings_list", [](const BoardFile&, std::size_t core) { return std::to_string(core) + "\n"; }}};

std::vector<std::string> topologyNames() {
  std::vector<std::string> names;
  for (const auto& node : kTopology) names.emplace_back(node.name);
  return names;
}

std::optional<Node> findTopologyNode(const SharedFile& file, std::size_t core, std::string_view name) {
  for (const auto& entry : kTopology) {
    if (name != entry.name) continue;
    Node node;
    node.text = [file, core, text = entry.text] { return text(*file, core); };
    return node;
  }
  return std::nullopt;
}

void layOutTopology(Board& board, const SharedFile& file, std::size_t core, const std::string& folder) {
  board.residents(folder, {topologyNames, [file, core](std::string_view name) {
                             return findTopologyNode(file, core, name);
                           }});
  if (file->cores[core].offline.empty()) return;
  board.change(folder, [&board, file, core](Node& node) {
    node.isGone |= file->cores[core].isOffline(boardTime(board));
  });
}

// All cores and all memory are in one node.
void layOutNuma(Board& board, const SharedFile& file) {
  const std::string folder = "/sys/devices/system/node/";
  for (const char* const name : {"has_cpu", "has_memory", "online", "possible"})
    board.file(folder + name, "0\n");
  board.file(folder + "node0/cpulist", file->coreList() + "\n");
  board.file(folder + "node0/cpumap", maskText(0, file->cores.size()));
  board.file(folder + "node0/distance", "10\n");
}

void takeOffline(BoardFile& file, Fault& fault) {
  const auto core = static_cast<std::size_t>(std::stoll(fault.name));
  if (core >= file.cores.size())
    failAt(file, fault.namePlace, "must be from 0 to " + std::to_string(file.cores.size() - 1));
  std::vector<Span>& offline = file.cores[core].offline;
  const bool isOffline = std::any_of(offline.begin(), offline.end(), [&](const Span& span) {
    return span.from < fault.span.to && fault.span.from < span.to;
  });
  if (isOffline) failAt(file, fault.namePlace, "is offline already at that time");
  offline.push_back(fault.span);
}

}  // namespace

const FaultTarget kCoreFaults{"core", FaultTarget::Names::kNumber, "offline", takeOffline, nullptr};

void layOutCores(Board& board, const SharedFile& file) {
  board.ticksPerSecond(file->ticksPerSecond);
  board.cores(static_cast<int>(file->cores.size()), [&board, file] {
    const Microseconds now = boardTime(board);
    return static_cast<int>(std::count_if(file->cores.begin(), file->cores.end(),
                                          [now](const CoreFile& core) { return !core.isOffline(now); }));
  });
  board.file("/proc/stat", [&board, file] { return statText(*file, board.clock(), boardTime(board)); });

  board.file("/proc/interrupts", [&board, file] { return interruptsText(*file, boardTime(board)); });

  const std::string folder = std::string{kCpuFolder} + "/";
  for (std::size_t i = 0; i < file->cores.size(); ++i) {
    const CoreFile& core = file->cores[i];
    const std::string own = folder + "cpu" + std::to_string(i);
    board.file(own + "/cpu_capacity", line(core.capacity));
    if (i != 0) {
      board.file(own + "/online",
                 [&board, file, &core] { return line(core.isOffline(boardTime(board)) ? 0 : 1); });
    }
    if (core.maxKHz != 0) layOutClock(board, file, core, own + "/cpufreq");
    layOutTopology(board, file, i, own + "/topology");
  }
  const auto isOffline = [&board](const CoreFile& core) { return core.isOffline(boardTime(board)); };
  const std::string all = listText(*file, [](const CoreFile&) { return true; });
  board.file(folder + "kernel_max", line(static_cast<std::int64_t>(file->cores.size()) - 1));
  board.file(folder + "possible", all);
  board.file(folder + "present", all);
  board.file(folder + "offline", [file, isOffline] { return listText(*file, isOffline); });
  board.file(folder + "online", [file, isOffline] {
    return listText(*file, [&](const CoreFile& core) { return !isOffline(core); });
  });
  layOutNuma(board, file);
}

}  // namespace simulator
