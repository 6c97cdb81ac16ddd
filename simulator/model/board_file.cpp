#include "simulator/model/board_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <string_view>
#include <system_error>

#include "simulator/model/json.h"
#include "simulator/model/recording.h"

namespace simulator {

namespace {

constexpr std::int64_t kMostItems = 4096;
constexpr std::size_t kMostCores = 1024;
constexpr std::int64_t kLargestId = 4194304;  // of a process

// Every item of the list, "count" times where it says so.
template <typename Item, typename ReadItem>
std::vector<Item> readGroups(const JsonValue& list, ReadItem readItem) {
  std::vector<Item> items;
  for (const JsonValue& value : list.items()) {
    std::int64_t count = 1;
    for (std::int64_t number = 0; number < count; ++number) {
      JsonObject object{value, static_cast<int>(number)};
      object.read("count", count, 1, kMostItems);
      items.push_back(readItem(object));
      object.end();
    }
  }
  return items;
}

template <typename Item, typename ReadItem>
void readList(JsonObject& board, const char* key, std::vector<Item>& items, ReadItem readItem) {
  if (const auto list = board.find(key)) items = readGroups<Item>(*list, readItem);
}

template <std::size_t kCounters>
void readCounters(JsonObject& object, const char* const (&keys)[kCounters],
                  std::array<Counter, kCounters>& counters) {
  for (std::size_t i = 0; i < kCounters; ++i) object.read(keys[i], counters[i].perSecond);
}

// -- what a board has

CoreFile readCore(JsonObject& object) {
  CoreFile core;
  object.read("capacity", core.capacity, 1, 1024);
  object.read("min_khz", core.minKHz, 0, kLargestNumber);
  object.read("max_khz", core.maxKHz, 0, kLargestNumber);
  if (core.minKHz > core.maxKHz) object.fail("min_khz is above max_khz");
  if (const auto clock = object.find("clock_khz")) core.clock = clock->signal(0, kLargestNumber);
  if (const auto load = object.find("load")) {
    JsonObject shares{*load, object.number()};
    Thousandths most = 0;
    for (std::size_t column = 0; column < kTickColumns; ++column) {
      if (column == kIdleColumn) continue;
      shares.read(kTickKeys[column], core.shares[column], 0, 100);
      if (column < kGuestColumn) most += core.shares[column].highest();
    }
    shares.end();
    if (most > 100 * kOne) load->fail("comes to more than 100 percent");
  }
  return core;
}

ZoneFile readZone(JsonObject& object, int cores) {
  ZoneFile zone;
  object.read("type", zone.type);
  if (const auto temperature = object.find("temperature")) {
    zone.temperature = temperature->signal(-273, 1000);
    for (const char* const other : {"ambient", "rise", "lag_ms", "cores"}) {
      if (const auto value = object.find(other)) value->fail("is of no use beside temperature");
    }
  }
  object.read("ambient", zone.ambient, -273, 1000);
  if (const auto rise = object.find("rise")) zone.rise = rise->figure(0, 1000);
  object.readTime("lag_ms", zone.lag, 1);
  if (const auto heaters = object.find("cores")) {
    for (const JsonValue& core : heaters->items())
      zone.cores.push_back(static_cast<int>(core.whole(0, cores - 1)));
  }
  if (zone.cores.empty()) {
    zone.cores.resize(static_cast<std::size_t>(cores));
    std::iota(zone.cores.begin(), zone.cores.end(), 0);
  }
  return zone;
}

CoolingDeviceFile readCoolingDevice(JsonObject& object) {
  CoolingDeviceFile device;
  object.read("type", device.type);
  object.read("max_state", device.maxState, 0, 1000);
  object.read("state", device.state, 0, device.maxState);
  return device;
}

std::vector<std::pair<const char*, Signal>> readMemory(const JsonValue& value) {
  std::vector<std::pair<const char*, Signal>> lines;
  JsonObject object{value};
  for (const MemoryLine& line : kMemoryLines) {
    lines.emplace_back(line.line, Signal{});
    object.read(line.key, lines.back().second);
  }
  object.end();
  const auto signalOf = [&](std::string_view key) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (kMemoryLines[i].key == key) return lines[i].second;
    }
    return Signal{};
  };
  for (const char* const part : {"free_kb", "available_kb", "buffers_kb", "cached_kb"}) {
    if (signalOf(part).highest() > signalOf("total_kb").lowest())
      object.need(part).fail("is more than total_kb");
  }
  if (signalOf("swap_free_kb").highest() > signalOf("swap_total_kb").lowest())
    object.need("swap_free_kb").fail("is more than swap_total_kb");
  return lines;
}

