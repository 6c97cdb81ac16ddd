#include <tessary/cpu_mon.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <numeric>

#include "tools/sections/sections.h"

namespace tool {

namespace {

enum Origin { kStat, kClock, kCapacity, kPlatform, kSoc, kFuses };

constexpr char kCpuLine[] = "cpu";

const std::vector<Source> kSources{
    {"/proc/stat", checkHolding<kCpuLine>, "is /proc mounted?"},
    {"/sys/devices/system/cpu/cpu#/cpufreq/cpuinfo_cur_freq", checkNumber,
     "the core is offline, or the kernel has no cpufreq driver for it (virtual machines have none)"},
    {"/sys/devices/system/cpu/cpu#/cpu_capacity", checkNumber,
     "the kernel gives no capacities, or the core is offline; each core weighs the same without"},
    {"getprop ro.board.platform", checkCommand, "Android's property tool: no other system has it"},
    {"/sys/devices/soc0/machine", checkText, "the kernel needs the SoC information driver of the board"},
    {"/sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem", checkText,
     "the kernel needs the fuse driver of the board"},
};

constexpr char kLinesChanged[] = "/proc/stat: the lines of the cores changed: one went on- or offline";
constexpr int kUnread = -1;  // clocks and capacities are positive

std::size_t countWords(const char* text) {
  std::size_t words = 0;
  for (char before = ' '; *text != '\0'; before = *text++) words += before == ' ' && *text != ' ' ? 1 : 0;
  return words;
}

// The cores that have a line in /proc/stat, in its order. The library takes the lines by position; an offline
// core has none, so that the lines below it move up.
std::vector<int> coreLines() {
  constexpr std::size_t kCounters = 10;
  std::ifstream stat{"/proc/stat"};
  std::vector<int> cores;
  std::string line;
  std::getline(stat, line);  // the aggregate
  while (std::getline(stat, line)) {
    int core = 0;
    int label = 0;
    if (std::sscanf(line.c_str(), "cpu%d%n", &core, &label) != 1) break;
    if (countWords(line.c_str() + label) < kCounters) break;
    cores.push_back(core);
  }
  return cores;
}

// The kernel corrects its idle and iowait counters by a tick or two now and then, so that an idle core may
// come out a little below 0 and a busy one above 100. What is further off is no load.
Value percentage(double value) {
  constexpr double kCorrection = 10;
  if (!std::isfinite(value)) return Absent{"its counters stood still"};
  if (value < -kCorrection || value > 100 + kCorrection) return Absent{"/proc/stat: its counters went back"};
  return std::clamp(value, 0.0, 100.0);
}

class CpuSection : public Section {
 public:
  explicit CpuSection(const Plan& plan) : cores_{static_cast<std::size_t>(std::max(monitor_.numCores, 0))} {
    monitor_.tessary_setSamplingTime(plan.intervalMs);
    identify();
  }

  std::vector<std::function<void()>> waits() override {
    return {[this] {
      before_ = coreLines();
      usage_ = monitor_.tessary_getPerCoreUsage();
      after_ = coreLines();
    }};
  }

  Sample read() override {
    readClocks();
    std::vector<Row> rows;
    for (std::size_t core = 0; core < cores_; ++core) {
      rows.push_back({static_cast<std::int64_t>(core), share(core, usage_),
                      share(core, monitor_.tessary_getPerCoreStealTime()), clock(core), capacity(core),
                      capacityShare(core)});
    }
    Row fields{static_cast<std::int64_t>(cores_), total(usage_),
               total(monitor_.tessary_getPerCoreStealTime())};
    fields.insert(fields.end(), identity_.begin(), identity_.end());
    return {{{fields}, {}}, {rows, {}}};
  }

 private:
  cpu::CPU_MON::CPU_MON_INTERFACE& inner() { return *monitor_.implementation; }

  // What does not change as long as the tool runs.
  void identify() {
    inner().validateBoardInfo(&inner());
    const auto word = [](const char* text, Origin origin) -> Value {
      const Source& source = kSources[origin];
      if (text[0] == '\0') return absentBecause(source, source.target, "it could not be read");
      return std::string{text};
    };
    const Value platform = word(inner().platformName, kPlatform);
    const Value soc = word(inner().socName, kSoc);
    // Without the node the library takes no output for the number 0.
    const Finding fuses = checkText(kSources[kFuses].target);
    const Value feature = fuses.state == State::kRead
                              ? Value{inner().featureID}
                              : Value{Absent{std::string{kSources[kFuses].target} + ": " + fuses.error}};
    const bool named = platform.index() != 0 && soc.index() != 0;
    const Value valid =
        named ? Value{inner().boardValid == 1} : Value{Absent{"the board's names are not known"}};
    identity_ = {platform, soc, feature, valid};
  }

