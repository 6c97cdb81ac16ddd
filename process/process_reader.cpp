#include <string>

#include "base/console.h"
#include "base/path.h"
#include "base/reading.h"
#include "base/scanner.h"
#include "process/stat_line.h"
#include "tessary/process_mon.h"

namespace process {

namespace {

using State = PROCESS_MON::PROCESS_MON_INTERFACE;

constexpr char kProcFolder[] = "/proc";

void readProcess(State& state, int pid, int procFolder, tessary::TextBuffer& text) {
  tessary::Path<32> buffer;
  const char* const path = buffer.join(kProcFolder, "/", pid, "/stat");
  const char* const pathInFolder = path + sizeof kProcFolder;
  std::string_view line;
  {
    const tessary::Descriptor stat = tessary::openForReading(pathInFolder, procFolder);
    if (!stat) {
      tessary::print("Warning :" + std::string{path} + " Not able to be opened!\n");
      return;
    }
    line = text.readLine(stat.get(), kLongestLine);
  }
  if (line.empty()) {
    tessary::print(std::string{path} + " fgets error\n");
    return;
  }
  const std::optional<StatLine> split = splitStatLine(line);
  if (!split) {
    tessary::print(std::string{path} + "can't get the process name\n");
    return;
  }
  const std::optional<CpuTicks> ticks = parseCpuTicks(split->fields);
  if (!ticks) {
    tessary::print(std::string{path} + " fscanf error\n");
    return;
  }
  const auto ticksPerSecond = static_cast<double>(static_cast<std::uint64_t>(state.clockTicks));
  state.currentSample.push_back({pid, std::string{split->name},
                                 static_cast<double>(ticks->user) / ticksPerSecond,
                                 static_cast<double>(ticks->system) / ticksPerSecond,
                                 static_cast<double>(ticks->start) / ticksPerSecond});
}

}  // namespace

void PROCESS_MON::PROCESS_MON_INTERFACE::readSchedStat(int pid) {
  const tessary::Folder proc{kProcFolder};
  tessary::TextBuffer text;
  readProcess(*this, pid, proc.descriptor(), text);
}

void PROCESS_MON::PROCESS_MON_INTERFACE::getData() {
  const tessary::Directory proc = tessary::openDirectory(kProcFolder);
  if (!proc) {
    tessary::printLine("opendir(proc) failed");
    return;
  }
  tessary::TextBuffer text;
  while (const dirent* const entry = ::readdir(proc.get())) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    int pid = 0;
    tessary::Scanner{entry->d_name}.number(pid);
    readProcess(*this, pid, ::dirfd(proc.get()), text);
  }
}

// By value, as hosts are built against it. NOLINTNEXTLINE(performance-unnecessary-value-param)
void PROCESS_MON::PROCESS_MON_INTERFACE::getData(std::vector<int> pids) {
  const tessary::Folder proc{kProcFolder};
  tessary::TextBuffer text;
  for (const int pid : pids) readProcess(*this, pid, proc.descriptor(), text);
}

}  // namespace process
