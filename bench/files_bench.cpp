#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

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

// -- /proc/meminfo

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

void memoryByStdio() {
  std::FILE* const stream = std::fopen("/proc/meminfo", "r");
  char line[256];
  char key[64];
  unsigned long long value = 0;
  while (std::fgets(line, sizeof line, stream) != nullptr) std::sscanf(line, "%63s %llu", key, &value);
  std::fclose(stream);
}

// As a kernel of a board prints it.
std::string meminfoText() {
  constexpr const char* kKeys[] = {
      "MemTotal",     "MemFree",      "MemAvailable",    "Buffers",        "Cached",         "SwapCached",
      "Active",       "Inactive",     "Active(anon)",    "Inactive(anon)", "Active(file)",   "Inactive(file)",
      "Unevictable",  "Mlocked",      "SwapTotal",       "SwapFree",       "Dirty",          "Writeback",
      "AnonPages",    "Mapped",       "Shmem",           "KReclaimable",   "Slab",           "SReclaimable",
      "SUnreclaim",   "KernelStack",  "ShadowCallStack", "PageTables",     "NFS_Unstable",   "Bounce",
      "WritebackTmp", "CommitLimit",  "Committed_AS",    "VmallocTotal",   "VmallocUsed",    "VmallocChunk",
      "Percpu",       "CmaAllocated", "AnonHugePages",   "ShmemHugePages", "ShmemPmdMapped", "FileHugePages",
      "CmaTotal",     "CmaFree"};
  std::string text;
  for (const char* const key : kKeys) {
    char line[64];
    std::snprintf(line, sizeof line, "%-16s %8d kB\n", (key + std::string{":"}).c_str(), 11604532);
    text += line;
  }
  return text;
}

std::shared_ptr<bench::Tree> layOutMemory() {
  auto tree = std::make_shared<bench::Tree>();
  tree->file("/proc/meminfo", meminfoText());
  return tree;
}

// Of this machine, or of the benchmark's own tree while that is there.
bench::Subject memoryOfLibrary(std::function<std::shared_ptr<bench::Tree>()> layOut) {
  return {{}, bench::Who::kLibrary, [layOut] {
            const auto tree = layOut();
            const auto monitor = std::make_shared<memory::MEMORY_MON>();
            return [tree, monitor] { monitor->tessary_getMemStats(); };
          }};
}

bench::Subject memoryOfFloor(std::function<std::shared_ptr<bench::Tree>()> layOut) {
  return {{}, bench::Who::kFloor, [layOut] {
            const auto tree = layOut();
            const auto text = std::make_shared<bench::Text>();
            return [tree, text] { memoryFloor(*text); };
          }};
}

std::shared_ptr<bench::Tree> noTree() { return nullptr; }

const bool kOwnMemory = bench::add({"/proc/meminfo, 44 lines", 1, "sample", bench::Nodes::kOwnNotTimed},
                                   {memoryOfLibrary(layOutMemory), memoryOfFloor(layOutMemory)});

const bool kMemory = bench::add({"/proc/meminfo", 1, "sample", bench::Nodes::kMachine},
                                {memoryOfLibrary(noTree),
                                 memoryOfFloor(noTree),
                                 {{}, bench::Who::kStdio, [] { return memoryByStdio; }},
#ifdef TESSARY_HAVE_LIBPROC2
                                 {{},
                                  bench::Who::kLibproc2,
                                  [] {
                                    meminfo_info* info = nullptr;
                                    procps_meminfo_new(&info);
                                    const std::shared_ptr<meminfo_info> owned{
                                        info, [](meminfo_info* old) { procps_meminfo_unref(&old); }};
                                    return [owned] {
                                      static meminfo_item items[] = {
                                          MEMINFO_MEM_TOTAL,   MEMINFO_MEM_AVAILABLE, MEMINFO_MEM_FREE,
                                          MEMINFO_MEM_BUFFERS, MEMINFO_SWAP_TOTAL,    MEMINFO_SWAP_FREE};
                                      // It reads at most once a second when it is asked for single values; for a selection at
                                      // once. Its file stays open.
                                      procps_meminfo_select(owned.get(), items, 6);
                                    };
                                  }}
#endif
                                });

// -- /proc/diskstats

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

void disksByStdio() {
  std::FILE* const stream = std::fopen("/proc/diskstats", "r");
  char line[512];
  while (std::fgets(line, sizeof line, stream) != nullptr) {
    unsigned major = 0;
    unsigned minor = 0;
    char name[32];
    unsigned long long sectors[2];
    std::sscanf(line, "%u %u %31s %*u %*u %llu %*u %*u %*u %llu", &major, &minor, name, sectors, sectors + 1);
    char path[64];
    std::snprintf(path, sizeof path, "/sys/block/%s", name);
    if (major != 1 && major != 7) static_cast<void>(::access(path, R_OK));
  }
  std::fclose(stream);
}

constexpr int kOwnDisks = 10;

