#include <cstring>
#include <memory>
#include <string>

#include "bench/floor.h"
#include "bench/subjects.h"
#include "bench/tree.h"
#include "tessary/disk_mon.h"
#include "tessary/memory_mon.h"
#include "tessary/net_mon.h"
#include "tessary/thermal_mon.h"

#ifdef TESSARY_HAVE_LIBPROC2
#include <libproc2/diskstats.h>
#include <libproc2/meminfo.h>
#endif

namespace {

// -- /proc/meminfo, of this machine

void memoryFloor(bench::Text& text) {
  constexpr const char* kKeys[] = {"MemTotal", "MemFree",   "MemAvailable", "Buffers",
                                   "Cached",   "SwapTotal", "SwapFree"};
  std::uint64_t figures[7];
  text.readOnce(AT_FDCWD, "/proc/meminfo");
  const char* p = text.bytes;
  for (int key = 0; key < 7; ++key) {
    while (std::strncmp(p, kKeys[key], std::strlen(kKeys[key])) != 0) {
      while (*p != '\n') ++p;
      ++p;
    }
    figures[key] = bench::takeNumber(p);
    while (*p != '\n') ++p;
    ++p;
  }
  asm volatile("" : : "g"(&figures) : "memory");
}

const bool kMemory = bench::add({"/proc/meminfo", 1, "sample"},
                                {{{},
                                  bench::Who::kLibrary,
                                  [] {
                                    const auto monitor = std::make_shared<memory::MEMORY_MON>();
                                    return [monitor] { monitor->tessary_getMemStats(); };
                                  }},
                                 {{},
                                  bench::Who::kFloor,
                                  [] {
                                    const auto text = std::make_shared<bench::Text>();
                                    return [text] { memoryFloor(*text); };
                                  }},
#ifdef TESSARY_HAVE_LIBPROC2
                                 {{},
                                  bench::Who::kPeer,
                                  [] {
                                    meminfo_info* info = nullptr;
                                    procps_meminfo_new(&info);
                                    const std::shared_ptr<meminfo_info> owned{
                                        info, [](meminfo_info* old) { procps_meminfo_unref(&old); }};
                                    return [owned] {
                                      static meminfo_item items[] = {
                                          MEMINFO_MEM_TOTAL,   MEMINFO_MEM_AVAILABLE, MEMINFO_MEM_FREE,
                                          MEMINFO_MEM_BUFFERS, MEMINFO_SWAP_TOTAL,    MEMINFO_SWAP_FREE};
                                      // The library of the peer reads at most once a second; a new object
                                      // reads at once, and its file stays open.
                                      procps_meminfo_select(owned.get(), items, 6);
                                    };
                                  }}
#endif
                                });

// -- /proc/diskstats, of this machine

int countDisks() {
  diskio::DISK_MON monitor;
  return static_cast<int>(monitor.tessary_getRawIOStats().size());
}

void diskFloor(bench::Text& text) {
  text.readAll(AT_FDCWD, "/proc/diskstats");
  std::uint64_t sectors[2];
  for (const char* p = text.bytes; *p != '\0'; ++p) {
    const std::uint64_t major = bench::takeNumber(p);
    bench::takeNumber(p);
    const char* const name = ++p;
    while (*p != ' ') ++p;
    if (major != 1 && major != 7) {
      std::uint64_t counters[17] = {};
      const char* const nameEnd = p;
      for (int column = 0; column < 17 && *p != '\n'; ++column) counters[column] = bench::takeNumber(p);
      sectors[0] = counters[2];
      sectors[1] = counters[6];
      char path[64];
      char* const end = bench::putText(path, "/sys/block/");
      std::memcpy(end, name, static_cast<std::size_t>(nameEnd - name));
      end[nameEnd - name] = '\0';
      if (::access(path, R_OK) == 0) asm volatile("" : : "g"(&sectors) : "memory");
    }
    while (*p != '\n') ++p;
  }
}

const bool kDisk = bench::add(
    {"/proc/diskstats", static_cast<double>(countDisks()), "disk"},
    {{{},
      bench::Who::kLibrary,
      [] {
        const auto monitor = std::make_shared<diskio::DISK_MON>();
        return [monitor] { monitor->tessary_getRawIOStats(); };
      }},
     {{},
      bench::Who::kFloor,
      [] {
        const auto text = std::make_shared<bench::Text>();
        return [text] { diskFloor(*text); };
      }},
#ifdef TESSARY_HAVE_LIBPROC2
     {{},
      bench::Who::kPeer,
      [] {
        diskstats_info* info = nullptr;
        procps_diskstats_new(&info);
        const std::shared_ptr<diskstats_info> owned{
            info, [](diskstats_info* old) { procps_diskstats_unref(&old); }};
        return [owned] {
          static diskstats_item items[] = {DISKSTATS_NAME, DISKSTATS_READ_SECTORS, DISKSTATS_WRITE_SECTORS};
          procps_diskstats_reap(owned.get(), items, 3);
        };
      }}
#endif
    });

// -- seven counters an interface

constexpr const char* kCounters[] = {"tx_bytes",   "rx_bytes",   "tx_packets", "rx_packets",
                                     "tx_dropped", "rx_dropped", "collisions"};

std::shared_ptr<bench::Tree> layOutInterfaces(int count) {
  auto tree = std::make_shared<bench::Tree>();
  for (int i = 0; i < count; ++i) {
    for (const char* const counter : kCounters) {
      tree->file("/sys/class/net/eth" + std::to_string(i) + "/statistics/" + counter, "1234567890\n");
    }
  }
  return tree;
}

int proceed(int /*caller*/) { return 'n'; }

bool addNetwork(int count) {
  return bench::add(
      {"network, " + std::to_string(count) + " interfaces", static_cast<double>(count), "interface", "stdio"},
      {{{},
        bench::Who::kLibrary,
        [count] {
          const auto tree = layOutInterfaces(count);
          const auto monitor = std::make_shared<net::NET_MON>(proceed);
          return [tree, monitor] { monitor->tessary_getNetstats(); };
        }},
       {{},
        bench::Who::kFloor,
        [count] {
          const auto tree = layOutInterfaces(count);
          const auto text = std::make_shared<bench::Text>();
          return [tree, text, count] {
            for (unsigned i = 0; i < static_cast<unsigned>(count); ++i) {
              char path[64];
              bench::putText(bench::putNumber(bench::putText(path, "/sys/class/net/eth"), i), "/statistics");
              const int folder = ::openat(AT_FDCWD, path, O_PATH | O_DIRECTORY | O_CLOEXEC);
              std::uint64_t values[7];
              for (int counter = 0; counter < 7; ++counter) {
                text->readOnce(folder, kCounters[counter]);
                const char* p = text->bytes;
                values[counter] = bench::takeNumber(p);
              }
              ::close(folder);
              asm volatile("" : : "g"(&values) : "memory");
            }
          };
        }},
       {{}, bench::Who::kPeer, [count] {
          const auto tree = layOutInterfaces(count);
          return [tree, count] {
            for (int i = 0; i < count; ++i) {
              for (const char* const counter : kCounters) {
                char path[100];
                std::snprintf(path, sizeof path, "/sys/class/net/eth%d/statistics/%s", i, counter);
                bench::readByStdio(path);
              }
            }
          };
        }}});
}

const bool kNetwork = addNetwork(2) && addNetwork(64);

// -- thermal zones

constexpr int kZones = 40;

std::shared_ptr<bench::Tree> layOutZones() {
  auto tree = std::make_shared<bench::Tree>();
  for (int zone = 0; zone < kZones; ++zone) {
    tree->file("/sys/class/thermal/thermal_zone" + std::to_string(zone) + "/temp", "45000\n");
  }
  return tree;
}

const bool kThermal = bench::add(
    {"thermal, 40 zones", kZones, "node", "stdio"},
    {{{},
      bench::Who::kLibrary,
      [] {
        const auto tree = layOutZones();
        const auto monitor = std::make_shared<thermal::THERMAL_MON>();
        return [tree, monitor] { monitor->tessary_getThermalStats(); };
      }},
     {{},
      bench::Who::kFloor,
      [] {
        const auto tree = layOutZones();
        const auto text = std::make_shared<bench::Text>();
        return [tree, text] {
          const int folder = ::openat(AT_FDCWD, "/sys/class/thermal", O_PATH | O_DIRECTORY | O_CLOEXEC);
          std::uint64_t temperatures[kZones];
          for (unsigned zone = 0; zone < kZones; ++zone) {
            char path[64];
            bench::putText(bench::putNumber(bench::putText(path, "thermal_zone"), zone), "/temp");
            text->readOnce(folder, path);
            const char* p = text->bytes;
            temperatures[zone] = bench::takeNumber(p);
          }
          ::close(folder);
          asm volatile("" : : "g"(&temperatures) : "memory");
        };
      }},
     {{}, bench::Who::kPeer, [] {
        const auto tree = layOutZones();
        return [tree] {
          for (int zone = 0; zone < kZones; ++zone) {
            char path[100];
            std::snprintf(path, sizeof path, "/sys/class/thermal/thermal_zone%d/temp", zone);
            bench::readByStdio(path);
          }
        };
      }}});

}  // namespace
