#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "base/reading.h"
#include "base/scanner.h"
#include "base/table.h"
#include "procmem/procmem_log.h"
#include "procmem/smaps_rollup.h"
#include "procmem/stat_row.h"
#include "tessary/procmem_mon.h"

namespace procmem {

namespace {

using State = PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE;

constexpr char kProcFolder[] = "/proc";
constexpr std::size_t kNameBytes = 128;
constexpr int kKernelThreadParent = 2;
constexpr int kNoParent = -1;
constexpr unsigned kBytesToKiB = 10;  // shift

// "/proc/4711/smaps_rollup"
class NodePath {
 public:
  template <std::size_t kBytes>
  NodePath(int pid, const char (&node)[kBytes]) {
    static_assert(kBytes <= kNodeBytes);
    char* const end = std::to_chars(text_ + kPrefix, text_ + kPrefix + kDigits, pid).ptr;
    *end = '/';
    std::memcpy(end + 1, node, kBytes);
  }

  const char* text() const { return text_; }
  const char* inProcFolder() const { return text_ + kPrefix; }

 private:
  static constexpr std::size_t kPrefix = sizeof kProcFolder;
  static constexpr std::size_t kDigits = std::numeric_limits<int>::digits10 + 2;  // and a sign
  static constexpr std::size_t kNodeBytes = sizeof "smaps_rollup";

  char text_[kPrefix + kDigits + 1 + kNodeBytes] = "/proc/";
};

// Where the nodes of one call are read from, and into.
struct Source {
  int procFolder;
  tessary::TextBuffer& text;

  tessary::Descriptor open(const NodePath& path) const {
    tessary::Descriptor node = tessary::openForReading(path.inProcFolder(), procFolder);
    if (!node) TESSARY_LOG_ERROR(kLog, "Warning: %s Not able to be opened\n", path.text());
    return node;
  }
};

// Allocates what the state lacks of its name buffer and its record.
bool hasBuffers(State& state) {
  if (state.nameBuffer != nullptr && state.scratch != nullptr) return true;
  if (state.nameBuffer == nullptr) state.nameBuffer = tessary::allocateTable<char>(kNameBytes);
  if (state.scratch == nullptr) {
    void* const memory = tessary::allocateTable<processMemoryMap>();
    if (memory != nullptr) state.scratch = new (memory) processMemoryMap{};
  }
  if (state.nameBuffer == nullptr || state.scratch == nullptr) {
    logAllocationFailure();
    return false;
  }
  state.getSysPageSize();
  return true;
}

bool readStat(State& state, int pid, Source source) {
  const tessary::Descriptor stat = source.open({pid, "stat"});
  if (!stat) return false;
  scanStatRow(source.text.readAll(stat.get()), {state.nameBuffer, kNameBytes, state.ppid, state.vmSize});
  state.vmSize >>= kBytesToKiB;
  return true;
}

void readRollup(State& state, int pid, Source source) {
  const std::unique_ptr<RollupKey, decltype(&std::free)> key{tessary::allocateTable<RollupKey>(), &std::free};
  if (!key) {
    logAllocationFailure();
    return;
  }
  const NodePath path{pid, "smaps_rollup"};
  tessary::Descriptor node = source.open(path);
  if (!node) return;
  const std::optional<Rollup> rollup = parseRollup(source.text.readAll(node.get()), *key);
  if (!rollup) {
    TESSARY_LOG_ERROR(kLog, "Error: %s is empty\n", path.text());
    node.leaveOpen();
    return;
  }
  state.pss = rollup->pss.value_or(state.pss);
  state.rss = rollup->rss.value_or(state.rss);
  state.privateMem += rollup->privateMem;
}

void resetFigures(State& state) {
  state.vmSize = 0;
  state.pss = 0;
  state.rss = 0;
  state.privateMem = 0;
  state.ppid = kNoParent;
  std::memset(state.nameBuffer, 0, kNameBytes);
}

void readProcess(State& state, int pid, Source source) {
  *state.scratch = {};
  state.scratch->pid = pid;
  if (!readStat(state, pid, source)) {
    TESSARY_LOG_ERROR(kLog, "Process cannot be opened.\n");
    return;
  }
  // What was read of a kernel thread is not reset: a process whose stat is out of step inherits it.
  if (state.ppid == kKernelThreadParent || pid == kKernelThreadParent) return;
  readRollup(state, pid, source);
  state.scratch->name = state.nameBuffer;
  state.scratch->vmSize = state.vmSize;
  state.scratch->rss = state.rss;
  state.scratch->pss = state.pss;
  state.scratch->privateMem = state.privateMem;
  state.scratch->ppid = state.ppid;
  resetFigures(state);
  state.results.push_back(*state.scratch);
}

}  // namespace

PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::PERPROCMEM_MON_INTERFACE() {
  if (!hasBuffers(*this)) return;
  TESSARY_LOG_VERBOSE(kLog, "The constructor of the class is called\n");
}

PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::~PERPROCMEM_MON_INTERFACE() {
  std::free(nameBuffer);
  if (scratch != nullptr) scratch->~processMemoryMap();
  std::free(scratch);
  TESSARY_LOG_VERBOSE(kLog, "The destructor of the class is called\n");
}

long PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::getSysPageSize() {
  const long pageSize = ::sysconf(_SC_PAGE_SIZE) / 1024;
  pageSizeKiB = pageSize;
  return pageSize;
}

int PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::readProcStat(int pid) {
  if (!hasBuffers(*this)) return -1;
  const tessary::Folder proc{kProcFolder};
  tessary::TextBuffer text;
  return readStat(*this, pid, {proc.descriptor(), text}) ? 0 : -1;
}

void PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::readProcSmapsRollup(int pid) {
  const tessary::Folder proc{kProcFolder};
  tessary::TextBuffer text;
  readRollup(*this, pid, {proc.descriptor(), text});
}

void PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::setProcMemStats(int pid) { getProcs({pid}); }

void PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::getProcs() {
  if (!hasBuffers(*this)) return;
  const tessary::Directory proc = tessary::openDirectory(kProcFolder);
  if (!proc) {
    TESSARY_LOG_ERROR(kLog, "opendir(proc) failed\n");
    return;
  }
  tessary::TextBuffer text;
  const Source source{::dirfd(proc.get()), text};
  while (const dirent* const entry = ::readdir(proc.get())) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    int pid = 0;
    tessary::Scanner{entry->d_name}.number(pid);
    readProcess(*this, pid, source);
  }
}

void PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::getProcs(std::vector<int> pids) {
  if (!hasBuffers(*this)) return;
  const tessary::Folder proc{kProcFolder};
  tessary::TextBuffer text;
  for (const int pid : pids) readProcess(*this, pid, {proc.descriptor(), text});
}

}  // namespace procmem
