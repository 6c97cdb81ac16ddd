#include <tessary/cpu_mon.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "tools/sections/fresh.h"
#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

constexpr char kCpuLine[] = "cpu";

const Node kStat{"/proc/stat", checkHolding<kCpuLine>, "is /proc mounted?"};
const Node kClock{
    "/sys/devices/system/cpu/cpu#/cpufreq/cpuinfo_cur_freq", checkNumber,
    "the core is offline, or the kernel has no cpufreq driver for it (virtual machines have none)"};
const Node kCapacity{
    "/sys/devices/system/cpu/cpu#/cpu_capacity", checkNumber,
    "the kernel gives no capacities, or the core is offline; each core weighs the same without"};
const Node kPlatform{"getprop ro.board.platform", checkCommand,
                     "Android's property tool: no other system has it"};
const Node kSoc{"/sys/devices/soc0/machine", checkText,
                "the kernel needs the SoC information driver of the board"};
const Node kFuses{"/sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem", checkText,
                  "the kernel needs the fuse driver of the board"};

struct Processor {
  std::int64_t cores = 0;
  Value load;
  Value steal;
  Value user;
  Value nice;
  Value system;
  Value ioWait;
  Value platform;
  Value soc;
  Value featureId;
  Value known;
};

constexpr Column<Processor> kProcessorColumns[] = {
    {"cores_configured", "cores", kPlain, "Cores that the system is configured for, offline ones included.",
     get<&Processor::cores>, kFixed, kNeither, 0, "cores"},
    {"load_percent", "load", kPercent,
     "Load of the whole capacity, each core weighed by its share, from /proc/stat; waiting for I/O counts as "
     "busy.",
     get<&Processor::load>, kFigure, kMoreIsWorse},
    {"steal_percent", "steal", kPercent,
     "Time that the hypervisor gave to others, weighed like the load, from /proc/stat.",
     get<&Processor::steal>, kFigure, kMoreIsWorse},
    {"user_percent", "user", kPercent,
     "Time in programs, of all cores alike: the tool's own reading of /proc/stat.", get<&Processor::user>,
     kFigure, kMoreIsWorse},
    {"nice_percent", "nice", kPercent,
     "Time in programs of low priority, of all cores alike: the tool's own reading of /proc/stat.",
     get<&Processor::nice>, kFigure, kMoreIsWorse},
    {"system_percent", "system", kPercent,
     "Time in the kernel, of all cores alike: the tool's own reading of /proc/stat.", get<&Processor::system>,
     kFigure, kMoreIsWorse},
    {"iowait_percent", "I/O wait", kPercent,
     "Time idle with I/O outstanding, of all cores alike: the tool's own reading of /proc/stat.",
     get<&Processor::ioWait>, kFigure, kMoreIsWorse},
    {"platform", "platform", kPlain, "The board's platform, from getprop ro.board.platform.",
     get<&Processor::platform>, kFixed},
    {"soc", "SoC", kPlain, "The model of the SoC, from /sys/devices/soc0/machine.", get<&Processor::soc>,
     kFixed},
    {"feature_id", "feature ID", kPlain, "The SoC's variant, from its fuses.", get<&Processor::featureId>,
     kFixed},
    {"board_validated", "board known", kPlain, "Whether the library's table of boards has this one.",
     get<&Processor::known>, kFixed},
};
constexpr Table<Processor> kProcessor{nullptr, "", kProcessorColumns};

struct Core {
  std::int64_t number = 0;
  Value load;
  Value steal;
  Value clock;
  Value capacity;
  Value share;
};

constexpr Column<Core> kCoreColumns[] = {
    {"core", "core", kPlain, "The kernel's number of the core.", get<&Core::number>, kLabel},
    {"load_percent", "load", kPercent, "Time not idle, from /proc/stat; waiting for I/O counts as busy.",
     get<&Core::load>, kFigure, kMoreIsWorse},
    {"steal_percent", "steal", kPercent, "Time that the hypervisor gave to others, from /proc/stat.",
     get<&Core::steal>, kFigure, kMoreIsWorse, 1},
    {"clock_khz", "clock", kKilohertz,
     "The clock at the end of the interval, from cpufreq's cpuinfo_cur_freq.", get<&Core::clock>},
    {"capacity", "capacity", kPlain, "The kernel's cpu_capacity: the largest core has 1024.",
     get<&Core::capacity>, kFixed, kNeither, 2},
    {"capacity_share", "share", kFraction, "The core's part of the sum of all capacities.", get<&Core::share>,
     kFixed, kNeither, 3},
};
constexpr Table<Core> kCores{"cores", "core", kCoreColumns};

