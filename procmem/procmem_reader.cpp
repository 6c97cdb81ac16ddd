#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "base/path.h"
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

struct Release {
  void operator()(void* memory) const { std::free(memory); }
};

// Where the nodes of one call are read from, and into what.
class Source {
 public:
  explicit Source(int procFolder) : procFolder_(procFolder) {}

  // A node of a process, which path() names from then on.
  template <std::size_t kBytes>
  tessary::Descriptor open(int pid, const char (&node)[kBytes]) {
    path_ = buffer_.join(kProcFolder, "/", pid, "/", node);
    const char* const pathInFolder = path_ + sizeof kProcFolder;
    tessary::Descriptor opened = tessary::openForReading(pathInFolder, procFolder_);
    if (!opened) TESSARY_LOG_ERROR(kLog, "Warning: %s Not able to be opened\n", path_);
    return opened;
  }
  const char* path() const { return path_; }

  std::string_view readAll(const tessary::Descriptor& node) { return text_.readAll(node.get()); }

  // One for all rollups of a call; null when memory is refused, and asked for again by the next.
  RollupKey* rollupKey() {
    if (!rollupKey_) rollupKey_.reset(tessary::allocateTable<RollupKey>());
    return rollupKey_.get();
  }

 private:
  int procFolder_;
  tessary::Path<32> buffer_;
  const char* path_ = "";
  tessary::TextBuffer text_;
  std::unique_ptr<RollupKey, Release> rollupKey_;
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

bool readStat(State& state, int pid, Source& source) {
  const tessary::Descriptor stat = source.open(pid, "stat");
  if (!stat) return false;
  scanStatRow(source.readAll(stat), {state.nameBuffer, kNameBytes, state.ppid, state.vmSize});
  state.vmSize >>= kBytesToKiB;
  return true;
}

void readRollup(State& state, int pid, Source& source) {
  RollupKey* const key = source.rollupKey();
  if (key == nullptr) {
    logAllocationFailure();
    return;
  }
  tessary::Descriptor node = source.open(pid, "smaps_rollup");
  if (!node) return;
  const std::optional<Rollup> rollup = parseRollup(source.readAll(node), *key);
  if (!rollup) {
    TESSARY_LOG_ERROR(kLog, "Error: %s is empty\n", source.path());
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

// As the scope ends, also where the memory for a name is refused: the next process adds to what is there.
class FiguresReset {
 public:
  explicit FiguresReset(State& state) : state_(state) {}
  ~FiguresReset() { resetFigures(state_); }
  FiguresReset(const FiguresReset&) = delete;
  FiguresReset& operator=(const FiguresReset&) = delete;

 private:
  State& state_;
};

void readProcess(State& state, int pid, Source& source) {
  *state.scratch = {};
  state.scratch->pid = pid;
  if (!readStat(state, pid, source)) {
    TESSARY_LOG_ERROR(kLog, "Process cannot be opened.\n");
    return;
  }
  // What was read of a kernel thread is not reset: a process whose stat is out of step inherits it.
  if (state.ppid == kKernelThreadParent || pid == kKernelThreadParent) return;
  const FiguresReset reset{state};
  readRollup(state, pid, source);
  state.scratch->name = state.nameBuffer;
  state.scratch->vmSize = state.vmSize;
  state.scratch->rss = state.rss;
  state.scratch->pss = state.pss;
  state.scratch->privateMem = state.privateMem;
  state.scratch->ppid = state.ppid;
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
  Source source{proc.descriptor()};
  return readStat(*this, pid, source) ? 0 : -1;
}

void PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::readProcSmapsRollup(int pid) {
  const tessary::Folder proc{kProcFolder};
  Source source{proc.descriptor()};
  readRollup(*this, pid, source);
}

void PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::setProcMemStats(int pid) { getProcs({pid}); }

void PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::getProcs() {
  if (!hasBuffers(*this)) return;
  const tessary::Directory proc = tessary::openDirectory(kProcFolder);
  if (!proc) {
    TESSARY_LOG_ERROR(kLog, "opendir(proc) failed\n");
    return;
  }
  Source source{::dirfd(proc.get())};
  while (const dirent* const entry = ::readdir(proc.get())) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    int pid = 0;
    tessary::Scanner{entry->d_name}.number(pid);
    readProcess(*this, pid, source);
  }
}

// By value, as hosts are built against it. NOLINTNEXTLINE(performance-unnecessary-value-param)
void PERPROCMEM_MON::PERPROCMEM_MON_INTERFACE::getProcs(std::vector<int> pids) {
  if (!hasBuffers(*this)) return;
  const tessary::Folder proc{kProcFolder};
  Source source{proc.descriptor()};
  for (const int pid : pids) readProcess(*this, pid, source);
}

}  // namespace procmem
