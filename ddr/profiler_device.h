// The requests of the kernel's bandwidth profiler, /dev/profiler.
#ifndef TESSARY_DDR_PROFILER_DEVICE_H
#define TESSARY_DDR_PROFILER_DEVICE_H

#include <sys/ioctl.h>

#include <cstddef>
#include <cstdint>

#include "tessary/ddr_mon.h"

namespace ddr {

// What ioctl takes as its request: the C libraries differ.
#ifdef __ANDROID__
using RequestCode = int;
#else
using RequestCode = unsigned long;
#endif

constexpr char kProfilerDevice[] = "/dev/profiler";

// The driver takes the size of each record, and the request code carries it.
static_assert(sizeof(legacyCommandRecord) == 104 && offsetof(legacyCommandRecord, a) == 8 &&
              offsetof(legacyCommandRecord, b) == 56);
static_assert(sizeof(offset_reg_values) == 96);
static_assert(sizeof(configurationRecord) == 16);
static_assert(sizeof(gen3CommandRecord) == 28 && offsetof(gen3CommandRecord, command) == 24);

constexpr auto kLegacyCommand = static_cast<RequestCode>(_IOWR(0x98, 1, legacyCommandRecord));
constexpr auto kRegisterOffsets = static_cast<RequestCode>(_IOWR(0x98, 2, decltype(offset_reg_values)));
constexpr auto kConfiguration = static_cast<RequestCode>(_IOWR(0x98, 3, configurationRecord));
constexpr auto kGen3Command = static_cast<RequestCode>(_IOWR(0x98, 4, gen3CommandRecord));

static_assert(static_cast<std::uint32_t>(kLegacyCommand) == 0xc0689801);
static_assert(static_cast<std::uint32_t>(kRegisterOffsets) == 0xc0609802);
static_assert(static_cast<std::uint32_t>(kConfiguration) == 0xc0109803);
static_assert(static_cast<std::uint32_t>(kGen3Command) == 0xc01c9804);

// The command word of both command records.
enum Command : std::uint32_t { kStart = 1, kGet = 2, kClose = 3 };

// The driver's answer to an unsigned device that wants to start profiling.
constexpr int kDeviceNotSigned = 7;

}  // namespace ddr

#endif
