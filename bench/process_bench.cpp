#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/crowd.h"
#include "bench/floor.h"
#include "bench/subjects.h"
#include "bench/tree.h"
#include "tessary/process_mon.h"
#include "tessary/procmem_mon.h"

#ifdef TESSARY_HAVE_LIBPROC2
#include <libproc2/pids.h>
#endif

namespace {

template <typename Visit>
void forEachProcess(Visit visit) {
  DIR* const folder = ::opendir("/proc");
  while (const dirent* const entry = ::readdir(folder)) {
    if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') visit(::dirfd(folder), entry->d_name);
  }
  ::closedir(folder);
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

// What a program without a library would write.
template <typename Visit>
void forEachProcessByStdio(const char* node, Visit visit) {
  forEachProcess([&](int, const char* name) {
    char path[300];
    std::snprintf(path, sizeof path, "/proc/%s/%s", name, node);
    if (std::FILE* const stream = std::fopen(path, "r")) {
      visit(stream);
      std::fclose(stream);
    }
  });
}

void cpuByStdio() {
  forEachProcessByStdio("stat", [](std::FILE* stream) {
    int pid = 0;
    char name[20];
    unsigned long ticks[2];
    unsigned long long start = 0;
    std::fscanf(
        stream,
        "%d (%19[^)]) %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu %*d %*d %*d %*d %*d %*d %llu", &pid,
        name, ticks, ticks + 1, &start);
  });
}

void memoryByStdio() {
  forEachProcessByStdio("stat", [](std::FILE* stream) {
    int parent = 0;
    unsigned long size = 0;
    std::fscanf(
        stream,
        "%*d (%*[^)]) %*c %d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %*u %lu",
        &parent, &size);
  });
  forEachProcessByStdio("smaps_rollup", [](std::FILE* stream) {
    char line[128];
    char key[32];
    unsigned long value = 0;
    while (std::fgets(line, sizeof line, stream) != nullptr) std::sscanf(line, "%31s %lu", key, &value);
  });
}

// Processes that the kernel does not have: their texts alone, so that the instructions repeat exactly.
constexpr int kOwnProcesses = 100;

std::shared_ptr<bench::Tree> layOutProcesses() {
  constexpr char kStat[] =
      " (surfaceflinger) S 1 1 0 0 -1 4194304 20317 0 12 0 40312 18055 0 0 2 -18 14 0 1341 3133440512 9388 "
      "18446744073709551615 94736625594368 94736625614249 140727004054272 0 0 0 0 4096 17647 0 0 0 17 1 0 0 "
      "0 0 0 "
      "94736625630256 94736625631872 94736894853120 140727004056188 140727004056208 140727004056208 "
      "140727004057579 0\n";
  constexpr char kRollup[] =
      "562a2bdc0000-7fffc35d9000 ---p 00000000 00:00 0                          [rollup]\n"
      "Rss:               37552 kB\nPss:               12213 kB\nPss_Dirty:          9112 kB\n"
      "Pss_Anon:           9112 kB\nPss_File:           3101 kB\nPss_Shmem:             0 kB\n"
      "Shared_Clean:      21600 kB\nShared_Dirty:          0 kB\nPrivate_Clean:      1040 kB\n"
      "Private_Dirty:      9112 kB\nReferenced:        37552 kB\nAnonymous:          9112 kB\n"
      "Swap:                  0 kB\nSwapPss:               0 kB\nLocked:                0 kB\n";
  auto tree = std::make_shared<bench::Tree>();
  for (int pid = 1000 + kOwnProcesses; pid > 1000; --pid) {
    const std::string folder = "/proc/" + std::to_string(pid);
    tree->file(folder + "/stat", std::to_string(pid) + kStat);
    tree->file(folder + "/smaps_rollup", kRollup);
  }
  return tree;
}

#ifdef TESSARY_HAVE_LIBPROC2
bench::Subject libproc2Of(std::vector<pids_item> items) {
  return {{}, bench::Who::kLibproc2, [items]() mutable {
            pids_info* info = nullptr;
            procps_pids_new(&info, items.data(), static_cast<int>(items.size()));
            const std::shared_ptr<pids_info> owned{info, [](pids_info* old) { procps_pids_unref(&old); }};
            return [owned] { procps_pids_reap(owned.get(), PIDS_FETCH_TASKS_ONLY); };
          }};
}
#endif

int proceed(int /*caller*/) { return 'n'; }

// What they read is the scene of the row, which stands for all of its subjects.
template <typename Sample, typename Floor>
bench::Subject floorOf(Floor floor) {
  return {{}, bench::Who::kFloor, [floor] {
            const auto text = std::make_shared<bench::Text>();
            const auto sample = std::make_shared<std::vector<Sample>>();
            return [text, sample, floor] { floor(*text, *sample); };
          }};
}

const bench::Subject kCpuOfLibrary{{}, bench::Who::kLibrary, [] {
                                     const auto monitor = std::make_shared<process::PROCESS_MON>(proceed);
                                     return [monitor] { monitor->tessary_getProcessStats(); };
                                   }};

const bench::Subject kMemoryOfLibrary{{}, bench::Who::kLibrary, [] {
                                        const auto monitor = std::make_shared<procmem::PERPROCMEM_MON>();
                                        return [monitor] { monitor->tessary_getPerProcessMemStats(); };
                                      }};

bench::Row rowOf(const std::string& figure, int size) {
  return {figure + ", " + std::to_string(size) + " more processes", static_cast<double>(size), "process",
          bench::Nodes::kMachine, [size] { return std::make_shared<bench::Crowd>(size); }};
}

bool addCpu(int size) {
  return bench::add(rowOf("processes' CPU", size),
                    {kCpuOfLibrary,
                     floorOf<Ticks>(cpuFloor),
                     {{}, bench::Who::kStdio, [] { return cpuByStdio; }},
#ifdef TESSARY_HAVE_LIBPROC2
                     libproc2Of({PIDS_ID_PID, PIDS_CMD, PIDS_TICS_USER, PIDS_TICS_SYSTEM, PIDS_TIME_START})
#endif
                    });
}

// libproc2's PIDS_MEM_VIRT would open statm, a third file of each process.
bool addMemory(int size) {
  return bench::add(rowOf("processes' memory", size),
                    {kMemoryOfLibrary,
                     floorOf<Footprint>(memoryFloor),
                     {{}, bench::Who::kStdio, [] { return memoryByStdio; }},
#ifdef TESSARY_HAVE_LIBPROC2
                     libproc2Of({PIDS_ID_PID, PIDS_ID_PPID, PIDS_CMD, PIDS_VSIZE_BYTES, PIDS_SMAP_RSS,
                                 PIDS_SMAP_PSS, PIDS_SMAP_PRV_TOTAL})
#endif
                    });
}

const bool kCpu = addCpu(50) && addCpu(500) && addCpu(2000);
const bool kMemory = addMemory(50) && addMemory(500) && addMemory(2000);

const bool kOwn =
    bench::add({"processes' CPU", kOwnProcesses, "process", bench::Nodes::kOwnNotTimed, layOutProcesses},
               {kCpuOfLibrary, floorOf<Ticks>(cpuFloor)}) &&
    bench::add({"processes' memory", kOwnProcesses, "process", bench::Nodes::kOwnNotTimed, layOutProcesses},
               {kMemoryOfLibrary, floorOf<Footprint>(memoryFloor)});

}  // namespace
