#include <string_view>
#include <utility>

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

namespace {

constexpr const char* kOtherCounters[] = {
    "multicast",           "rx_compressed",     "rx_crc_errors",    "rx_errors",    "rx_fifo_errors",
    "rx_frame_errors",     "rx_length_errors",  "rx_missed_errors", "rx_nohandler", "rx_over_errors",
    "tx_aborted_errors",   "tx_carrier_errors", "tx_compressed",    "tx_errors",    "tx_fifo_errors",
    "tx_heartbeat_errors", "tx_window_errors"};

// Inter-|   Receive                                                |  Transmit
//  face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls ..
std::string devText(const BoardFile& file, Microseconds now) {
  std::string text =
      "Inter-|   Receive                                                |  Transmit\n"
      " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo "
      "colls carrier compressed\n";
  for (const InterfaceFile& interface : file.interfaces) {
    const auto figure = [&](std::string_view name) -> unsigned long long {
      for (std::size_t i = 0; i < kNetworkCounters; ++i) {
        if (kNetworkKeys[i] == name) return interface.counters[i].at(now);
      }
      return 0;
    };
    append(text, "%6s: %7llu %7llu    0 %4llu    0     0          0         0", interface.name.c_str(),
           figure("rx_bytes"), figure("rx_packets"), figure("rx_dropped"));
    append(text, " %8llu %7llu    0 %4llu    0 %5llu       0          0\n", figure("tx_bytes"),
           figure("tx_packets"), figure("tx_dropped"), figure("collisions"));
  }
  return text;
}

// No program of the board's has a socket.
constexpr char kInternet[] =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n";
constexpr std::pair<const char*, const char*> kSockets[] = {
    {"raw", kInternet},
    {"raw6", kInternet},
    {"tcp", kInternet},
    {"tcp6", kInternet},
    {"udp", kInternet},
    {"udp6", kInternet},
    {"unix", "Num       RefCount Protocol Flags    Type St Inode Path\n"}};

// 02:00:00:00:00:02: of one's own making, by the second digit.
std::string addressOf(bool isLoopback, std::size_t index) {
  std::string text;
  append(text, isLoopback ? "00:00:00:00:00:00" : "02:00:00:00:%02zx:%02zx", index >> 8 & 0xff, index & 0xff);
  return text;
}

}  // namespace

void layOutInterfaces(Board& board, const SharedFile& file) {
  for (const auto& [name, heading] : kSockets) board.file(std::string{"/proc/net/"} + name, heading);
  board.file("/proc/net/dev", [&board, file] { return devText(*file, boardTime(board)); });
  for (std::size_t at = 0; at < file->interfaces.size(); ++at) {
    const InterfaceFile& interface = file->interfaces[at];
    const std::string folder = "/sys/class/net/" + interface.name + "/";
    const bool isLoopback = interface.name == "lo";
    const auto index = static_cast<std::int64_t>(at) + 1;
    board.file(folder + "address", addressOf(isLoopback, at + 1) + "\n");
    board.file(folder + "carrier", "1\n");
    board.file(folder + "flags", isLoopback ? "0x9\n" : "0x1003\n");
    board.file(folder + "ifindex", line(index));
    board.file(folder + "iflink", line(index));
    board.file(folder + "mtu", isLoopback ? "65536\n" : "1500\n");
    board.file(folder + "operstate", isLoopback ? "unknown\n" : "up\n");
    board.file(folder + "tx_queue_len", "1000\n");
    board.file(folder + "type", isLoopback ? "772\n" : "1\n");
    if (!isLoopback) {
      board.file(folder + "duplex", "full\n");
      board.file(folder + "speed", "1000\n");
    }
    for (std::size_t i = 0; i < kNetworkCounters; ++i) {
      const Counter& counter = interface.counters[i];
      const std::string node = folder + "statistics/" + kNetworkKeys[i];
      board.file(node,
                 [&board, file, &counter] { return std::to_string(counter.at(boardTime(board))) + "\n"; });
      hideWhileAbsent(board, file, node, counter.perSecond);
    }
    for (const char* const name : kOtherCounters) board.file(folder + "statistics/" + name, "0\n");
  }
}

}  // namespace simulator
