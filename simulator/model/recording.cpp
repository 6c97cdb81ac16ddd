#include "simulator/model/recording.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <map>
#include <numeric>
#include <set>
#include <string_view>
#include <tuple>

#include "simulator/model/model.h"

namespace simulator {

namespace {

constexpr std::int64_t kLargestPid = 4194304;
constexpr std::int64_t kMostRecordedCores = 1024;
constexpr std::int64_t kMostZones = 4096;
constexpr int kNewestVersion = 2;
constexpr int kBitsOfNoCounter = 62;  // a counter that wraps there goes back, to whoever reads it
constexpr char kProfilerNode[] = "/dev/profiler";

// By sample: outer none: nothing is known, and what was before goes on; inner none: the figure was absent.
using Figures = std::vector<std::optional<std::optional<Thousandths>>>;

void put(Figures& figures, std::size_t sample, std::optional<Thousandths> value) {
  figures.resize(sample + 1);
  figures[sample] = value;
}

// Where the samples lie on the board's time.
class Timeline {
 public:
  void add(Microseconds start, Microseconds end) {
    starts_.push_back(std::max(start, ends_.empty() ? start : ends_.back()));
    ends_.push_back(end);
  }
  std::size_t size() const { return ends_.size(); }
  Microseconds start(std::size_t sample) const { return starts_[sample]; }
  Microseconds end(std::size_t sample) const { return ends_[sample]; }
  Microseconds middle(std::size_t sample) const { return starts_[sample] + length(sample) / 2; }
  Microseconds length(std::size_t sample) const { return ends_[sample] - starts_[sample]; }

  // Of what is read at the sample's end: until when that is nearer than the next one.
  Microseconds turn(std::size_t sample) const { return sample + 1 < size() ? middle(sample + 1) : kForever; }

  Signal held(const Figures& figures) const { return signal(figures, &Timeline::start); }
  Signal read(const Figures& figures) const { return signal(figures, &Timeline::middle); }

 private:
  Signal signal(const Figures& figures, Microseconds (Timeline::*from)(std::size_t) const) const {
    std::vector<Series::Point> points;
    for (std::size_t sample = 0; sample < figures.size(); ++sample) {
      if (!figures[sample]) continue;
      points.push_back({(this->*from)(sample), *figures[sample]});
      if (points.size() == 1) points[0].time = std::min<Microseconds>({points[0].time, starts_[0], 0});
    }
    return Signal::series(std::make_shared<const Series>(std::move(points)));
  }

