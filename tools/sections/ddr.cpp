#include <tessary/ddr_mon.h>

#include <optional>

#include "tools/sections/sections.h"

namespace tool {

namespace {

const std::vector<Source> kSources{
    {"/dev/profiler", checkDevice, "the kernel needs the board's bandwidth profiler"},
    {"getprop ro.board.platform", checkCommand,
     "Android's property tool; the older device interface is used without"},
};

constexpr std::size_t kFigures = 6;

class DdrSection : public Section {
 public:
  explicit DdrSection(const Plan& plan) : intervalMs_{plan.intervalMs} {}

  // The device counts from the construction on, and from each reading to the next. A monitor that has failed
  // once fails for good: where there is a device, another one takes its place.
  void begin() override {
    if (monitor_ && (!failed_ || checkDevice(kSources[0].target).state != State::kRead)) return;
    monitor_.emplace();
    monitor_->tessary_setSamplingTime(intervalMs_);
  }

  std::vector<std::function<void()>> waits() override { return {sleepFor(intervalMs_)}; }

  Sample read() override {
    const std::uint64_t* const figures = monitor_->tessary_getDDRStats();
    failed_ = figures == nullptr;
    Row row;
    for (std::size_t figure = 0; figure < kFigures; ++figure) {
      row.push_back(!failed_ ? Value{static_cast<std::int64_t>(figures[figure])} : Value{reason()});
    }
    return {{{row}, {}}};
  }

 private:
  // The library keeps the device open, so that a second opening may be refused while it works.
  Absent reason() const {
    constexpr char kRefused[] =
        "/dev/profiler: the device refused a request (--diagnostics shows the library's words)";
    if (monitor_->implementation->descriptor >= 0) return {kRefused};
    return absentBecause(kSources[0], kSources[0].target, kRefused);
  }

  int intervalMs_;
  std::optional<ddr::DDR_MON> monitor_;
  bool failed_ = false;
};

}  // namespace

const SectionInfo kDdrSection{"ddr",
                              "Memory bus",
                              {{nullptr,
                                {{"a1", "A1"},
                                 {"a2", "A2"},
                                 {"a_total", "A total"},
                                 {"b1", "B1"},
                                 {"b2", "B2"},
                                 {"b_total", "B total"}}}},
                              kSources,
                              openSection<DdrSection>};

}  // namespace tool
