#include <tessary/ddr_mon.h>

#include <cmath>
#include <optional>

#include "tools/figures/time_units.h"
#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

const Node kDevice{"/dev/profiler", checkDevice, "the kernel needs the board's bandwidth profiler"};
const Node kPlatform{"getprop ro.board.platform", checkCommand,
                     "Android's property tool; the older device interface is used without"};

using Traffic = const std::uint64_t*;  // the library's table of six

template <std::size_t kIndex>
Value at(const Traffic& traffic) {
  return static_cast<std::int64_t>(traffic[kIndex]);
}

constexpr Column<Traffic> kColumns[] = {
    {"a1", "A1", kPlain, "A1 of the bus, in the driver's unit, from /dev/profiler.", at<0>, kFigure,
     kMoreIsWorse, 1},
    {"a2", "A2", kPlain, "A2 of the bus, in the driver's unit, from /dev/profiler.", at<1>, kFigure,
     kMoreIsWorse, 1},
    {"a_total", "A total", kPlain, "All of A, in the driver's unit, from /dev/profiler.", at<2>, kFigure,
     kMoreIsWorse},
    {"b1", "B1", kPlain, "B1 of the bus, in the driver's unit, from /dev/profiler.", at<3>, kFigure,
     kMoreIsWorse, 1},
    {"b2", "B2", kPlain, "B2 of the bus, in the driver's unit, from /dev/profiler.", at<4>, kFigure,
     kMoreIsWorse, 1},
    {"b_total", "B total", kPlain, "All of B, in the driver's unit, from /dev/profiler.", at<5>, kFigure,
     kMoreIsWorse},
};
constexpr Table<Traffic> kTraffic{nullptr, "", kColumns};

class DdrSection : public Section {
 public:
  explicit DdrSection(const Plan&) {}

  // The device counts from the construction on, and from each reading to the next. A monitor that has failed
  // once fails for good: where there is a device, another one takes its place.
  void begin(int waitMs) override {
    waitMs_ = waitMs;
    if (monitor_ && (!failed_ || tried(kDevice).state != State::kRead)) return;
    monitor_.emplace();
    watch_.lap();
  }

  std::vector<std::function<void()>> waits() override { return {sleepFor(waitMs_)}; }

  std::vector<TableSample> read() override {
    constexpr std::uint64_t kNone[std::size(kColumns)] = {};
    // The library divides what the device counted since its last reading by this.
    monitor_->tessary_setSamplingTime(static_cast<int>(std::lround(watch_.lap() * kMillisecondsInSecond)));
    const Traffic figures = monitor_->tessary_getDDRStats();
    failed_ = figures == nullptr;
    return {{{failed_ ? kTraffic.absentRow(kNone, reason().reason) : kTraffic.row(figures)}, {}}};
  }

 private:
  // The library keeps the device open, so that a second opening may be refused while it works.
  Absent reason() const {
    constexpr char kRefused[] =
        "/dev/profiler: the device refused a request (--diagnostics shows the library's words)";
    if (monitor_->implementation->descriptor >= 0) return {kRefused};
    return absentBecause(kDevice, kRefused);
  }

  int waitMs_ = 0;
  Stopwatch watch_;  // since the device was read
  std::optional<ddr::DDR_MON> monitor_;
  bool failed_ = false;
};

}  // namespace

const SectionInfo& ddrSection() {
  static const SectionInfo info{
      {"ddr", "Memory bus", {kTraffic.info()}}, {kDevice, kPlatform}, openSection<DdrSection>};
  return info;
}

}  // namespace tool