ProcessFile readProcess(JsonObject& object) {
  ProcessFile process;
  process.pid = static_cast<int>(object.need("pid").whole(1, kLargestId - kMostItems)) + object.number();
  process.name = object.need("name").name();
  object.read("ppid", process.parent, 0, kLargestId);
  std::string state(1, process.state);
  object.read("state", state);
  if (state.size() != 1 || std::strchr("RSDTtZXI", state[0]) == nullptr)
    object.fail("state is none of R S D T t Z X I");
  process.state = state[0];
  object.read("threads", process.threads, 1, 100000);
  object.read("user", process.user);
  object.read("system", process.system);
  object.read("vsize_kb", process.virtualKB, 0, kLargestNumber);
  object.read("rss_kb", process.residentKB);
  object.read("pss_kb", process.proportionalKB);
  object.read("private_kb", process.privateKB);
  std::int64_t started = process.started / kMicrosecondsInSecond;
  object.read("started_s", started, 0, kLargestNumber / kOne);
  process.started = started * kMicrosecondsInSecond;
  object.readTime("born_ms", process.life.from);
  object.readTime("ended_ms", process.life.to);
  if (process.life.to <= process.life.from) object.fail("ended_ms is not after born_ms");
  return process;
}

std::vector<ProcessFile> readProcesses(const JsonValue& list) {
  std::multimap<int, Span> lives;
  std::vector<ProcessFile> processes = readGroups<ProcessFile>(list, [&](JsonObject& object) {
    ProcessFile process = readProcess(object);
    const auto [first, last] = lives.equal_range(process.pid);
    const bool isThere = std::any_of(first, last, [&](const auto& life) {
      return life.second.from < process.life.to && process.life.from < life.second.to;
    });
    if (isThere) object.need("pid").fail(std::to_string(process.pid) + " is there already");
    lives.emplace(process.pid, process.life);
    return process;
  });
  std::stable_sort(processes.begin(), processes.end(),
                   [](const ProcessFile& one, const ProcessFile& other) { return one.pid < other.pid; });
  return processes;
}

// A name that is a folder's or a file's.
std::string readFileName(JsonObject& object, std::set<std::string>& taken) {
  const JsonValue value = object.need("name");
  std::string name = value.name();
  if (name.find('/') != std::string::npos || name == "." || name == "..") value.fail("is no name of a file");
  if (!taken.insert(name).second) value.fail(name + " is there already");
  return name;
}

DiskFile readDisk(JsonObject& object, std::set<std::string>& taken) {
  DiskFile disk;
  disk.name = readFileName(object, taken);
  object.read("major", disk.major, 0, 4095);
  object.read("minor", disk.minor, 0, 1 << 20);
  object.read("partitions", disk.partitions, 0, 128);
  disk.minor += object.number() * (disk.partitions + 1);
  readCounters(object, kDiskKeys, disk.counters);
  return disk;
}

InterfaceFile readInterface(JsonObject& object, std::set<std::string>& taken) {
  constexpr std::size_t kLongest = 15;
  InterfaceFile interface;
  interface.name = readFileName(object, taken);
  if (interface.name.size() > kLongest) object.need("name").fail("is longer than 15 characters");
  readCounters(object, kNetworkKeys, interface.counters);
  return interface;
}

GpuFile readGpu(const JsonValue& value) {
  GpuFile gpu;
  JsonObject object{value};
  object.read("busy", gpu.busy, 0, 100);
  if (const auto clock = object.find("max_mhz")) gpu.maxMHz = clock->signal(0, kLargestNumber);
  if (const auto metrics = object.find("metrics")) {
    gpu.metrics = readGroups<GpuMetricFile>(*metrics, [](JsonObject& metric) {
      return GpuMetricFile{static_cast<std::uint32_t>(metric.need("id").whole(0, 0xffffffff)),
                           metric.need("name").name(),
                           metric.need("value").signal(-kLargestNumber, kLargestNumber)};
    });
  }
  object.end();
  return gpu;
}

