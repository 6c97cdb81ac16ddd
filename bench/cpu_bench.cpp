#include <cstdio>
#include <memory>
#include <string>

#include "bench/floor.h"
#include "bench/subjects.h"
#include "bench/tree.h"
#include "tessary/cpu_mon.h"

#ifdef TESSARY_HAVE_LIBPROC2
#include <libproc2/stat.h>
#endif

namespace {

constexpr int kCores = 8;

// One row of counters as a board shows after a day.
std::string statText(int cores) {
  std::string text = "cpu  10132153 290696 3084719 46828483 16683 0 25195 0 175628 0\n";
  for (int core = 0; core < cores; ++core) {
    text += "cpu" + std::to_string(core) + " 1266519 36337 385589 5853560 2085 0 3149 0 21953 0\n";
  }
  return text + "intr 199292 0 9 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\nctxt 1990473\n";
}

struct Board {
  bench::Tree tree;

  explicit Board(int cores) : tree{cores} {
    tree.file("/proc/stat", statText(cores));
    for (int core = 0; core < cores; ++core) {
      const std::string folder = "/sys/devices/system/cpu/cpu" + std::to_string(core);
      tree.file(folder + "/cpu_capacity", "1024\n");
      tree.file(folder + "/cpufreq/cpuinfo_cur_freq", "1804800\n");
    }
  }
};

struct LoadFloor {
  bench::Text text;
  std::uint64_t idle[65] = {};
  std::uint64_t total[65] = {};
  std::uint64_t steal[65] = {};
  double load[65];
  double stolen[65];
  int cores;

  void snapshot(bool derive) {
    text.readOnce(AT_FDCWD, "/proc/stat");
    const char* p = text.bytes;
    for (int row = 0; row <= cores; ++row) {
      while (*p != ' ') ++p;
      std::uint64_t ticks[10];
      std::uint64_t sum = 0;
      for (std::uint64_t& tick : ticks) sum += tick = bench::takeNumber(p);
      if (derive) {
        const auto delta = static_cast<double>(sum - total[row]);
        load[row] = 100 - static_cast<double>(ticks[3] - idle[row]) * 100 / delta;
        stolen[row] = static_cast<double>(ticks[7] - steal[row]) * 100 / delta;
      }
      idle[row] = ticks[3];
      total[row] = sum;
      steal[row] = ticks[7];
      while (*p != '\n') ++p;
      ++p;
    }
  }

  void operator()() {
    snapshot(false);
    snapshot(true);
  }
};

std::function<void()> loadFloor(int cores) {
  const auto floor = std::make_shared<LoadFloor>();
  floor->cores = cores;
  return [floor] { (*floor)(); };
}

void loadByStdio() {
  for (int reading = 0; reading < 2; ++reading) {
    std::FILE* const stream = std::fopen("/proc/stat", "r");
    char label[20];
    unsigned long long ticks[10];
    while (std::fscanf(stream, "%19s %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu", label, ticks,
                       ticks + 1, ticks + 2, ticks + 3, ticks + 4, ticks + 5, ticks + 6, ticks + 7, ticks + 8,
                       ticks + 9) == 11) {
    }
    std::fclose(stream);
  }
}

// A sample of the load takes two readings.
bool addLoad(int cores) {
  return bench::add({"/proc/stat, " + std::to_string(cores) + " cores", 2, "reading", bench::Nodes::kOwn},
                    {{{},
                      bench::Who::kLibrary,
                      [cores] {
                        const auto board = std::make_shared<Board>(cores);
                        const auto monitor = std::make_shared<cpu::CPU_MON>();
                        return [board, monitor] { monitor->tessary_getPerCoreUsage(); };
                      }},
                     {{},
                      bench::Who::kFloor,
                      [cores] {
                        const auto board = std::make_shared<Board>(cores);
                        return [board, run = loadFloor(cores)] { run(); };
                      }},
                     {{}, bench::Who::kStdio, [cores] {
                        const auto board = std::make_shared<Board>(cores);
                        return [board] { loadByStdio(); };
                      }}});
}

const bool kLoadOnBoards = addLoad(2) && addLoad(8);

const bool kLoadOnMachine = bench::add(
    {"/proc/stat, this machine", 2, "reading", bench::Nodes::kMachine},
    {{{},
      bench::Who::kLibrary,
      [] {
        const auto monitor = std::make_shared<cpu::CPU_MON>();
        return [monitor] { monitor->tessary_getPerCoreUsage(); };
      }},
     {{}, bench::Who::kFloor, [] { return loadFloor(static_cast<int>(::sysconf(_SC_NPROCESSORS_CONF))); }},
     {{}, bench::Who::kStdio, [] { return loadByStdio; }},
#ifdef TESSARY_HAVE_LIBPROC2
     {{},
      bench::Who::kLibproc2,
      [] {
        stat_info* info = nullptr;
        procps_stat_new(&info);
        const std::shared_ptr<stat_info> owned{info, [](stat_info* old) { procps_stat_unref(&old); }};
        return [owned] {
          static stat_item items[] = {STAT_TIC_IDLE, STAT_TIC_SUM_DELTA_TOTAL, STAT_TIC_STOLEN};
          for (int reading = 0; reading < 2; ++reading)
            procps_stat_reap(owned.get(), STAT_REAP_CPUS_ONLY, items, 3);
        };
      }}
#endif
    });

const bool kClocks = bench::add(
    {"cpufreq, 8 nodes", kCores, "node", bench::Nodes::kOwn},
    {{{},
      bench::Who::kLibrary,
      [] {
        const auto board = std::make_shared<Board>(kCores);
        const auto monitor = std::make_shared<cpu::CPU_MON>();
        return [board, monitor] { monitor->tessary_getCPUFrequency(); };
      }},
     {{},
      bench::Who::kFloor,
      [] {
        const auto board = std::make_shared<Board>(kCores);
        const auto text = std::make_shared<bench::Text>();
        return [board, text] {
          const int folder = ::openat(AT_FDCWD, "/sys/devices/system/cpu", O_PATH | O_DIRECTORY | O_CLOEXEC);
          std::uint64_t clocks[kCores];
          for (unsigned core = 0; core < kCores; ++core) {
            char path[64];
            bench::putText(bench::putNumber(bench::putText(path, "cpu"), core), "/cpufreq/cpuinfo_cur_freq");
            text->readOnce(folder, path);
            const char* p = text->bytes;
            clocks[core] = bench::takeNumber(p);
            asm volatile("" : : "g"(&clocks) : "memory");
          }
          ::close(folder);
        };
      }},
     {{}, bench::Who::kStdio, [] {
        const auto board = std::make_shared<Board>(kCores);
        return [board] {
          for (int core = 0; core < kCores; ++core) {
            char path[100];
            std::snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu%d/cpufreq/cpuinfo_cur_freq", core);
            bench::readByStdio(path);
          }
        };
      }}});

}  // namespace