constexpr char kCapacityMissing[] = "the library could not read the capacity of every core";
constexpr char kLinesChanged[] = "/proc/stat: the lines of the cores changed: one went on- or offline";

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
  explicit CpuSection(const Plan&) : cores_{static_cast<std::size_t>(std::max(monitor_.numCores, 0))} {
    identify();
  }

  void begin(int waitMs) override { monitor_.tessary_setSamplingTime(waitMs); }

  std::vector<std::function<void()>> waits() override {
    return {[this] {
      before_ = cpuTimes();
      usage_ = monitor_.tessary_getPerCoreUsage();
      after_ = cpuTimes();
    }};
  }

  std::vector<TableSample> read() override {
    const double* const steal = monitor_.tessary_getPerCoreStealTime();
    readClocks();
    std::vector<Row> rows;
    for (std::size_t core = 0; core < cores_; ++core) {
      rows.push_back(kCores.row({static_cast<std::int64_t>(core), share(core, usage_), share(core, steal),
                                 clock(core), capacity(core), capacityShare(core)}));
    }
    Processor whole = identity_;
    whole.load = total(usage_);
    whole.steal = total(steal);
    whole.user = shareOfTime(&CpuTimes::Ticks::user);
    whole.nice = shareOfTime(&CpuTimes::Ticks::nice);
    whole.system = shareOfTime(&CpuTimes::Ticks::system);
    whole.ioWait = shareOfTime(&CpuTimes::Ticks::ioWait);
    return {{{kProcessor.row(whole)}, {}}, {rows, {}}};
  }

 private:
  cpu::CPU_MON::CPU_MON_INTERFACE& inner() { return *monitor_.implementation; }

  // What does not change as long as the tool runs.
  void identify() {
    inner().validateBoardInfo(&inner());
    const auto word = [](const char* text, const Node& node) -> Value {
      if (text[0] == '\0') return absentBecause(node, "it could not be read");
      return std::string{text};
    };
    identity_.cores = static_cast<std::int64_t>(cores_);
    identity_.platform = word(inner().platformName, kPlatform);
    identity_.soc = word(inner().socName, kSoc);
    // Without the node the library takes no output for the number 0.
    const Finding fuses = tried(kFuses);
    identity_.featureId = fuses.state == State::kRead
                              ? Value{inner().featureID}
                              : Value{Absent{std::string{kFuses.target} + ": " + fuses.error}};
    if (inner().featureID < 0)
      identity_.featureId = Absent{"the command that reads the fuses could not be run"};
    const bool named = !isAbsent(identity_.platform) && !isAbsent(identity_.soc);
    identity_.known =
        named ? Value{inner().boardValid == 1} : Value{Absent{"the board's names are not known"}};
  }

  // The row of a table of the library that belongs to the core, or why there is none.
  Value share(std::size_t core, const double* table) const {
    if (usage_ == nullptr || table == nullptr) return notMeasured();
    const std::vector<int>& lines = after_.cores;
    if (before_.cores != lines) return Absent{kLinesChanged};
    const auto line = std::find(lines.begin(), lines.end(), static_cast<int>(core));
    if (line == lines.end()) return Absent{"the core is offline: it has no line in /proc/stat"};
    const auto at = static_cast<std::size_t>(line - lines.begin());
    if (at >= cores_) return Absent{"/proc/stat: more cores than are configured"};
    if (isSinceStart(at)) return Absent{"/proc/stat: the library missed one of its two readings"};
    return percentage(table[at + 1]);
  }

  // The library takes a text that it cannot read for zeros: what it calls the load is that since the machine started
  // then, which is seldom that of the interval.
  bool isSinceStart(std::size_t at) const {
    constexpr double kSame = 0.5;
    constexpr double kOther = 5;
    const CpuTimes::Idle& before = before_.idle[at];
    const CpuTimes::Idle& after = after_.idle[at];
    const double sinceStart = 100 - after.idle * 100 / after.total;
    const double own = 100 - (after.idle - before.idle) * 100 / (after.total - before.total);
    return std::fabs(usage_[at + 1] - sinceStart) < kSame && std::fabs(usage_[at + 1] - own) > kOther;
  }

  static Absent notMeasured() { return absentBecause(kStat, "the library could not measure it"); }

  // The library's own total while each row is the core's of its number; else the same sum over the cores that
  // have a line, since the library's counts lines that are no cores.
  Value total(const double* table) const {
    if (usage_ == nullptr || table == nullptr) return notMeasured();
    if (sharesAreOff()) return Absent{kCapacityMissing};
    std::vector<int> inPlace(cores_);
    std::iota(inPlace.begin(), inPlace.end(), 0);
    if (before_.cores == inPlace && after_.cores == inPlace) {
      for (const int core : inPlace) {
        if (isSinceStart(static_cast<std::size_t>(core))) return share(static_cast<std::size_t>(core), table);
      }
      return percentage(table[0]);
    }
    double sum = 0;
    for (const int core : after_.cores) {
      const auto online = static_cast<std::size_t>(core);
      Value figure = share(online, table);
      if (isAbsent(figure)) return figure;
      if (online < cores_) sum += std::get<double>(figure) * weight(online);
    }
    return after_.cores.empty() ? Value{notMeasured()} : percentage(sum);
  }

  // A capacity that was opened and could not be read is 0 in the library's table, and makes all shares wrong.
  bool sharesAreOff() const {
    const int* const capacities = monitor_.implementation->cpuCapacity;
    const bool weighs = monitor_.implementation->cpuFactor != nullptr && capacities != nullptr;
    return weighs && std::any_of(capacities, capacities + cores_, [](int capacity) { return capacity <= 0; });
  }

  double weight(std::size_t core) const {
    const float* const shares = monitor_.implementation->cpuFactor;
    return shares != nullptr ? static_cast<double>(shares[core]) : 1.0 / static_cast<double>(cores_);
  }

  // A share of the time of all cores, by the processor's own line. The lines of its cores are its parts: when
  // they changed, the counters are those of others.
  Value shareOfTime(std::int64_t CpuTimes::Ticks::*counter) const {
    if (!before_.all || !after_.all)
      return absentBecause(kStat, "/proc/stat: its first line could not be read");
    if (before_.cores != after_.cores) return Absent{kLinesChanged};
    const CpuTimes::Ticks& before = *before_.all;
    const CpuTimes::Ticks& after = *after_.all;
    return percentage(static_cast<double>(after.*counter - before.*counter) /
                      static_cast<double>(after.total - before.total) * 100);
  }

  // The library stops at the first core without a clock, and leaves an entry alone whose node holds no
  // number.
  void readClocks() {
    std::int64_t* const clocks = inner().cpuFrequency;
    for (std::size_t core = 0; clocks != nullptr && core < cores_; ++core) markStale(clocks[core]);
    monitor_.tessary_getCPUFrequency();
  }

  Value clock(std::size_t core) {
    const std::int64_t* const clocks = inner().cpuFrequency;
    return clocks != nullptr && isFresh(clocks[core]) ? Value{clocks[core]}
                                                      : numberOf(kClock, std::to_string(core));
  }

  // The library's table has a 0 for each core from the first on whose node it could not read.
  Value capacity(std::size_t core) {
    const int* const capacities = inner().cpuCapacity;
    if (capacities == nullptr || capacities[core] <= 0) return numberOf(kCapacity, std::to_string(core));
    return static_cast<std::int64_t>(capacities[core]);
  }

  Value capacityShare(std::size_t core) {
    const float* const shares = inner().cpuFactor;
    if (sharesAreOff()) return Absent{kCapacityMissing};
    if (shares != nullptr) return finite(static_cast<double>(shares[core]), "no capacity is above 0");
    Value own = capacity(core);
    if (isAbsent(own)) return own;
    return Absent{kCapacityMissing};
  }

  cpu::CPU_MON monitor_;
  std::size_t cores_;
  Processor identity_;  // its figures are each sample's
  CpuTimes before_;
  CpuTimes after_;
  const double* usage_ = nullptr;
};

}  // namespace

const SectionInfo& cpuSection() {
  static const SectionInfo info{{"cpu", "CPU", {kProcessor.info(), kCores.info()}},
                                {kStat, kClock, kCapacity, kPlatform, kSoc, kFuses},
                                openSection<CpuSection>};
  return info;
}

}  // namespace tool