DspFile readDsp(JsonObject& object, std::set<std::string>& taken) {
  DspFile dsp;
  dsp.name = readFileName(object, taken);
  object.read("load", dsp.load, 0, 100);
  object.read("clock", dsp.clock, 0, 0xffffffff);
  return dsp;
}

DdrFile readDdr(const JsonValue& value) {
  DdrFile ddr;
  JsonObject object{value};
  for (std::size_t i = 0; i < kDdrFigures; ++i) object.read(kDdrKeys[i], ddr.perSecond[i]);
  object.end();
  return ddr;
}

std::vector<std::pair<std::string, std::string>> readTexts(const JsonValue& value) {
  std::vector<std::pair<std::string, std::string>> texts;
  JsonObject object{value};
  for (const std::string& name : value.names()) texts.emplace_back(name, object.need(name).text());
  return texts;
}

std::vector<std::pair<std::string, std::string>> readNodes(const JsonValue& value) {
  std::vector<std::pair<std::string, std::string>> nodes = readTexts(value);
  for (const auto& [path, text] : nodes) {
    if (path.empty() || path.front() != '/') JsonObject{value}.need(path).fail("is no absolute path");
  }
  return nodes;
}

// -- what goes wrong with it

int errorNumber(const JsonValue& value) {
  constexpr int kErrors = 134;  // Linux has no more
  const std::string name = value.text();
  for (int error = 1; error < kErrors; ++error) {
    const char* const known = ::strerrorname_np(error);
    if (known != nullptr && name == known) return error;
  }
  value.fail("must be the name of an error, such as EINVAL");
}

FilePlace placeOf(const JsonValue& value) { return {value.line(), value.key()}; }

std::string readTargetName(const JsonValue& value, FaultTarget::Names names) {
  switch (names) {
    case FaultTarget::Names::kText:
      return value.text();
    case FaultTarget::Names::kNumber:
      return std::to_string(value.whole(0, kLargestId));
    case FaultTarget::Names::kNothing:
      if (!value.flag()) value.fail("must be true");
      return {};
  }
  return {};
}

void readTarget(JsonObject& object, Fault& fault) {
  std::string keys;
  for (const FaultTarget* const target : kFaultTargets) {
    keys += (keys.empty() ? "" : ", ") + std::string{target->key};
    const auto value = object.find(target->key);
    if (!value) continue;
    if (fault.target != nullptr) value->fail("is a second target");
    fault.target = target;
    fault.namePlace = placeOf(*value);
    fault.name = readTargetName(*value, target->names);
  }
  if (fault.target == nullptr) object.fail("has none of: " + keys);
}

Fault::Kind readKind(const JsonValue& value, std::string_view kinds) {
  const std::string name = value.text();
  const bool fits =
      !name.empty() && (" " + std::string{kinds} + " ").find(" " + name + " ") != std::string::npos;
  if (!fits) value.fail("must be one of: " + std::string{kinds});
  return std::find_if(std::begin(kFaultKinds), std::end(kFaultKinds),
                      [&](const FaultKind& kind) { return kind.name == name; })
      ->kind;
}

void readDetails(JsonObject& object, Fault& fault) {
  switch (fault.kind) {
    case Fault::Kind::kOpen:
    case Fault::Kind::kRead:
      fault.value = errorNumber(object.need("error"));
      break;
    case Fault::Kind::kResult:
      fault.value = static_cast<int>(object.need("result").whole(-0x7fffffff, 0x7fffffff));
      break;
    case Fault::Kind::kWrap: {
      const JsonValue counter = object.need("counter");
      fault.counter = counter.text();
      fault.counterPlace = placeOf(counter);
      object.read("bits", fault.bits, 1, 64);
      break;
    }
    case Fault::Kind::kVanish:
    case Fault::Kind::kCut:
    case Fault::Kind::kRubbish:
    case Fault::Kind::kOffline:
      break;
  }
}

