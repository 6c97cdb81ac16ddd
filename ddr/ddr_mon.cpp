#include "tessary/ddr_mon.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "base/console.h"
#include "base/table.h"
#include "ddr/profiler_device.h"
#include "tessary/board.h"

uint32_t offset_reg_values[24];

namespace ddr {

namespace {

using State = DDR_MON::DDR_MON_INTERFACE;

constexpr int kFigures = 6;
constexpr int kDefaultSamplingTime = 1000;  // milliseconds
constexpr double kMillisecondsInSecond = 1000.0;

// Counts of the raw counters in one unit of a figure.
constexpr std::int64_t kCountsInA = 8192;
constexpr std::int64_t kCountsInB = 65536;

constexpr configurationRecord kSetUp{{6, 0x09200000, 0x00100000, 6}};

constexpr std::uint32_t kOffsetsA[] = {0x36060, 0x36064};
constexpr std::uint32_t kOffsetsB[] = {0xab0c4, 0xab0cc};

void fillRegisterOffsets() {
  for (std::size_t word = 0; word < 12; ++word) {
    offset_reg_values[word] = kOffsetsA[word % 2];
    offset_reg_values[word + 12] = kOffsetsB[word % 2];
  }
}

// Sends a command in the record that the monitor has. A monitor whose record was refused the memory has none,
// and its commands fail like those on a device that is not there.
int sendCommand(State& state, Command command) {
  if (state.gen3Command != nullptr) {
    state.gen3Command->command = command;
    return ::ioctl(state.descriptor, kGen3Command, state.gen3Command);
  }
  if (state.legacyCommand != nullptr) {
    state.legacyCommand->command = command;
    return ::ioctl(state.descriptor, kLegacyCommand, state.legacyCommand);
  }
  return -1;
}

void noteStart(State& state, int result) {
  if (result == 0) return;
  if (result == kDeviceNotSigned) {
    std::puts("BWProfiler: Device is not signed for profiling");
    std::puts(
        "Contact the platform vendor's system-performance support to have profiling access enabled for this "
        "device.");
  } else {
    std::printf("BWProfiler: ioctl call start failed with ret = %d", result);
  }
  state.errorFlag = 1;
}

void noteFailure(const State& state) {
  if (state.errorFlag != 0) tessary::printLine("Failure in DDR Profiler.");
}

// Each request is made whatever became of the one before.
void startLegacy(State& state) {
  noteStart(state, sendCommand(state, kStart));
  noteFailure(state);
  if (state.legacyCommand != nullptr) state.legacyCommand->started = 1;
  noteStart(state, ::ioctl(state.descriptor, kConfiguration, &state.configuration));
  fillRegisterOffsets();
  noteStart(state, ::ioctl(state.descriptor, kRegisterOffsets, offset_reg_values));
}

// In whole units per second, truncated twice: the units, then the rate. Six 32-bit counters over a
// millisecond or more stay far within 64 bits.
std::int64_t rate(const counterPair (&pairs)[6], std::int32_t counterPair::*counter,
                  std::int64_t countsInUnit, double factor) {
  std::int64_t sum = 0;
  for (const counterPair& pair : pairs) sum += pair.*counter;
  const std::int64_t units = sum / countsInUnit;
  return static_cast<std::int64_t>(static_cast<double>(units) * factor);
}

void storeHalf(std::uint64_t* figures, std::int64_t first, std::int64_t second) {
  figures[0] = static_cast<std::uint64_t>(first);
  figures[1] = static_cast<std::uint64_t>(second);
  figures[2] = static_cast<std::uint64_t>(first + second);
}

}  // namespace

DDR_MON::DDR_MON() : samplingTime(kDefaultSamplingTime), implementation(new DDR_MON_INTERFACE) {
  tessary::printLine("DDR_MON constructor called");
  count = kFigures;
}

DDR_MON::~DDR_MON() {
  implementation.reset();
  tessary::printLine("DDR_MON destructor called");
}

void DDR_MON::tessary_setSamplingTime(int ms) {
  if (ms > 0) samplingTime = ms;
}

uint64_t* DDR_MON::tessary_getDDRStats() { return implementation->getDDRStats(samplingTime); }

DDR_MON::DDR_MON_INTERFACE::DDR_MON_INTERFACE()
    : results(nullptr),
      count(kFigures),
      descriptor(-1),
      legacyCommand(nullptr),
      gen3Command(nullptr),
      configuration(kSetUp),
      errorFlag(0) {
  tessary::printLine("Entered the DDR_MON constructor");
  checkMachineName();
  if (gen3Machine) {
    gen3Command = tessary::allocateTable<gen3CommandRecord>();
  } else {
    legacyCommand = tessary::allocateTable<legacyCommandRecord>();
  }
  results = tessary::allocateTable<uint64_t>(kFigures);

  descriptor = ::open(kProfilerDevice, O_RDWR | O_CLOEXEC);
  if (descriptor < 0) {
    std::printf("BWProfiler: Failed to open /dev/profiler device");
    errorFlag = 1;
  }
  if (gen3Machine) {
    noteStart(*this, sendCommand(*this, kStart));
  } else {
    startLegacy(*this);
  }
  noteFailure(*this);
}

DDR_MON::DDR_MON_INTERFACE::~DDR_MON_INTERFACE() {
  const int result = sendCommand(*this, kClose);
  if (result != 0) {
    std::printf("BWProfiler: ioctl call close failed with ret = %d", result);
    errorFlag = 1;
  }
  if (descriptor >= 0) ::close(descriptor);
  std::free(legacyCommand);
  std::free(gen3Command);
  std::free(results);
}

uint64_t* DDR_MON::DDR_MON_INTERFACE::getDDRStats(int samplingTimeMs) {
  const int result = sendCommand(*this, kGet);
  if (result != 0) {
    std::printf("BWProfiler: ioctl call get failed with ret = %d", result);
    errorFlag = 1;
  }
  if (results == nullptr) errorFlag = 1;
  if (errorFlag != 0) {
    tessary::printLine("Error in DDR Profiling.");
    return nullptr;
  }
  if (gen3Command != nullptr) {
    const gen3CommandRecord& figures = *gen3Command;
    const std::uint64_t ordered[kFigures] = {figures.a1, figures.a2, figures.aTotal,
                                             figures.b1, figures.b2, figures.bTotal};
    std::copy(std::begin(ordered), std::end(ordered), results);
    return results;
  }
  const legacyCommandRecord& counters = *legacyCommand;
  const double factor = kMillisecondsInSecond / (samplingTimeMs > 0 ? samplingTimeMs : kDefaultSamplingTime);
  storeHalf(results, rate(counters.a, &counterPair::first, kCountsInA, factor),
            rate(counters.a, &counterPair::second, kCountsInA, factor));
  storeHalf(results + 3, rate(counters.b, &counterPair::first, kCountsInB, factor),
            rate(counters.b, &counterPair::second, kCountsInB, factor));
  return results;
}

}  // namespace ddr
