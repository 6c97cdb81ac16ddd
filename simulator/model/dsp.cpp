#include <dlfcn.h>

#include <algorithm>

#include "simulator/devices/dsp_service.h"
#include "simulator/model/model.h"

namespace simulator {

namespace {

constexpr int kNoSuchDsp = 1;

const DspFile* findDsp(const BoardFile& file, const std::string& name) {
  const auto found =
      std::find_if(file.dsps.begin(), file.dsps.end(), [&](const DspFile& dsp) { return dsp.name == name; });
  return found != file.dsps.end() ? &*found : nullptr;
}

int refusal(const BoardFile& file, const std::string& dsp, Microseconds now) {
  if (findDsp(file, dsp) == nullptr) return kNoSuchDsp;
  for (const Fault& fault : file.faults) {
    if (fault.target == Fault::Target::kDsp && fault.name == dsp && fault.span.holds(now)) return fault.value;
  }
  return 0;
}

// Where the simulator is preloaded, the remote-call library lies beside it.
std::string libraryFolder() {
  Dl_info simulator{};
  ::dladdr(reinterpret_cast<const void*>(&layOutDsps), &simulator);
  const std::string path = simulator.dli_fname != nullptr ? simulator.dli_fname : "";
  const std::size_t name = path.rfind("/libtessary_board.so");
  return name != std::string::npos ? path.substr(0, name) + "/dsp" : TESSARY_DSP_LIBRARY_FOLDER;
}

}  // namespace

void layOutDsps(Board& board, const SharedFile& file) {
  if (file->dsps.empty()) return;
  auto service = std::make_shared<DspService>(board, libraryFolder());
  service->keepCalls(board.keepsHistory());
  service->profile([file](const std::string& name, Nanoseconds time) {
    const DspFile* const dsp = findDsp(*file, name);
    if (dsp == nullptr) return DspFigures{};
    const Microseconds now = time / 1000;
    return DspFigures{static_cast<float>(static_cast<double>(dsp->load.at(now)) / kOne),
                      static_cast<std::uint32_t>(dsp->clock.at(now) / kOne), 0};
  });
  service->refuse([&board, file](const std::string& dsp) { return refusal(*file, dsp, boardTime(board)); });
  board.keep(std::move(service));
}

}  // namespace simulator