  std::vector<Microseconds> starts_;
  std::vector<Microseconds> ends_;
};

// -- what could not be read

// /proc/#/smaps_rollup: Permission denied (25 of 26 could be read)
struct Reason {
  std::string target;
  Fault::Kind kind = Fault::Kind::kOpen;
  int value = 0;
};

bool isFolder(std::string_view target) {
  return target == "/proc" || target == "/sys/block" || target == "/sys/class/net" ||
         target == "/sys/class/thermal";
}

int errorOf(std::string_view words) {
  constexpr int kErrors = 134;  // Linux has no more
  for (int error = 1; error < kErrors; ++error) {
    const char* const known = ::strerrordesc_np(error);
    if (known != nullptr && words == known) return error;
  }
  return 0;
}

// None: it names no node, or nothing that a fault could do to one.
std::optional<Reason> parseReason(std::string_view text) {
  const std::size_t colon = text.find(": ");
  if (text.empty() || text.front() != '/' || colon == std::string_view::npos) return std::nullopt;
  Reason reason;
  reason.target = text.substr(0, colon);
  std::string_view words = text.substr(colon + 2);
  words = words.substr(0, words.find(" ("));
  if (words.substr(0, 8) == "holds no") {
    reason.kind = Fault::Kind::kRubbish;
    return reason;
  }
  if (words == "the device refused a request") {
    reason.kind = Fault::Kind::kResult;
    reason.value = 1;
    return reason;
  }
  reason.value = errorOf(words);
  switch (reason.value) {
    case 0:
      return std::nullopt;
    case ENOENT:
      reason.kind = Fault::Kind::kVanish;
      break;
    case EIO:
    case EINVAL:
    case EAGAIN:
    case ENODATA:
    case ESRCH:
    case ETIMEDOUT:
      reason.kind = isFolder(reason.target) ? Fault::Kind::kOpen : Fault::Kind::kRead;
      break;
    default:
      break;
  }
  return reason;
}

// What a reason names is there, whatever the figures say, unless it has vanished.
void armRecorded(Board& board, const SharedFile& file, const Fault& fault) {
  if (fault.kind != Fault::Kind::kVanish) {
    board.change(fault.name, [&board, file, &fault](Node& node) {
      if (fault.span.holds(boardTime(board))) node.isGone = false;
    });
  }
  armNode(board, file, fault, fault.name);
}

const FaultTarget kRecordedFaults{"node", FaultTarget::Names::kText, "", nullptr, armRecorded};

// cores[3].clock_khz, cores[*].clock_khz, cores, load_percent
struct Item {
  std::string_view table;
  std::string_view row;
  std::string_view column;
};

Item parseItem(std::string_view text) {
  const std::size_t open = text.find('[');
  const std::size_t close = text.find("].");
  if (open == std::string_view::npos || close == std::string_view::npos || close < open)
    return {{}, {}, text};
  return {text.substr(0, open), text.substr(open + 1, close - open - 1), text.substr(close + 2)};
}

// The name that stands for a target's # or *, by the row: a core, a zone, an interface, a process.
std::string labelOf(JsonObject& row) {
  constexpr std::string_view kZone = "thermal_zone";
  for (const char* const key : {"core", "pid"}) {
    if (const auto number = row.find(key)) return std::to_string(number->whole(0, kLargestPid));
  }
  if (const auto zone = row.find("zone")) {
    const std::string name = zone->text();
    return name.compare(0, kZone.size(), kZone) == 0 ? name.substr(kZone.size()) : name;
  }
  if (const auto interface = row.find("interface")) return interface->bytes();
  return {};
}

// -- the resources

struct Core {
  std::array<Figures, kTickColumns> shares;
  Figures clock;
  int capacity = 1024;
  std::set<std::size_t> offline;  // samples
};

struct Process {
  std::string name;
  int parent = 1;
  std::size_t first = 0;
  std::size_t last = 0;
  Figures user;
  Figures system;
  Figures pss;
  Figures rss;
  Figures own;
  Figures virtualKB;
  bool hasMemory = false;
  bool hasBlank = false;  // in its name, which is cut there
};

// A row that comes and goes: a disk, a zone.
struct Presence {
  std::set<std::size_t> samples;
  bool holds(std::size_t sample) const { return samples.count(sample) != 0; }
};

struct Zone {
  std::string type = "thermal";
  Figures temperature;
  Presence presence;
};

struct Disk {
  Figures read;
  Figures written;
  std::vector<std::pair<std::size_t, std::size_t>> wraps;  // column, sample
  Presence presence;
};

struct Interface {
  std::array<Figures, kNetworkCounters> counters;
  std::vector<std::pair<std::size_t, std::size_t>> wraps;  // counter, sample
  std::size_t first = 0;
};

struct Dsp {
  Figures load;
  Figures clock;
  std::set<std::size_t> silent;
};

// The profiler's names of its metrics, with the recording's keys and units.
struct GpuMetric {
  const char* key;
  std::uint32_t id;
  const char* name;
  int scale;
};
constexpr GpuMetric kGpuMetrics[] = {{"clock_mhz", 1, "Clocks / Second", 1000000},
                                     {"utilization_percent", 3, "GPU % Utilization", 1},
                                     {"bus_busy_percent", 4, "GPU % Bus Busy", 1},
                                     {"read_bytes_per_second", 5, "Read Total (Bytes/sec)", 1},
                                     {"write_bytes_per_second", 6, "Write Total (Bytes/sec)", 1}};
constexpr std::size_t kMetrics = std::size(kGpuMetrics);

constexpr std::pair<const char*, const char*> kMemoryKeys[] = {{"total_kib", "MemTotal"},
                                                               {"available_kib", "MemAvailable"},
                                                               {"swap_total_kib", "SwapTotal"},
                                                               {"swap_free_kib", "SwapFree"}};

class Recording {
 public:
  explicit Recording(BoardFile& board) : board_{board} {}

  void header(const JsonValue& value);
  void sample(const JsonValue& value);
  void finish();

 private:
  // A section of the sample at hand.
  struct Section {
    JsonObject object;
    std::set<std::string> explained;           // items whose reason is a fault
    std::map<std::string, std::string> words;  // of all items
  };

  std::optional<Section> open(JsonObject& sample, const char* name, const char* table = nullptr);
  static std::vector<JsonObject> rowsOf(JsonObject& section, const char* table);
  void explain(Section& section, const JsonValue& error, const char* table);
  void explainItem(Section& section, const std::string& item, const Reason& reason, const char* table);
  void note(const std::string& path, const Reason& reason);
  std::string reasonOf(const Section& section, const std::string& item) const;

  void take(Figures& figures, Section& section, JsonObject& from, const char* key, const std::string& item,
            std::int64_t scale = 1);
  static std::optional<Thousandths> numberIn(JsonObject& from, const char* key, std::int64_t scale = 1);

  void addCpu(JsonObject& sample);
  void addCore(Section& cpu, JsonObject& row, std::size_t number, std::size_t sampleRow);
  void shareOut(Section& cpu, std::vector<JsonObject>& rows);
  void addProcesses(JsonObject& sample);
  void addProcmem(JsonObject& sample);
  void addMemory(JsonObject& sample);
  void addZones(JsonObject& sample);
  void addDisks(JsonObject& sample);
  void addInterfaces(JsonObject& sample);
  void addGpu(JsonObject& sample);
  void addDsps(JsonObject& sample);
  void addDdr(JsonObject& sample);
  Process& process(int pid, JsonObject& row);

  void finishCores();
  std::vector<Span> offlineSpans(const Core& core) const;
  void finishProcesses();
  void finishZones();
  void finishDisks();
  void finishInterfaces();
  void finishGpu();
  void finishDsps();
  void finishDdr();
  void finishFaults();
  void cutProcessorLines();
  bool anyCoreOffline(std::size_t first, std::size_t last) const;
  void addFault(const std::string& path, const Reason& reason, Span span);
  void hide(const std::string& path, const Presence& presence, const std::set<std::size_t>& unknown);

