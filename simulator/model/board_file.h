// A board as its JSON file describes it: docs/simulator.md has the format. Groups ("count") are spread out
// here, and faults stand as their targets have resolved them.
#ifndef TESSARY_SIMULATOR_MODEL_BOARD_FILE_H
#define TESSARY_SIMULATOR_MODEL_BOARD_FILE_H

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator/model/core.h"
#include "simulator/model/faults.h"
#include "simulator/model/frames.h"
#include "simulator/model/signals.h"

namespace simulator {

constexpr Microseconds kForever = std::numeric_limits<Microseconds>::max();
constexpr std::uint64_t kDefaultSeed = 1;

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
  std::optional<Signal> virtualOverTime;  // of one that was recorded
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
  std::optional<Signal> maxMHz;        // none: no such node
  std::vector<GpuMetricFile> metrics;  // in the profiler's order
};

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

// Of what was recorded.
struct Playback {
  Microseconds from = 0;     // of its time
  Thousandths speed = kOne;  // its seconds in one of the board's
};

struct BoardFile {
  std::string path;
  std::uint64_t seed = kDefaultSeed;
  Playback playback;

  std::string model;
  std::string description;
  std::string platform;  // ro.board.platform
  std::string soc;       // /sys/devices/soc0/machine
  std::optional<int> featureId;
  std::vector<std::pair<std::string, std::string>> properties;
  int ticksPerSecond = 100;
  std::string kernel = "5.15.0";  // its release

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

  std::string coreList() const { return cores.size() == 1 ? "0" : "0-" + std::to_string(cores.size() - 1); }

  // Of a captured board, which has nothing else, but for faults and further nodes.
  std::optional<Frames> frames;
  int processors = 1;

  // Which of the two interfaces the DDR device speaks.
  bool hasNewerDdr() const { return platform.find("brindle") != std::string::npos; }
};

// Both throw BoardFileError for a mistake in the text, and std::runtime_error for a file that cannot be read.
BoardFile readBoardFile(const std::string& path, std::uint64_t seed = kDefaultSeed, Playback playback = {});
BoardFile parseBoardFile(const std::string& text, const std::string& path, std::uint64_t seed = kDefaultSeed,
                         Playback playback = {});

}  // namespace simulator

#endif
