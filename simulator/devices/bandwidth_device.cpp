#include "simulator/devices/bandwidth_device.h"

#include <sys/ioctl.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace simulator {

namespace {

// What the commands look like from the driver's side: a record of 32-bit words, of which one is the command
// and some are written at a get.
struct CommandSet {
  BandwidthDevice::Interface interface;
  std::uint32_t code;
  std::size_t commandWord;
  std::size_t firstFigure;
  std::size_t lastFigure;
};

constexpr CommandSet kCommandSets[] = {
    {BandwidthDevice::Interface::kOlder, 0xc0689801, 0, 2, 25},
    {BandwidthDevice::Interface::kNewer, 0xc01c9804, 6, 0, 5},
};
constexpr std::uint32_t kRegisterOffsets = 0xc0609802;
constexpr std::uint32_t kConfiguration = 0xc0109803;
constexpr std::uint32_t kStart = 1;
constexpr std::uint32_t kGet = 2;

}  // namespace

BandwidthDevice::BandwidthDevice(Board& board) : state_{std::make_shared<State>()} {
  board.device(kPath, [state = state_](unsigned long request, void* record) {
    return state->handle(static_cast<std::uint32_t>(request), record);
  });
}

int BandwidthDevice::State::handle(std::uint32_t code, void* record) {
  std::vector<std::uint32_t> words(_IOC_SIZE(code) / sizeof(std::uint32_t));
  std::memcpy(words.data(), record, words.size() * sizeof(std::uint32_t));
  requests.add({code, words});

  const auto scripted = results.find(++made);
  const int answer = scripted != results.end() ? scripted->second : result;
  if (answer != 0) return answer;

  for (const CommandSet& set : kCommandSets) {
    if (set.code != code) continue;
    if (interface && *interface != set.interface) return -ENOTTY;
    if (words[set.commandWord] == kStart && onStart) onStart();
    if (words[set.commandWord] == kGet) {
      for (std::size_t word = set.firstFigure; word <= set.lastFigure; ++word) {
        words[word] = figures ? figures(static_cast<int>(word)) : 0;
      }
      std::memcpy(record, words.data(), words.size() * sizeof(std::uint32_t));
    }
    return 0;
  }
  return code == kRegisterOffsets || code == kConfiguration ? 0 : -ENOTTY;
}

}  // namespace simulator