std::shared_ptr<bench::Tree> layOutDisks() {
  auto tree = std::make_shared<bench::Tree>();
  std::string text;
  for (int disk = 0; disk < kOwnDisks; ++disk) {
    const std::string name = std::string{"sd"} + static_cast<char>('a' + disk);
    text += "   8      " + std::to_string(16 * disk % 100 / 10) + "0 " + name +
            " 460581 48985 11244282 3494573 507172 237290 69793152 841419 0 393032 4530881 133483 36 "
            "66665568 102989 82020 91899\n";
    tree->file("/sys/block/" + name + "/size", "1\n");
  }
  tree->file("/proc/diskstats", text);
  return tree;
}

bench::Subject disksOfLibrary(std::function<std::shared_ptr<bench::Tree>()> layOut) {
  return {{}, bench::Who::kLibrary, [layOut] {
            const auto tree = layOut();
            const auto monitor = std::make_shared<diskio::DISK_MON>();
            return [tree, monitor] { monitor->tessary_getRawIOStats(); };
          }};
}

bench::Subject disksOfFloor(std::function<std::shared_ptr<bench::Tree>()> layOut) {
  return {{}, bench::Who::kFloor, [layOut] {
            const auto tree = layOut();
            const auto text = std::make_shared<bench::Text>();
            return [tree, text] { diskFloor(*text); };
          }};
}

const bool kOwnDisk = bench::add({"/proc/diskstats, 10 disks", kOwnDisks, "line", bench::Nodes::kOwnNotTimed},
                                 {disksOfLibrary(layOutDisks), disksOfFloor(layOutDisks)});

const bool kDisk = bench::add(
    {"/proc/diskstats", 1, "sample", bench::Nodes::kMachine},
    {disksOfLibrary(noTree),
     disksOfFloor(noTree),
     {{}, bench::Who::kStdio, [] { return disksByStdio; }},
#ifdef TESSARY_HAVE_LIBPROC2
     {{},
      bench::Who::kLibproc2,
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

using Names = std::vector<std::string>;

std::shared_ptr<bench::Tree> layOutInterfaces(const Names& names) {
  auto tree = std::make_shared<bench::Tree>();
  for (const std::string& name : names) {
    for (const char* const counter : kCounters) {
      tree->file("/sys/class/net/" + name + "/statistics/" + counter, "1234567890\n");
    }
  }
  return tree;
}

Names ownInterfaces(int count) {
  Names names;
  for (int i = 0; i < count; ++i) names.push_back("eth" + std::to_string(i));
  return names;
}

Names interfacesOfMachine() {
  Names names;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net")) {
    names.push_back(entry.path().filename());
  }
  return names;
}

int proceed(int /*caller*/) { return 'n'; }

void networkFloor(const Names& names, bench::Text& text) {
  for (const std::string& name : names) {
    char path[64];
    bench::putText(bench::putText(bench::putText(path, "/sys/class/net/"), name.c_str()), "/statistics");
    const int folder = ::openat(AT_FDCWD, path, O_PATH | O_DIRECTORY | O_CLOEXEC);
    std::uint64_t values[7];
    for (int counter = 0; counter < 7; ++counter) {
      text.readOnce(folder, kCounters[counter]);
      const char* p = text.bytes;
      values[counter] = bench::takeNumber(p);
    }
    ::close(folder);
    asm volatile("" : : "g"(&values) : "memory");
  }
}

void networkByStdio(const Names& names) {
  for (const std::string& name : names) {
    for (const char* const counter : kCounters) {
      char path[100];
      std::snprintf(path, sizeof path, "/sys/class/net/%s/statistics/%s", name.c_str(), counter);
      bench::readByStdio(path);
    }
  }
}

bool addNetwork(const std::string& row, bench::Nodes nodes, const Names& names) {
  const auto layOut = [nodes, names] {
    return nodes == bench::Nodes::kMachine ? nullptr : layOutInterfaces(names);
  };
  return bench::add({row, static_cast<double>(names.size()), "interface", nodes},
                    {{{},
                      bench::Who::kLibrary,
                      [layOut] {
                        const auto tree = layOut();
                        const auto monitor = std::make_shared<net::NET_MON>(proceed);
                        return [tree, monitor] { monitor->tessary_getNetstats(); };
                      }},
                     {{},
                      bench::Who::kFloor,
                      [layOut, names] {
                        const auto tree = layOut();
                        const auto text = std::make_shared<bench::Text>();
                        return [tree, text, names] { networkFloor(names, *text); };
                      }},
                     {{}, bench::Who::kStdio, [layOut, names] {
                        const auto tree = layOut();
                        return [tree, names] { networkByStdio(names); };
                      }}});
}

const bool kNetwork = addNetwork("network, this machine", bench::Nodes::kMachine, interfacesOfMachine()) &&
                      addNetwork("network, 2 interfaces", bench::Nodes::kOwn, ownInterfaces(2)) &&
                      addNetwork("network, 64 interfaces", bench::Nodes::kOwn, ownInterfaces(64));

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
    {"thermal, 40 nodes", kZones, "node", bench::Nodes::kOwn},
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
     {{}, bench::Who::kStdio, [] {
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