  BoardFile& board_;
  std::optional<std::int64_t> origin_;  // of the boot clock, in nanoseconds
  Timeline timeline_;
  std::size_t now_ = 0;  // the sample at hand

  std::vector<Core> cores_;
  std::set<std::size_t> linesChanged_;
  std::map<int, Process> processes_;
  bool hasProcmem_ = false;
  std::map<std::string, Figures> memory_;
  std::vector<Zone> zones_;
  std::vector<std::string> diskNames_;  // in their order
  std::map<std::string, Disk> disks_;
  std::set<std::size_t> disksUnread_;
  std::set<std::size_t> disksChanged_;
  std::vector<std::string> interfaceNames_;
  std::map<std::string, Interface> interfaces_;
  Figures gpuBusy_;
  Figures gpuMaxClock_;
  std::array<Figures, kMetrics> gpuMetrics_;
  std::vector<std::string> dspNames_;
  std::map<std::string, Dsp> dsps_;
  bool hasDdr_ = false;
  std::array<Figures, kDdrFigures> ddr_;
  std::map<std::tuple<std::string, int, int>, std::set<std::size_t>> faults_;  // path, kind, value: samples
};

// -- reading

void Recording::header(const JsonValue& value) {
  JsonObject object{value};
  const JsonValue schema = object.need("schema");
  if (schema.text() != "tessary-record") schema.fail("is no recording's");
  object.need("version").whole(1, kNewestVersion);
  if (const auto time = object.find("boot_time_ns")) origin_ = time->nanoseconds();
  if (board_.model.empty()) board_.model = "recording";
  if (const auto machine = object.find("board")) {
    JsonObject names{*machine};
    names.read("model", board_.model);
    names.read("platform", board_.platform);
    names.read("soc", board_.soc);
  }
}

void Recording::sample(const JsonValue& value) {
  constexpr std::int64_t kLongestInterval = 100000000;  // a day, about
  JsonObject object{value};
  const JsonValue time = object.need("boot_time_ns");
  const std::int64_t end = time.nanoseconds();
  const Microseconds interval = object.need("interval_ms").rounded(0, kLongestInterval);
  if (!origin_) origin_ = end - interval * 1000;
  const Microseconds at = (end - *origin_) / 1000;
  const auto played = [this](Microseconds then) {
    const Wide scaled = Wide{then - board_.playback.from} * kOne;
    return static_cast<Microseconds>(scaled / board_.playback.speed);
  };
  if (timeline_.size() > 0 && played(at) <= timeline_.end(timeline_.size() - 1))
    time.fail("is not after the sample before");
  now_ = timeline_.size();
  timeline_.add(played(at - interval), played(at));

  addCpu(object);
  addProcesses(object);
  addProcmem(object);
  addMemory(object);
  addZones(object);
  addDisks(object);
  addInterfaces(object);
  addGpu(object);
  addDsps(object);
  addDdr(object);
}

std::optional<Recording::Section> Recording::open(JsonObject& sample, const char* name, const char* table) {
  const auto value = sample.find(name);
  if (!value) return std::nullopt;
  Section section{JsonObject{*value}, {}, {}};
  if (const auto errors = section.object.find("errors")) {
    for (const JsonValue& error : errors->items()) explain(section, error, table);
  }
  return section;
}

std::vector<JsonObject> Recording::rowsOf(JsonObject& section, const char* table) {
  std::vector<JsonObject> rows;
  if (const auto list = section.find(table)) {
    for (const JsonValue& row : list->items()) rows.emplace_back(row);
  }
  return rows;
}

void Recording::explain(Section& section, const JsonValue& value, const char* table) {
  JsonObject error{value};
  const std::string words = error.need("error").bytes();
  const std::optional<Reason> reason = parseReason(words);
  for (const JsonValue& item : error.need("items").items()) {
    const std::string name = item.text();
    section.words[name] = words;
    if (reason) explainItem(section, name, *reason, table);
  }
}

void Recording::explainItem(Section& section, const std::string& name, const Reason& reason,
                            const char* table) {
  const std::size_t wildcard = reason.target.find_first_of("#*");
  if (wildcard == std::string::npos) {
    section.explained.insert(name);
    return note(reason.target, reason);
  }
  const Item item = parseItem(name);
  const bool isGoneProcess = reason.target.compare(0, 7, "/proc/#") == 0 && reason.value == ENOENT;
  if (item.table.empty() || table == nullptr || item.table != table || isGoneProcess) return;
  section.explained.insert(name);
  std::vector<JsonObject> rows = rowsOf(section.object, table);
  for (std::size_t at = 0; at < rows.size(); ++at) {
    if (item.row != "*" && item.row != std::to_string(at)) continue;
    // In a table where it is there for some, the reason is theirs alone whose figure is not.
    if (rows[at].find(std::string{item.column})) continue;
    std::string path = reason.target;
    note(path.replace(wildcard, 1, labelOf(rows[at])), reason);
  }
}

void Recording::note(const std::string& path, const Reason& reason) {
  faults_[{path, static_cast<int>(reason.kind), reason.value}].insert(now_);
}

std::string Recording::reasonOf(const Section& section, const std::string& item) const {
  const Item parts = parseItem(item);
  const std::string all = std::string{parts.table} + "[*]." + std::string{parts.column};
  for (const std::string& name : {item, parts.table.empty() ? std::string{"*"} : all}) {
    const auto found = section.words.find(name);
    if (found != section.words.end()) return found->second;
  }
  return {};
}

std::optional<Thousandths> Recording::numberIn(JsonObject& from, const char* key, std::int64_t scale) {
  const auto value = from.find(key);
  if (!value) return std::nullopt;
  return value->rounded(-kLargestNumber, kLargestNumber, static_cast<double>(scale));
}

// What is absent for a reason that a fault stands for goes on beneath it.
void Recording::take(Figures& figures, Section& section, JsonObject& from, const char* key,
                     const std::string& item, std::int64_t scale) {
  const std::optional<Thousandths> number = numberIn(from, key, scale);
  const Item parts = parseItem(item);
  const std::string all = std::string{parts.table} + "[*]." + std::string{parts.column};
  const bool isExplained = section.explained.count(item) != 0 || section.explained.count(all) != 0 ||
                           (parts.table.empty() && section.explained.count("*") != 0);
  if (number || !isExplained) put(figures, now_, number);
}

// The rate goes on over an interval in which the counter went back: it has to move, for this to happen in it.
void putMoving(Figures& figures, std::size_t sample) {
  const bool moved = !figures.empty() && figures.back() && figures.back()->value_or(0) >= kOne;
  put(figures, sample, moved ? *figures.back() : 10 * kOne);
}

std::string itemName(const char* table, std::size_t row, const char* key) {
  return std::string{table} + "[" + std::to_string(row) + "]." + key;
}

void Recording::addCpu(JsonObject& sample) {
  std::optional<Section> cpu = open(sample, "cpu", "cores");
  if (!cpu) return;
  cpu->object.read("platform", board_.platform);
  cpu->object.read("soc", board_.soc);
  if (const auto id = cpu->object.find("feature_id")) board_.featureId = static_cast<int>(id->whole(0, 255));
  std::int64_t count = 0;
  cpu->object.read("cores_configured", count, 0, kMostRecordedCores);
  std::vector<JsonObject> rows = rowsOf(cpu->object, "cores");
  for (JsonObject& row : rows) {
    const auto number = static_cast<std::size_t>(row.need("core").whole(0, kMostRecordedCores - 1));
    if (cores_.size() <= number) cores_.resize(number + 1);
    addCore(*cpu, row, number, static_cast<std::size_t>(&row - rows.data()));
  }
  if (cores_.size() < static_cast<std::size_t>(count)) cores_.resize(static_cast<std::size_t>(count));
  shareOut(*cpu, rows);
}

void Recording::addCore(Section& cpu, JsonObject& row, std::size_t number, std::size_t sampleRow) {
  Core& core = cores_[number];
  take(core.clock, cpu, row, "clock_khz", itemName("cores", sampleRow, "clock_khz"));
  row.read("capacity", core.capacity, 1, 1024);
  const std::string words = reasonOf(cpu, itemName("cores", sampleRow, "load_percent"));
  if (words.find("the core is offline") != std::string::npos) core.offline.insert(now_);
  if (words.find("the lines of the cores changed") != std::string::npos) linesChanged_.insert(now_);
}

// What the recording has of all cores together is shared out among them by their loads.
void Recording::shareOut(Section& cpu, std::vector<JsonObject>& rows) {
  static constexpr Thousandths kAll = 100 * kOne;
  constexpr std::pair<std::size_t, const char*> kColumns[] = {
      {0, "user_percent"}, {1, "nice_percent"}, {2, "system_percent"}, {kIowaitColumn, "iowait_percent"}};
  constexpr std::size_t kIrqColumn = 5;
  constexpr std::size_t kStealColumn = 7;
  const auto own = [](JsonObject& row) {
    const Thousandths load = std::clamp<Thousandths>(numberIn(row, "load_percent").value_or(0), 0, kAll);
    const Thousandths steal = std::clamp<Thousandths>(numberIn(row, "steal_percent").value_or(0), 0, load);
    return std::pair{load - steal, steal};
  };
  Wide all = 0;
  std::int64_t measured = 0;
  for (JsonObject& row : rows) {
    if (!row.find("load_percent")) continue;
    all += own(row).first;
    ++measured;
  }
  for (JsonObject& row : rows) {
    Core& core = cores_[static_cast<std::size_t>(row.need("core").whole(0, kMostRecordedCores - 1))];
    const auto [load, steal] = own(row);
    Thousandths rest = load;
    for (const auto& [column, key] : kColumns) {
      const Wide share = std::max<Thousandths>(numberIn(cpu.object, key).value_or(0), 0);
      // Halves are rounded up, so that the whole numbers of a tick come out as such.
      const Wide part = all > 0 ? (2 * share * load * measured + all) / (2 * all) : Wide{0};
      const auto taken = static_cast<Thousandths>(std::min<Wide>(part, rest));
      put(core.shares[column], now_, taken);
      rest -= taken;
    }
    put(core.shares[kIrqColumn], now_, rest);
    put(core.shares[kStealColumn], now_, steal);
  }
}

Process& Recording::process(int pid, JsonObject& row) {
  const auto [place, isNew] = processes_.try_emplace(pid);
  Process& process = place->second;
  if (isNew) process.first = now_;
  process.last = now_;
  const auto name = row.find("name");
  // That of the memory section ends at the first blank.
  if (name && name->text().size() > process.name.size()) process.name = name->bytes();
  return process;
}

int pidOf(JsonObject& row) { return static_cast<int>(row.need("pid").whole(1, kLargestPid)); }

void Recording::addProcesses(JsonObject& sample) {
  std::optional<Section> section = open(sample, "process", "top");
  if (!section) return;
  for (JsonObject& row : rowsOf(section->object, "top")) {
    const auto user = numberIn(row, "user_seconds", kOne);
    const auto system = numberIn(row, "system_seconds", kOne);
    if (!user || !system) continue;  // one of those that were asked for, and has ended
    Process& process = this->process(pidOf(row), row);
    // Of one that starts, all that it has used.
    const bool starts = process.first == now_ && now_ > 0;
    const Microseconds length =
        starts ? timeline_.end(now_) - timeline_.middle(now_) : timeline_.length(now_);
    const auto percent = [&](Thousandths milliseconds) {
      const Wide scaled = Wide{milliseconds} * 100 * kOne * kOne / board_.playback.speed;
      return static_cast<Thousandths>((scaled + length / 2) / std::max<Microseconds>(length, 1));
    };
    put(process.user, now_, percent(*user));
    put(process.system, now_, percent(*system));
  }
}

void Recording::addProcmem(JsonObject& sample) {
  std::optional<Section> section = open(sample, "procmem", "top");
  if (!section) return;
  hasProcmem_ = true;
  std::size_t at = 0;
  for (JsonObject& row : rowsOf(section->object, "top")) {
    const std::size_t number = at++;
    if (!row.find("name")) continue;
    Process& process = this->process(pidOf(row), row);
    process.hasMemory = true;
    const std::string words = reasonOf(*section, itemName("top", number, "parent_pid"));
    if (words.find("a blank in the process's name") != std::string::npos) process.hasBlank = true;
    row.read("parent_pid", process.parent, 0, kLargestPid);
    const auto figure = [&](Figures& figures, const char* key) {
      take(figures, *section, row, key, itemName("top", number, key));
    };
    figure(process.pss, "pss_kib");
    figure(process.rss, "rss_kib");
    figure(process.own, "private_kib");
    figure(process.virtualKB, "virtual_kib");
  }
}

void Recording::addMemory(JsonObject& sample) {
  std::optional<Section> section = open(sample, "memory");
  if (!section) return;
  for (const auto& [key, line] : kMemoryKeys) take(memory_[line], *section, section->object, key, key);
}

void Recording::addZones(JsonObject& sample) {
  std::optional<Section> section = open(sample, "thermal", "zones");
  if (!section) return;
  std::size_t at = 0;
  for (JsonObject& row : rowsOf(section->object, "zones")) {
    const JsonValue name = row.need("zone");
    const std::string digits = labelOf(row);
    std::size_t number = kMostZones;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (number >= kMostZones) name.fail("is no zone's name");
    if (zones_.size() <= number) zones_.resize(number + 1);
    Zone& zone = zones_[number];
    if (const auto type = row.find("type")) zone.type = type->bytes();
    take(zone.temperature, *section, row, "temperature_celsius",
         itemName("zones", at++, "temperature_celsius"));
    zone.presence.samples.insert(now_);
  }
}

void Recording::addDisks(JsonObject& sample) {
  constexpr std::size_t kSectorsRead = 2;
  constexpr std::size_t kSectorsWritten = 6;
  std::optional<Section> section = open(sample, "disk", "disks");
  if (!section) return;
  std::vector<JsonObject> rows = rowsOf(section->object, "disks");
  if (rows.empty()) {
    disksUnread_.insert(now_);
    const auto words = section->words.find("disks");
    const bool changed = words != section->words.end() && words->second.find("a disk appeared") == 0;
    if (changed) disksChanged_.insert(now_);
  }
  for (std::size_t at = 0; at < rows.size(); ++at) {
    const JsonValue label = rows[at].need("disk");
    const std::string name = label.bytes();
    const auto [place, isNew] = disks_.try_emplace(name);
    if (isNew) diskNames_.push_back(name);
    Disk& disk = place->second;
    disk.presence.samples.insert(now_);
    const auto rate = [&](Figures& figures, const char* key, std::size_t column) {
      constexpr Thousandths kSector = 512;
      const Thousandths bytes = std::max<Thousandths>(numberIn(rows[at], key).value_or(0), 0);
      const bool wraps =
          reasonOf(*section, itemName("disks", at, key)).find("went back") != std::string::npos;
      if (!wraps) return put(figures, now_, (bytes + kSector / 2) / kSector);
      disk.wraps.emplace_back(column, now_);
      putMoving(figures, now_);
    };
    rate(disk.read, "read_bytes_per_second", kSectorsRead);
    rate(disk.written, "write_bytes_per_second", kSectorsWritten);
  }
}

void Recording::addInterfaces(JsonObject& sample) {
  std::optional<Section> section = open(sample, "net", "interfaces");
  if (!section) return;
  std::vector<JsonObject> rows = rowsOf(section->object, "interfaces");
  for (std::size_t at = 0; at < rows.size(); ++at) {
    const JsonValue label = rows[at].need("interface");
    const std::string name = label.bytes();
    const auto [place, isNew] = interfaces_.try_emplace(name);
    Interface& interface = place->second;
    if (isNew) {
      interfaceNames_.push_back(name);
      interface.first = now_;
    }
    for (std::size_t counter = 0; counter < kNetworkCounters; ++counter) {
      const std::string key = std::string{kNetworkKeys[counter]} + "_per_second";
      Figures& figures = interface.counters[counter];
      const std::string words = reasonOf(*section, itemName("interfaces", at, key.c_str()));
      if (words.find("went back") == std::string::npos) {
        put(figures, now_, std::max<Thousandths>(numberIn(rows[at], key.c_str()).value_or(0), 0));
        continue;
      }
      interface.wraps.emplace_back(counter, now_);
      putMoving(figures, now_);
    }
  }
}

void Recording::addGpu(JsonObject& sample) {
  std::optional<Section> section = open(sample, "gpu");
  if (!section) return;
  take(gpuBusy_, *section, section->object, "busy_percent", "busy_percent");
  take(gpuMaxClock_, *section, section->object, "max_clock_mhz", "max_clock_mhz");
  for (std::size_t i = 0; i < kMetrics; ++i) {
    const GpuMetric& metric = kGpuMetrics[i];
    take(gpuMetrics_[i], *section, section->object, metric.key, metric.key, metric.scale);
  }
}

void Recording::addDsps(JsonObject& sample) {
  std::optional<Section> section = open(sample, "dsp", "dsps");
  if (!section) return;
  for (JsonObject& row : rowsOf(section->object, "dsps")) {
    const JsonValue label = row.need("dsp");
    const std::string name = label.bytes();
    const auto load = numberIn(row, "load");
    const auto clock = numberIn(row, "clock");
    const auto [place, isNew] = dsps_.try_emplace(name);
    if (isNew) dspNames_.push_back(name);
    if (!load || !clock) {
      place->second.silent.insert(now_);
      continue;
    }
    put(place->second.load, now_, load);
    put(place->second.clock, now_, clock);
  }
}

void Recording::addDdr(JsonObject& sample) {
  std::optional<Section> section = open(sample, "ddr");
  if (!section) return;
  for (std::size_t i = 0; i < kDdrFigures; ++i) {
    const auto figure = numberIn(section->object, kDdrKeys[i]);
    if (!figure) continue;
    put(ddr_[i], now_, figure);
    hasDdr_ = true;
  }
}

// -- the board

bool isAnyThere(const Figures& figures) {
  return std::any_of(figures.begin(), figures.end(),
                     [](const auto& figure) { return figure && figure->has_value(); });
}

void Recording::finish() {
  constexpr int kTicks = 10000;  // each share of a core is cut to them
  board_.ticksPerSecond = kTicks;
  board_.description = "a recording";
  finishCores();
  finishProcesses();
  if (!memory_.empty() && isAnyThere(memory_["MemTotal"])) {
    board_.memory.emplace();
    for (const auto& [key, line] : kMemoryKeys)
      board_.memory->emplace_back(line, timeline_.read(memory_[line]));
  }
  finishZones();
  finishDisks();
  finishInterfaces();
  finishGpu();
  finishDsps();
  finishDdr();
  finishFaults();
}

void Recording::finishCores() {
  if (cores_.empty()) cores_.resize(1);
  for (Core& recorded : cores_) {
    CoreFile& core = board_.cores.emplace_back();
    core.capacity = recorded.capacity;
    for (std::size_t column = 0; column < kTickColumns; ++column)
      core.shares[column] = timeline_.held(recorded.shares[column]);
    core.offline = offlineSpans(recorded);
    if (!isAnyThere(recorded.clock)) continue;
    core.clock = timeline_.read(recorded.clock);
    core.maxKHz = std::max<std::int64_t>(core.clock->highest() / kOne, 1);
    core.minKHz = core.maxKHz;
    for (const auto& clock : recorded.clock) {
      if (clock && *clock) core.minKHz = std::min(core.minKHz, std::max<std::int64_t>(**clock / kOne, 0));
    }
  }
}

// The sample in which a core went off or came back says that the lines changed.
std::vector<Span> Recording::offlineSpans(const Core& core) const {
  std::vector<Span> spans;
  for (const std::size_t sample : core.offline) {
    const bool fromBefore = sample > 0 && linesChanged_.count(sample - 1) != 0;
    const bool untilAfter = linesChanged_.count(sample + 1) != 0 && sample + 1 < timeline_.size();
    // What was before the board's start has counted nothing.
    const Microseconds from =
        std::max<Microseconds>(fromBefore ? timeline_.middle(sample - 1) : timeline_.start(sample), 0);
    const Microseconds to = untilAfter ? timeline_.middle(sample + 1) : timeline_.end(sample);
    if (to <= from) continue;
    if (!spans.empty() && spans.back().to >= from) {
      spans.back().to = to;
    } else {
      spans.push_back({from, to});
    }
  }
  return spans;
}

void Recording::finishProcesses() {
  constexpr int kKernelThreads = 2;
  for (auto& [pid, recorded] : processes_) {
    ProcessFile process;
    process.pid = pid;
    // Only kernel threads have no memory.
    process.parent = hasProcmem_ && !recorded.hasMemory ? kKernelThreads : recorded.parent;
    process.name = recorded.name;
    // One whose whole name the other section has not read, since it is no line.
    if (recorded.hasBlank && recorded.name.find(' ') == std::string::npos) process.name += '\n';
    const auto restsAfter = [this](Figures& figures, std::size_t last) {
      for (std::size_t sample = 0; sample <= last; ++sample) {
        if (figures.size() <= sample || !figures[sample]) {
          figures.resize(std::max(figures.size(), sample + 1));
          figures[sample] = 0;
        }
      }
      if (last + 1 < timeline_.size()) put(figures, last + 1, 0);
    };
    restsAfter(recorded.user, recorded.last);
    restsAfter(recorded.system, recorded.last);
    process.user = timeline_.held(recorded.user);
    process.system = timeline_.held(recorded.system);
    process.residentKB = timeline_.read(recorded.rss);
    process.proportionalKB = timeline_.read(recorded.pss);
    process.privateKB = timeline_.read(recorded.own);
    process.virtualOverTime = timeline_.read(recorded.virtualKB);
    process.life.from = recorded.first > 0 ? std::max<Microseconds>(timeline_.middle(recorded.first), 0) : 0;
    process.life.to = timeline_.turn(recorded.last);
    board_.processes.push_back(std::move(process));
  }
}

void Recording::finishZones() {
  for (std::size_t number = 0; number < zones_.size(); ++number) {
    ZoneFile zone;
    zone.type = zones_[number].type;
    zone.temperature = timeline_.read(zones_[number].temperature);
    board_.zones.push_back(std::move(zone));
    hide("/sys/class/thermal/thermal_zone" + std::to_string(number), zones_[number].presence, {});
  }
}

void Recording::finishDisks() {
  constexpr std::size_t kSectorsRead = 2;
  constexpr std::size_t kSectorsWritten = 6;
  constexpr int kMinors = 16;
  for (const std::string& name : diskNames_) {
    Disk& recorded = disks_[name];
    DiskFile disk;
    disk.name = name;
    disk.minor = kMinors * static_cast<int>(board_.disks.size());
    disk.counters[kSectorsRead].perSecond = timeline_.held(recorded.read);
    disk.counters[kSectorsWritten].perSecond = timeline_.held(recorded.written);
    for (const auto& [column, sample] : recorded.wraps)
      disk.counters[column].wrapAt(timeline_.middle(sample), kBitsOfNoCounter);
    board_.disks.push_back(std::move(disk));

    // In the sample in which the disks changed there is what the next has.
    Presence presence = recorded.presence;
    std::set<std::size_t> unknown = disksUnread_;
    for (auto changed = disksChanged_.rbegin(); changed != disksChanged_.rend(); ++changed) {
      if (disksUnread_.count(*changed + 1) != 0 && disksChanged_.count(*changed + 1) == 0) continue;
      if (presence.holds(*changed + 1)) presence.samples.insert(*changed);
      unknown.erase(*changed);
    }
    hide("/sys/block/" + name, presence, unknown);
  }
}

void Recording::finishInterfaces() {
  for (const std::string& name : interfaceNames_) {
    const Interface& recorded = interfaces_[name];
    InterfaceFile interface;
    interface.name = name;
    for (std::size_t i = 0; i < kNetworkCounters; ++i)
      interface.counters[i].perSecond = timeline_.held(recorded.counters[i]);
    for (const auto& [counter, sample] : recorded.wraps)
      interface.counters[counter].wrapAt(timeline_.middle(sample), kBitsOfNoCounter);
    board_.interfaces.push_back(std::move(interface));
    // It was there when its first interval began.
    if (recorded.first > 0)
      addFault("/sys/class/net/" + name, {{}, Fault::Kind::kVanish, 0},
               {0, timeline_.middle(recorded.first - 1)});
  }
}

void Recording::finishGpu() {
  const bool anyMetric = std::any_of(gpuMetrics_.begin(), gpuMetrics_.end(), isAnyThere);
  if (!isAnyThere(gpuBusy_) && !isAnyThere(gpuMaxClock_) && !anyMetric) return;
  GpuFile& gpu = board_.gpu.emplace();
  gpu.busy = timeline_.read(gpuBusy_);
  if (isAnyThere(gpuMaxClock_)) gpu.maxMHz = timeline_.read(gpuMaxClock_);
  for (std::size_t i = 0; i < kMetrics; ++i) {
    if (isAnyThere(gpuMetrics_[i]))
      gpu.metrics.push_back({kGpuMetrics[i].id, kGpuMetrics[i].name, timeline_.read(gpuMetrics_[i])});
  }
}

// A DSP is asked at the start of each interval, for as long as that lasts.
void Recording::finishDsps() {
  constexpr int kRefused = 39;
  for (const std::string& name : dspNames_) {
    const Dsp& recorded = dsps_[name];
    if (!isAnyThere(recorded.load)) continue;
    board_.dsps.push_back({name, timeline_.read(recorded.load), timeline_.read(recorded.clock)});
    for (const std::size_t sample : recorded.silent) {
      Fault fault;
      fault.target = &kDspFaults;
      fault.name = name;
      fault.kind = Fault::Kind::kResult;
      fault.value = kRefused;
      fault.span = {timeline_.start(sample), timeline_.end(sample)};
      board_.faults.push_back(std::move(fault));
    }
  }
}

void Recording::finishDdr() {
  if (!hasDdr_) return;
  DdrFile& ddr = board_.ddr.emplace();
  for (std::size_t i = 0; i < kDdrFigures; ++i) {
    if (board_.hasNewerDdr()) {
      ddr.perSecond[i] = timeline_.read(ddr_[i]);
      continue;
    }
    // The older driver counts, and the figure was cut to a whole number: it is the middle of what it was.
    for (auto& figure : ddr_[i]) {
      if (figure && *figure) **figure += kOne / 2;
    }
    ddr.perSecond[i] = timeline_.held(ddr_[i]);
  }
}

bool Recording::anyCoreOffline(std::size_t first, std::size_t last) const {
  return std::any_of(cores_.begin(), cores_.end(), [&](const Core& core) {
    const auto next = core.offline.lower_bound(first);
    return next != core.offline.end() && *next <= last;
  });
}

// The lines of the cores changed, and changed back, without a sample in which a core was offline.
void Recording::cutProcessorLines() {
  for (auto first = linesChanged_.begin(); first != linesChanged_.end();) {
    auto last = first;
    while (std::next(last) != linesChanged_.end() && *std::next(last) == *last + 1) ++last;
    if (last != first && !anyCoreOffline(*first > 0 ? *first - 1 : 0, *last + 1)) {
      addFault("/proc/stat", {{}, Fault::Kind::kCut, 0}, {timeline_.middle(*first), timeline_.middle(*last)});
    }
    first = std::next(last);
  }
}

void Recording::finishFaults() {
  cutProcessorLines();
  for (const auto& [key, samples] : faults_) {
    const auto& [path, kind, value] = key;
    const Reason reason{path, static_cast<Fault::Kind>(kind), value};
    for (auto first = samples.begin(); first != samples.end();) {
      auto last = first;
      while (std::next(last) != samples.end() && *std::next(last) == *last + 1) ++last;
      Span span{timeline_.middle(*first), timeline_.turn(*last)};
      if (*first == 0) span.from = std::min<Microseconds>(span.from, 0);
      // The bandwidth monitor that could not begin an interval has no figure at its end.
      if (path == kProfilerNode && last != first) span.to = timeline_.middle(*last);
      addFault(path, reason, span);
      first = std::next(last);
    }
  }
}

void Recording::addFault(const std::string& path, const Reason& reason, Span span) {
  Fault fault;
  fault.target = &kRecordedFaults;
  fault.name = path;
  fault.kind = reason.kind;
  fault.value = reason.value;
  fault.span = span;
  board_.faults.push_back(std::move(fault));
}

void Recording::hide(const std::string& path, const Presence& presence,
                     const std::set<std::size_t>& unknown) {
  bool isThere = true;
  Microseconds since = 0;
  for (std::size_t sample = 0; sample < timeline_.size(); ++sample) {
    if (unknown.count(sample) != 0 || presence.holds(sample) == isThere) continue;
    const Microseconds now =
        sample > 0 ? timeline_.middle(sample) : std::min<Microseconds>(timeline_.start(0), 0);
    if (!isThere) addFault(path, {{}, Fault::Kind::kVanish, 0}, {since, now});
    since = now;
    isThere = !isThere;
  }
  if (!isThere) addFault(path, {{}, Fault::Kind::kVanish, 0}, {since, kForever});
}

}  // namespace

bool isRecording(const std::string& text) {
  const std::size_t end = text.find('\n');
  return text.compare(0, 1, "{") == 0 && end != std::string::npos &&
         text.substr(0, end).find("\"schema\":\"tessary-record\"") != std::string::npos &&
         text.substr(0, end).find("\"recording\"") == std::string::npos;
}

void readRecording(const std::string& text, const JsonSource& source, BoardFile& board) {
  Recording recording{board};
  int number = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    if (end == std::string::npos) break;  // cut while it was written
    const Json line = parseJson(text.substr(at, end - at), source.file, ++number);
    const JsonValue value{source, line, ""};
    number == 1 ? recording.header(value) : recording.sample(value);
    at = end + 1;
  }
  recording.finish();
}

void readRecording(const JsonValue& list, BoardFile& board) {
  Recording recording{board};
  const std::vector<JsonValue> lines = list.items();
  if (lines.empty()) list.fail("has no header");
  recording.header(lines.front());
  for (std::size_t i = 1; i < lines.size(); ++i) recording.sample(lines[i]);
  recording.finish();
}

}  // namespace simulator
