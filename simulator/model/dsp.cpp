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

void checkDsp(BoardFile& file, Fault& fault) {
  if (findDsp(file, fault.name) == nullptr) failAsMissing(file, fault.namePlace);
}

void armDsp(Board& board, const SharedFile& file, const Fault& fault) {
  DspService::active()->refuse([&board, file, &fault](const std::string& dsp) {
    return dsp == fault.name && fault.span.holds(boardTime(board)) ? fault.value : 0;
  });
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

const FaultTarget kDspFaults{"dsp", FaultTarget::Names::kText, "result", checkDsp, armDsp};

void layOutDsps(Board& board, const SharedFile& file) {
  if (file->dsps.empty()) return;
  auto service = std::make_shared<DspService>(board, libraryFolder());
  service->keepHistory(board.keepsHistory());
  service->profile([file](const std::string& name, Nanoseconds time) {
    const DspFile* const dsp = findDsp(*file, name);
    if (dsp == nullptr) return DspFigures{};
    const Microseconds now = time / 1000;
    return DspFigures{static_cast<float>(static_cast<double>(dsp->load.at(now)) / kOne),
                      static_cast<std::uint32_t>(dsp->clock.at(now) / kOne), 0};
  });
  service->refuse([file](const std::string& dsp) { return findDsp(*file, dsp) == nullptr ? kNoSuchDsp : 0; });
  board.keep(std::move(service));
}

}  // namespace simulator
