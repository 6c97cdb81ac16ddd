#include <tessary/dsp_mon.h>

#include "tools/sections/fresh.h"
#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

const Node kLibrary{"libcdsprpc.so", checkLibrary,
                    "the board's DSP remote-call library: no other machine has it"};

struct Dsp {
  std::string name;
  Value load;
  Value clock;
};

constexpr Format kLoad{kNumber, "", 1};

constexpr Column<Dsp> kColumns[] = {
    {"dsp", "DSP", kPlain, "The DSP's name.", get<&Dsp::name>, kLabel},
    {"load", "load", kLoad, "Its load, in the unit of its own measuring service.", get<&Dsp::load>, kFigure,
     kMoreIsWorse},
    {"clock", "clock", kPlain, "Its clock, in the unit of its own measuring service.", get<&Dsp::clock>},
};
constexpr Table<Dsp> kDsps{"dsps", "dsp", kColumns};

class DspSection : public Section {
 public:
  explicit DspSection(const Plan& plan)
      : monitors_{{kAdsp, long{plan.intervalMs}}, {kCdsp, long{plan.intervalMs}}} {}

  void begin(int waitMs) override {
    for (dsp::DSP_MON& monitor : monitors_) monitor.implementation->samplingTime = waitMs * kMicroseconds;
  }

  // Each DSP measures for as long as its query lasts.
  std::vector<std::function<void()>> waits() override {
    std::vector<std::function<void()>> all;
    for (dsp::DSP_MON& monitor : monitors_) {
      all.push_back([&monitor] {
        markStale(monitor.implementation->load);
        monitor.tessary_getDSPSample();
      });
    }
    return all;
  }

  std::vector<TableSample> read() override {
    TableSample sample;
    for (const dsp::DSP_MON& monitor : monitors_) {
      const auto& state = *monitor.implementation;
      const Dsp figures{state.name, static_cast<double>(state.load),
                        static_cast<std::int64_t>(state.clockFrequency)};
      sample.rows.push_back(isFresh(state.load) ? kDsps.row(figures)
                                                : kDsps.absentRow(figures, reason(monitor).reason));
    }
    return {sample};
  }

 private:
  static Absent reason(const dsp::DSP_MON& monitor) {
    constexpr char kSilent[] = "the DSP's measuring service does not answer (--diagnostics shows its words)";
    if (monitor.implementation->state == 1) return {kSilent};
    return absentBecause(kLibrary, kSilent);
  }

  static constexpr long kMicroseconds = 1000;  // in a millisecond
  static constexpr int kAdsp = 2;
  static constexpr int kCdsp = 3;

  dsp::DSP_MON monitors_[2];
};

}  // namespace

const SectionInfo& dspSection() {
  static const SectionInfo info{{"dsp", "DSPs", {kDsps.info()}}, {kLibrary}, openSection<DspSection>};
  return info;
}

}  // namespace tool