  // The row of a table of the library that belongs to the core, or why there is none.
  Value share(std::size_t core, const double* table) const {
    if (usage_ == nullptr || table == nullptr) return notMeasured();
    if (before_ != after_) return Absent{kLinesChanged};
    const auto line = std::find(after_.begin(), after_.end(), static_cast<int>(core));
    if (line == after_.end()) return Absent{"the core is offline: it has no line in /proc/stat"};
    const std::size_t row = static_cast<std::size_t>(line - after_.begin()) + 1;
    return row <= cores_ ? percentage(table[row])
                         : Value{Absent{"/proc/stat: more cores than are configured"}};
  }

  static Absent notMeasured() {
    return absentBecause(kSources[kStat], kSources[kStat].target, "the library could not measure it");
  }

  // The library's own total while each row is the core's of its number; else the same sum over the cores that
  // have a line, since the library's counts lines that are no cores.
  Value total(const double* table) const {
    if (usage_ == nullptr || table == nullptr) return notMeasured();
    std::vector<int> inPlace(cores_);
    std::iota(inPlace.begin(), inPlace.end(), 0);
    if (before_ == inPlace && after_ == inPlace) return percentage(table[0]);
    double sum = 0;
    for (const int core : after_) {
      const auto online = static_cast<std::size_t>(core);
      Value figure = share(online, table);
      if (figure.index() == 0) return figure;
      if (online < cores_) sum += std::get<double>(figure) * weight(online);
    }
    return after_.empty() ? Value{notMeasured()} : percentage(sum);
  }

  double weight(std::size_t core) const {
    const float* const shares = monitor_.implementation->cpuFactor;
    return shares != nullptr ? static_cast<double>(shares[core]) : 1.0 / static_cast<double>(cores_);
  }

  // The library stops at the first core without a clock, and leaves an entry alone whose node holds no
  // number.
  void readClocks() {
    if (inner().cpuFrequency != nullptr) std::fill_n(inner().cpuFrequency, cores_, std::int64_t{kUnread});
    monitor_.tessary_getCPUFrequency();
  }

  static Value fromNode(Origin origin, std::size_t core) {
    return numberOf(kSources[origin], expanded(kSources[origin].target, std::to_string(core)));
  }

  Value clock(std::size_t core) {
    const std::int64_t* const clocks = inner().cpuFrequency;
    return clocks != nullptr && clocks[core] > 0 ? Value{clocks[core]} : fromNode(kClock, core);
  }

  Value capacity(std::size_t core) {
    const int* const capacities = inner().cpuCapacity;
    if (capacities == nullptr || capacities[core] <= 0) return fromNode(kCapacity, core);
    return static_cast<std::int64_t>(capacities[core]);
  }

  Value capacityShare(std::size_t core) {
    const float* const shares = inner().cpuFactor;
    if (shares != nullptr) return finite(static_cast<double>(shares[core]), "no capacity is above 0");
    Value own = capacity(core);
    if (own.index() == 0) return own;
    return Absent{"the library could not read the capacity of every core"};
  }

  cpu::CPU_MON monitor_;
  std::size_t cores_;
  Row identity_;
  std::vector<int> before_;  // coreLines()
  std::vector<int> after_;
  const double* usage_ = nullptr;
};

}  // namespace

const SectionInfo kCpuSection{"cpu",
                              "CPU",
                              {{nullptr,
                                {{"cores_configured", "cores", kPlain, true},
                                 {"load_percent", "load", kPercent},
                                 {"steal_percent", "steal", kPercent},
                                 {"platform", "platform"},
                                 {"soc", "SoC"},
                                 {"feature_id", "feature ID"},
                                 {"board_validated", "board known"}}},
                               {"cores",
                                {{"core", "core", kPlain, true},
                                 {"load_percent", "load", kPercent},
                                 {"steal_percent", "steal", kPercent},
                                 {"clock_khz", "clock", kKilohertz},
                                 {"capacity", "capacity"},
                                 {"capacity_share", "share", kFraction}}}},
                              kSources,
                              openSection<CpuSection>};

}  // namespace tool