Fault readFault(const JsonValue& value) {
  JsonObject object{value};
  Fault fault;
  fault.place = placeOf(value);
  object.readTime("at_ms", fault.span.from);
  Microseconds length = kForever - fault.span.from;
  object.readTime("for_ms", length, 1);
  fault.span.to = fault.span.from + length;
  readTarget(object, fault);
  fault.kind = readKind(object.need("kind"), fault.target->kinds);
  readDetails(object, fault);
  object.end();
  return fault;
}

BoardFile readBoard(const JsonValue& root, BoardFile board) {
  JsonObject object{root};
  const auto recording = object.find("recording");
  if (recording) readRecording(*recording, board);
  if (!recording) object.need("model");
  object.read("model", board.model);
  object.read("description", board.description);
  object.read("platform", board.platform);
  object.read("soc", board.soc);
  if (const auto id = object.find("feature_id")) board.featureId = static_cast<int>(id->whole(0, 255));
  if (const auto properties = object.find("properties")) board.properties = readTexts(*properties);
  if (const auto nodes = object.find("nodes")) board.nodes = readNodes(*nodes);
  object.read("kernel", board.kernel);
  object.read("ticks_per_second", board.ticksPerSecond, 1, 1000000);

  const auto frames = object.find("frames");
  if (frames) {
    board.frames = readFrames(*frames, board.playback);
    object.read("processors", board.processors, 1, kMostCores);
  }
  if (!recording && !frames) object.need("cores");
  if (const auto cores = object.find("cores")) {
    board.cores = readGroups<CoreFile>(*cores, readCore);
    if (board.cores.empty() || board.cores.size() > kMostCores) cores->fail("must be from 1 to 1024 cores");
  }
  const auto coreCount = static_cast<int>(board.cores.size());
  readList(object, "thermal_zones", board.zones, [&](JsonObject& zone) { return readZone(zone, coreCount); });
  readList(object, "cooling_devices", board.coolingDevices, readCoolingDevice);
  if (const auto memory = object.find("memory")) board.memory = readMemory(*memory);
  if (const auto processes = object.find("processes")) board.processes = readProcesses(*processes);
  std::set<std::string> diskNames;
  readList(object, "disks", board.disks, [&](JsonObject& item) { return readDisk(item, diskNames); });
  std::set<std::string> interfaceNames;
  readList(object, "interfaces", board.interfaces,
           [&](JsonObject& item) { return readInterface(item, interfaceNames); });
  if (const auto gpu = object.find("gpu")) board.gpu = readGpu(*gpu);
  std::set<std::string> dspNames;
  readList(object, "dsps", board.dsps, [&](JsonObject& item) { return readDsp(item, dspNames); });
  if (const auto ddr = object.find("ddr")) board.ddr = readDdr(*ddr);
  if (const auto faults = object.find("faults")) {
    for (const JsonValue& value : faults->items()) {
      Fault fault = readFault(value);
      if (fault.target->resolve != nullptr) fault.target->resolve(board, fault);
      board.faults.push_back(std::move(fault));
    }
  }
  object.end();
  return board;
}

}  // namespace

BoardFile parseBoardFile(const std::string& text, const std::string& path, std::uint64_t seed,
                         Playback playback) {
  const JsonSource source{path, seed, Wave::noise(seed)};
  BoardFile board;
  board.path = path;
  board.seed = seed;
  board.playback = playback;
  if (isRecording(text)) {
    readRecording(text, source, board);
    return board;
  }
  return readBoard(JsonValue{source, parseJson(text, path), ""}, std::move(board));
}

BoardFile readBoardFile(const std::string& path, std::uint64_t seed, Playback playback) {
  constexpr std::size_t kLargest = std::size_t{64} << 20;
  if (!std::filesystem::is_regular_file(path) && std::filesystem::exists(path))
    throw BoardFileError{path, 1, "", "is no regular file"};
  std::ifstream file{path, std::ios::binary};
  const std::string text{std::istreambuf_iterator<char>{file}, {}};
  if (!file) throw std::system_error{errno, std::generic_category(), path};
  const bool isCompressed = text.compare(0, 2, "\x1f\x8b") == 0;
  if (isCompressed) throw BoardFileError{path, 1, "", "is compressed: unpack it with gunzip"};
  if (text.size() > kLargest) throw BoardFileError{path, 1, "", "is larger than 64 MiB"};
  return parseBoardFile(text, path, seed, playback);
}

}  // namespace simulator
