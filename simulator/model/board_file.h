// A board as its JSON file describes it: docs/simulator.md has the format. Groups ("count") are spread out
// here, names are checked, and what happens on the time line stands with whom it happens to.
#ifndef TESSARY_SIMULATOR_MODEL_BOARD_FILE_H
#define TESSARY_SIMULATOR_MODEL_BOARD_FILE_H

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator/model/signals.h"

namespace simulator {

constexpr Microseconds kForever = std::numeric_limits<Microseconds>::max();
constexpr std::uint64_t kDefaultSeed = 1;

// The columns of /proc/stat after the label, and their keys in a core's load.
constexpr std::size_t kTickColumns = 10;
constexpr std::size_t kIdleColumn = 3;   // what the others leave
constexpr std::size_t kGuestColumn = 8;  // from here on: counted in user and nice already
constexpr const char* kTickKeys[kTickColumns] = {"user", "nice",    "system", "idle",  "iowait",
                                                 "irq",  "softirq", "steal",  "guest", "guest_nice"};

struct CoreFile {
  int capacity = 1024;
  std::int64_t minKHz = 0;  // without a highest clock the core has no cpufreq nodes
  std::int64_t maxKHz = 0;
  std::array<Signal, kTickColumns> shares;  // percent of the time; idle is what they leave
  std::vector<Span> offline;                // the counters stand still then

  bool isOffline(Microseconds time) const;
  Wide passed(std::size_t column, Microseconds time) const;  // percent, integrated
  Wide busy(Microseconds time) const;                        // all but idle and iowait, likewise
  Thousandths busyAt(Microseconds time) const;               // percent

 private:
  Wide whileOnline(const Signal& signal, Microseconds time) const;
};

struct ZoneFile {
  std::string type = "thermal";
  std::optional<Signal> temperature;  // degrees Celsius; else it follows load:
  Signal ambient = 30 * kOne;
  Thousandths rise = 40 * kOne;  // degrees at full load of
  std::vector<int> cores;        // these cores
  Microseconds lag = 20 * kMicrosecondsInSecond;
};

struct CoolingDeviceFile {
  std::string type = "cooling";
  int maxState = 10;
  Signal state;
};

// The lines of /proc/meminfo that a board describes, in kB.
struct MemoryLine {
  const char* key;
  const char* line;
};
constexpr MemoryLine kMemoryLines[] = {
    {"total_kb", "MemTotal"},     {"free_kb", "MemFree"},        {"available_kb", "MemAvailable"},
    {"buffers_kb", "Buffers"},    {"cached_kb", "Cached"},       {"swap_total_kb", "SwapTotal"},
    {"swap_free_kb", "SwapFree"}, {"anonymous_kb", "AnonPages"}, {"slab_kb", "Slab"},
};

struct ProcessFile {
  int pid = 0;
  int parent = 1;
  std::string name;
  char state = 'S';
  int threads = 1;
  Signal user;  // percent of one core
  Signal system;
  std::int64_t virtualKB = 0;
  Signal residentKB;
  Signal proportionalKB;
  Signal privateKB;
  Microseconds started =
      10 * kMicrosecondsInSecond;  // after the machine's start; one that is born later starts then
  Span life{0, kForever};

  bool isKernelThread() const { return pid == 2 || parent == 2; }
};

// The counters of a disk's line, in the order of its columns; one of them is no counter.
constexpr std::size_t kDiskColumns = 17;
constexpr std::size_t kInProgressColumn = 8;
constexpr const char* kDiskKeys[kDiskColumns] = {
    "reads",           "reads_merged",      "sectors_read", "read_ms", "writes",         "writes_merged",
    "sectors_written", "write_ms",          "in_progress",  "io_ms",   "weighted_io_ms", "discards",
    "discards_merged", "sectors_discarded", "discard_ms",   "flushes", "flush_ms"};

struct DiskFile {
  std::string name;
  int major = 8;
  int minor = 0;
  int partitions = 0;  // each has its even share of the disk's figures
  std::array<Counter, kDiskColumns> counters;
};

constexpr std::size_t kNetworkCounters = 7;
constexpr const char* kNetworkKeys[kNetworkCounters] = {
    "tx_bytes", "rx_bytes", "tx_packets", "rx_packets", "tx_dropped", "rx_dropped", "collisions"};

struct InterfaceFile {
  std::string name;
  std::array<Counter, kNetworkCounters> counters;
};

struct GpuMetricFile {
  std::uint32_t id;
  std::string name;
  Signal value;
};

struct GpuFile {
  Signal busy;                         // percent
  std::optional<std::int64_t> maxMHz;  // none: no such node
  std::vector<GpuMetricFile> metrics;  // in the profiler's order
};

// The profiler's functions, in the order of GpuProfiler::Function.
constexpr const char* kProfilerFunctions[] = {"Init",
                                              "GetAvailableRealtimeMetrics",
                                              "StartRealtimeMonitor",
                                              "GetRealtimeValues",
                                              "StopRealtimeMonitor",
                                              "Shutdown"};

struct DspFile {
  std::string name;  // adsp, cdsp, ..
  Signal load;
  Signal clock;
};

constexpr std::size_t kDdrFigures = 4;
constexpr const char* kDdrKeys[kDdrFigures] = {"a1", "a2", "b1", "b2"};

struct DdrFile {
  std::array<Signal, kDdrFigures> perSecond;
};

// Something that goes wrong for a time.
struct Fault {
  enum class Target { kNode, kProcess, kCore, kInterface, kDisk, kProfiler, kDsp, kCommands };
  enum class Kind { kOpen, kRead, kVanish, kCut, kRubbish, kResult, kOffline, kWrap };

  Target target = Target::kNode;
  std::string name;  // of a node or a process: its path
  Kind kind = Kind::kOpen;
  int value = 0;  // the error number, or the result
  Span span;
  int line = 0;  // in the file, and what it is called there
  std::string key;
  std::string description;  // "interface eth0: wrap rx_bytes"
};

struct BoardFile {
  std::string path;
  std::uint64_t seed = kDefaultSeed;

  std::string model;
  std::string description;
  std::string platform;  // ro.board.platform
  std::string soc;       // /sys/devices/soc0/machine
  std::optional<int> featureId;
  std::vector<std::pair<std::string, std::string>> properties;
  int ticksPerSecond = 1000;

  // What a board does not have, it has none of: the machine's own never show.
  std::vector<CoreFile> cores;
  std::vector<ZoneFile> zones;
  std::vector<CoolingDeviceFile> coolingDevices;
  std::optional<std::vector<std::pair<const char*, Signal>>> memory;  // the line's name, kB
  std::vector<ProcessFile> processes;                                 // by id
  std::vector<DiskFile> disks;
  std::vector<InterfaceFile> interfaces;
  std::optional<GpuFile> gpu;
  std::vector<DspFile> dsps;
  std::optional<DdrFile> ddr;
  std::vector<std::pair<std::string, std::string>> nodes;
  std::vector<Fault> faults;

  // Which of the two interfaces the DDR device speaks.
  bool hasNewerDdr() const { return platform.find("brindle") != std::string::npos; }
};

// Both throw BoardFileError for a mistake in the text, and std::runtime_error for a file that cannot be read.
BoardFile readBoardFile(const std::string& path, std::uint64_t seed = kDefaultSeed);
BoardFile parseBoardFile(const std::string& text, const std::string& path, std::uint64_t seed = kDefaultSeed);

}  // namespace simulator

#endif
