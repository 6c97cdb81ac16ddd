#include <unistd.h>

#include "tessary/board.h"
#include "tessary/ddr_mon.h"
#include "tessary/dsp_mon.h"
#include "tessary/gpu_mon.h"
#include "tests/proof/boards.h"
#include "tests/proof/operations.h"
#include "tests/proof/outcomes.h"

namespace proof {

namespace {

using ddr::DDR_MON;
using dsp::DSP_MON;
using gpu::GPU_MON;

// -- GPU

std::string lastSample(const GPU_MON& monitor) {
  const GPU_MON::GPU_MON_INTERFACE& state = *monitor.implementation;
  return shown(&state.clocksPerSecond, 5);  // five fields in a row
}

std::string sampled(GPU_MON& monitor) {
  monitor.tessary_getGPUSample();
  return lastSample(monitor);
}

bool isNothingSampled(const Fault&, const std::string& outcome, const std::string&) {
  return outcome == "0.000 0.000 0.000 0.000 0.000" || beginsWith(outcome, kOutOfRange);
}

std::function<Trial()> samplingTheGpu() {
  return [] {
    const auto monitor = std::make_shared<GPU_MON>();
    return Trial{[monitor] { monitor->tessary_getGPUSample(); }, [monitor] { return lastSample(*monitor); },
                 [monitor] { return sampled(*monitor); }};
  };
}

std::function<Trial()> readingTheMaximum() {
  return [] {
    const auto monitor = std::make_shared<GPU_MON>();
    const auto read = [monitor] { monitor->implementation->get_GPU_MaxClock(monitor->implementation.get()); };
    const auto clock = [monitor] { return shown(monitor->implementation->maxClock); };
    return Trial{read, clock, [read, clock] {
                   read();
                   return clock();
                 }};
  };
}

template <typename Monitor, typename Sample>
std::function<Trial()> ending(Sample sample) {
  return [sample] {
    const auto monitor = std::make_shared<std::optional<Monitor>>();
    monitor->emplace();
    return Trial{[monitor] { monitor->reset(); }, [] { return "ended"; },
                 [monitor, sample] { return sample(monitor->emplace()); }};
  };
}

std::string joinedHeaders(const std::vector<std::string>& headers) { return std::to_string(headers.size()); }

// -- DSP

struct Adsp : DSP_MON {
  Adsp() : DSP_MON(2) {}
};

std::string figures(DSP_MON& monitor, int result) {
  return std::to_string(result) + " " + shown(monitor.tessary_getDSPUtilization()) + " " +
         std::to_string(monitor.tessary_getDSPFrequency());
}

std::string sampled(DSP_MON& monitor) { return figures(monitor, monitor.tessary_getDSPSample()); }

// Without figures, or with the status of the query's end.
bool isNoSample(const Fault& fault, const std::string& outcome, const std::string& faultless) {
  return outcome == "-1 0.000 0" ||
         outcome == std::to_string(fault.failure->code) + faultless.substr(faultless.find(' '));
}

std::function<Trial()> samplingTheDsp() {
  return [] {
    struct State {
      Adsp monitor;
      int result = 0;
    };
    const auto state = std::make_shared<State>();
    return Trial{[state] { state->result = state->monitor.tessary_getDSPSample(); },
                 [state] { return figures(state->monitor, state->result); },
                 [state] { return sampled(state->monitor); }};
  };
}

// -- memory bus

constexpr int kFigures = 6;
constexpr useconds_t kInterval = 1000000;

std::string sampled(DDR_MON& monitor) {
  ::usleep(kInterval);
  return shown(monitor.tessary_getDDRStats(), kFigures);
}

bool isNull(const Fault&, const std::string& outcome, const std::string&) { return outcome == kNull; }

// A monitor that has failed once fails for good: the next is another.
std::function<Trial()> readingTheBus() {
  return [] {
    const auto monitor = std::make_shared<std::optional<DDR_MON>>();
    const auto result = std::make_shared<uint64_t*>();
    monitor->emplace();
    ::usleep(kInterval);
    return Trial{[monitor, result] { *result = (*monitor)->tessary_getDDRStats(); },
                 [result] { return shown(*result, kFigures); },
                 [monitor] { return sampled(monitor->emplace()); }};
  };
}

std::string sampledBus(DDR_MON& monitor) { return sampled(monitor); }

}  // namespace

std::vector<Operation> deviceOperations() {
  const auto gpuSample = [](GPU_MON& monitor) { return sampled(monitor); };
  return {
      {"gpu: construct", kPlatform, constructing<GPU_MON>(gpuSample), isNothingSampled},
      {"gpu: sample", kPlatform, samplingTheGpu(), isNothingSampled},
      {"gpu: busy percentage", kPlatform,
       calling<GPU_MON>([](GPU_MON& monitor) { return monitor.tessary_getGPUBusyPercent(); },
                        [](float busy) { return shown(busy); }),
       [](const Fault&, const std::string& outcome, const std::string&) {
         return isAny(outcome, {"-1.000", "0.000"});
       }},
      {"gpu: utilization", kPlatform,
       calling<GPU_MON>([](GPU_MON& monitor) { return monitor.tessary_getGPUUtilization(); },
                        [](float utilization) { return shown(utilization); },
                        [](GPU_MON& monitor) {
                          monitor.implementation->get_GPU_MaxClock(monitor.implementation.get());
                          monitor.tessary_getGPUSample();
                        })},
      {"gpu: maximum clock", kPlatform, readingTheMaximum(),
       [](const Fault&, const std::string& outcome, const std::string&) { return outcome == "-1.000"; }},
      {"gpu: headers", kPlatform,
       calling<GPU_MON>([](GPU_MON& monitor) { return monitor.tessary_getGPUHeaders(); }, joinedHeaders)},
      {"gpu: end", kPlatform, ending<GPU_MON>(gpuSample)},
      {"dsp: construct", kPlatform, constructing<Adsp>([](Adsp& monitor) { return sampled(monitor); }),
       isNoSample},
      {"dsp: sample", kPlatform, samplingTheDsp(), isNoSample},
      {"ddr: construct", kPlatform, constructing<DDR_MON>(sampledBus), isNull},
      {"ddr: figures", kPlatform, readingTheBus(), isNull},
      {"ddr: end", kPlatform, ending<DDR_MON>(sampledBus)},
      {"ddr, older: construct", kOlderPlatform, constructing<DDR_MON>(sampledBus), isNull},
      {"ddr, older: figures", kOlderPlatform, readingTheBus(), isNull},
      {"ddr, older: end", kOlderPlatform, ending<DDR_MON>(sampledBus)},
  };
}

}  // namespace proof
