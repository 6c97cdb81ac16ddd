#include <tessary/dsp_mon.h>

#include <cmath>
#include <limits>

#include "tools/sections/sections.h"

namespace tool {

namespace {

const std::vector<Source> kSources{
    {"libcdsprpc.so", checkLibrary, "the board's DSP remote-call library: no other machine has it"}};

constexpr float kUnread = std::numeric_limits<float>::quiet_NaN();

class DspSection : public Section {
 public:
  explicit DspSection(const Plan& plan)
      : intervalMs_{plan.intervalMs}, monitors_{{kAdsp, intervalMs_}, {kCdsp, intervalMs_}} {}

  // Each DSP measures for as long as its query lasts.
  std::vector<std::function<void()>> waits() override {
    std::vector<std::function<void()>> all;
    for (dsp::DSP_MON& monitor : monitors_) {
      all.push_back([&monitor] {
        monitor.implementation->load = kUnread;
        monitor.tessary_getDSPSample();
      });
    }
    return all;
  }

  Sample read() override {
    Sample sample(1);
    for (dsp::DSP_MON& monitor : monitors_) {
      const double load = static_cast<double>(monitor.implementation->load);
      const Value figure = !std::isnan(load) ? Value{load} : Value{reason(monitor)};
      const Value clock = figure.index() != 0
                              ? Value{static_cast<std::int64_t>(monitor.implementation->clockFrequency)}
                              : figure;
      sample[0].rows.push_back({std::string{monitor.implementation->name}, figure, clock});
    }
    return sample;
  }

 private:
  static Absent reason(const dsp::DSP_MON& monitor) {
    constexpr char kSilent[] = "the DSP's measuring service does not answer (--diagnostics shows its words)";
    if (monitor.implementation->state == 1) return {kSilent};
    return absentBecause(kSources[0], kSources[0].target, kSilent);
  }

  static constexpr int kAdsp = 2;
  static constexpr int kCdsp = 3;

  long intervalMs_;
  dsp::DSP_MON monitors_[2];
};

}  // namespace

const SectionInfo kDspSection{
    "dsp",
    "DSPs",
    {{"dsps", {{"dsp", "DSP", kPlain, true}, {"load", "load", {"", 1}}, {"clock", "clock"}}}},
    kSources,
    openSection<DspSection>};

}  // namespace tool
