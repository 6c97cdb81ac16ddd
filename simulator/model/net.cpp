#include "simulator/model/model.h"

namespace simulator {

namespace {

void wrapInterface(BoardFile& file, Fault& fault) {
  for (InterfaceFile& interface : file.interfaces) {
    if (interface.name == fault.name) return wrapCounter(file, fault, kNetworkKeys, interface.counters);
  }
  failAsMissing(file, fault.namePlace);
}

}  // namespace

const FaultTarget kInterfaceFaults{"interface", FaultTarget::Names::kText, "wrap", wrapInterface, nullptr};

void layOutInterfaces(Board& board, const SharedFile& file) {
  for (const InterfaceFile& interface : file->interfaces) {
    const std::string folder = "/sys/class/net/" + interface.name + "/";
    board.file(folder + "operstate", "up\n");
    for (std::size_t i = 0; i < kNetworkCounters; ++i) {
      const Counter& counter = interface.counters[i];
      const std::string node = folder + "statistics/" + kNetworkKeys[i];
      board.file(node,
                 [&board, file, &counter] { return std::to_string(counter.at(boardTime(board))) + "\n"; });
      hideWhileAbsent(board, file, node, counter.perSecond);
    }
  }
}

}  // namespace simulator
