// The public operations of the monitors, as the fault matrix takes them.
#ifndef TESSARY_TESTS_PROOF_OPERATIONS_H
#define TESSARY_TESTS_PROOF_OPERATIONS_H

#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/proof/matrix.h"

namespace proof {

std::vector<Operation> cpuOperations();
std::vector<Operation> processOperations();
std::vector<Operation> kernelOperations();  // memory, thermal zones, disks, interfaces
std::vector<Operation> deviceOperations();  // GPU, DSP, memory bus

// A construction: its outcome is the first sample, and the next one that of another monitor.
template <typename Monitor, typename Sample>
std::function<Trial()> constructing(Sample sample) {
  return [sample] {
    const auto monitor = std::make_shared<std::optional<Monitor>>();
    return Trial{[monitor] { monitor->emplace(); }, [monitor, sample] { return sample(**monitor); },
                 [monitor, sample] { return sample(monitor->emplace()); }};
  };
}

// A call of a monitor: what it hands out is kept, and shown later. `prepare` has been done to the monitor before.
template <typename Monitor, typename Call, typename Show, typename Prepare>
std::function<Trial()> calling(Call call, Show show, Prepare prepare) {
  using Result = std::decay_t<std::invoke_result_t<Call, Monitor&>>;
  return [call, show, prepare] {
    struct State {
      Monitor monitor;
      Result result{};
    };
    const auto state = std::make_shared<State>();
    prepare(state->monitor);
    return Trial{[state, call] { state->result = call(state->monitor); },
                 [state, show] { return show(state->result); },
                 [state, call, show] { return show(state->result = call(state->monitor)); }};
  };
}
template <typename Monitor, typename Call, typename Show>
std::function<Trial()> calling(Call call, Show show) {
  return calling<Monitor>(call, show, [](Monitor&) {});
}

}  // namespace proof

#endif
