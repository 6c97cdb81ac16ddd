#include <dirent.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/floor.h"
#include "bench/subjects.h"
#include "tessary/process_mon.h"
#include "tessary/procmem_mon.h"

#ifdef TESSARY_HAVE_LIBPROC2
#include <libproc2/pids.h>
#endif

namespace {

// Processes that do nothing, for as long as the object lives.
class Crowd {
 public:
  explicit Crowd(int size) {
    for (int i = 0; i < size; ++i) {
      const pid_t pid = ::fork();
      if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) ::pause();
      }
      if (pid > 0) pids_.push_back(pid);
    }
  }
  ~Crowd() {
    for (const pid_t pid : pids_) ::kill(pid, SIGKILL);
    for (const pid_t pid : pids_) ::waitpid(pid, nullptr, 0);
  }
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

 private:
  std::vector<pid_t> pids_;
};

template <typename Visit>
void forEachProcess(Visit visit) {
  DIR* const folder = ::opendir("/proc");
  while (const dirent* const entry = ::readdir(folder)) {
    if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') visit(::dirfd(folder), entry->d_name);
  }
  ::closedir(folder);
}

int processesNow() {
  int count = 0;
  forEachProcess([&count](int, const char*) { ++count; });
  return count;
}

const char* skipFields(const char* p, int count) {
  for (; count > 0; --count) {
    while (*p != ' ') ++p;
    ++p;
  }
  return p;
}

struct Ticks {
  int pid;
  char name[16];
  double user;
  double system;
  double start;
};

void cpuFloor(bench::Text& text, std::vector<Ticks>& sample) {
  sample.clear();
  forEachProcess([&](int folder, const char* name) {
    char path[32];
    bench::putText(bench::putText(path, name), "/stat");
    if (!text.readOnce(folder, path)) return;
    const char* p = text.bytes;
    Ticks ticks;
    ticks.pid = static_cast<int>(bench::takeNumber(p));
    p += 2;
    char* target = ticks.name;
    while (*p != ')' && target != ticks.name + 15) *target++ = *p++;
    *target = '\0';
    while (*p != ')') ++p;
    p = skipFields(p, 12);  // from the name to utime
    ticks.user = static_cast<double>(bench::takeNumber(p)) / 100;
    ticks.system = static_cast<double>(bench::takeNumber(p)) / 100;
    p = skipFields(p, 7);  // to starttime
    ticks.start = static_cast<double>(bench::takeNumber(p)) / 100;
    sample.push_back(ticks);
  });
}

struct Footprint {
  int pid;
  int ppid;
  std::uint64_t size;
  std::uint64_t figures[4];
};

void memoryFloor(bench::Text& text, std::vector<Footprint>& sample) {
  sample.clear();
  forEachProcess([&](int folder, const char* name) {
    char path[32];
    char* const end = bench::putText(path, name);
    bench::putText(end, "/stat");
    if (!text.readOnce(folder, path)) return;
    Footprint footprint{};
    const char* p = text.bytes;
    footprint.pid = static_cast<int>(bench::takeNumber(p));
    while (*p != ')') ++p;
    p += 3;
    footprint.ppid = static_cast<int>(bench::takeNumber(p));
    if (footprint.pid == 2 || footprint.ppid == 2) return;
    p = skipFields(p, 19);  // from the parent to vsize
    footprint.size = bench::takeNumber(p) >> 10;
    bench::putText(end, "/smaps_rollup");
    if (!text.readOnce(folder, path)) return;
    int figure = 0;
    for (p = text.bytes; *p != '\0' && figure < 4; ++p) {
      const bool wanted = std::strncmp(p, "Rss:", 4) == 0 || std::strncmp(p, "Pss:", 4) == 0 ||
                          std::strncmp(p, "Private_Clean:", 14) == 0 ||
                          std::strncmp(p, "Private_Dirty:", 14) == 0;
      if (wanted) footprint.figures[figure++] = bench::takeNumber(p);
      while (*p != '\n') ++p;
    }
    sample.push_back(footprint);
  });
}

#ifdef TESSARY_HAVE_LIBPROC2
bench::Subject peerOf(std::vector<pids_item> items) {
  return {{}, bench::Who::kPeer, [items]() mutable {
            pids_info* info = nullptr;
            procps_pids_new(&info, items.data(), static_cast<int>(items.size()));
            const std::shared_ptr<pids_info> owned{info, [](pids_info* old) { procps_pids_unref(&old); }};
            return [owned] { procps_pids_reap(owned.get(), PIDS_FETCH_TASKS_ONLY); };
          }};
}
#endif

int proceed(int /*caller*/) { return 'n'; }

template <typename Sample, typename Floor>
bench::Subject floorOf(Floor floor) {
  return {{}, bench::Who::kFloor, [floor] {
            const auto text = std::make_shared<bench::Text>();
            const auto sample = std::make_shared<std::vector<Sample>>();
            return [text, sample, floor] { floor(*text, *sample); };
          }};
}

bench::Row rowOf(const std::string& figure, int size) {
  return {figure + " of " + std::to_string(size) + " more processes",
          static_cast<double>(size + processesNow()), "process", "libproc2",
          [size] { return std::make_shared<Crowd>(size); }};
}

bool addCpu(int size) {
  return bench::add(rowOf("CPU", size),
                    {{{},
                      bench::Who::kLibrary,
                      [] {
                        const auto monitor = std::make_shared<process::PROCESS_MON>(proceed);
                        return [monitor] { monitor->tessary_getProcessStats(); };
                      }},
                     floorOf<Ticks>(cpuFloor),
#ifdef TESSARY_HAVE_LIBPROC2
                     peerOf({PIDS_ID_PID, PIDS_CMD, PIDS_TICS_USER, PIDS_TICS_SYSTEM, PIDS_TIME_START})
#endif
                    });
}

// The peer's PIDS_MEM_VIRT would open statm, a third file of each process.
bool addMemory(int size) {
  return bench::add(rowOf("memory", size), {{{},
                                             bench::Who::kLibrary,
                                             [] {
                                               const auto monitor =
                                                   std::make_shared<procmem::PERPROCMEM_MON>();
                                               return [monitor] { monitor->tessary_getPerProcessMemStats(); };
                                             }},
                                            floorOf<Footprint>(memoryFloor),
#ifdef TESSARY_HAVE_LIBPROC2
                                            peerOf({PIDS_ID_PID, PIDS_ID_PPID, PIDS_CMD, PIDS_VSIZE_BYTES,
                                                    PIDS_SMAP_RSS, PIDS_SMAP_PSS, PIDS_SMAP_PRV_TOTAL})
#endif
                                           });
}

const bool kCpu = addCpu(50) && addCpu(500) && addCpu(2000);
const bool kMemory = addMemory(50) && addMemory(500) && addMemory(2000);

}  // namespace
