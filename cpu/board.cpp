#include "tessary/board.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "base/reading.h"
#include "cpu/cpu_log.h"
#include "tessary/cpu_mon.h"

bool gen3Machine = false;

namespace {

constexpr char kPlatformCommand[] = "getprop ro.board.platform";
constexpr char kSocCommand[] = "cat /sys/devices/soc0/machine";
constexpr char kFuseCommand[] = "cat /sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem | od -An -t d4";

constexpr char kGen3Platform[] = "brindle";

constexpr unsigned kFeatureShift = 20;
constexpr long kFeatureMask = 0xFF;

constexpr std::size_t kPlatformBytes = 10;

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The first word that can be read, cut to `limit`. No more is read than it takes: a process that the command
// left behind may hold the pipe open for as long as it lives, and another may write for ever.
std::string readWord(int descriptor, std::size_t limit) {
  std::string word;
  tessary::TextBuffer text;
  for (std::size_t total = 0; total < tessary::TextBuffer::kLongestText;) {
    const std::string_view piece = text.readOnce(descriptor);
    if (piece.empty()) break;
    total += piece.size();
    for (const char c : piece) {
      if (!isSpace(c)) word += c;
      if (word.size() == limit || (isSpace(c) && !word.empty())) return word;
    }
  }
  return word;
}

// The first word of the command's output, cut to the field; empty when there is none. False when the command
// could not be run.
template <std::size_t kBytes>
bool readWordOf(const char* command, char (&word)[kBytes]) {
  std::memset(word, 0, kBytes);
  const tessary::CommandStream output = tessary::runCommand(command);
  if (!output) return false;
  readWord(::fileno(output.get()), kBytes - 1).copy(word, kBytes - 1);
  return true;
}

template <std::size_t kBytes>
bool beginsWith(const char* name, const char (&prefix)[kBytes]) {
  return std::strncmp(name, prefix, ::strnlen(prefix, kBytes)) == 0;
}

}  // namespace

void checkMachineName() {
  char platform[kPlatformBytes];
  if (!readWordOf(kPlatformCommand, platform)) return;
  gen3Machine = std::string_view{platform}.find(kGen3Platform) != std::string_view::npos;
}

namespace cpu {

void CPU_MON::CPU_MON_INTERFACE::getFeatureID(CPU_MON_INTERFACE* target) {
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON : Getting the feature ID for the board.\n");
  char piece[20] = {};
  {
    const tessary::CommandStream output = tessary::runCommand(kFuseCommand);
    if (!output) {
      TESSARY_LOG_ERROR(kLog, "CPU_MON : popen() failed\n");
      target->featureID = -1;
      return;
    }
    // A line of the dump holds up to four words; the tail of the last line is what counts, even where it
    // begins within a word.
    while (std::fgets(piece, sizeof piece, output.get()) != nullptr) {
      TESSARY_LOG_VERBOSE(kLog, "CPU_MON : The read value = %s\n", piece);
    }
  }
  target->featureID = (std::strtol(piece, nullptr, 10) >> kFeatureShift) & kFeatureMask;
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON_INTERFACE : The feature ID = %lu\n",
                      static_cast<unsigned long>(target->featureID));
}

void CPU_MON::CPU_MON_INTERFACE::getPlatformName(CPU_MON_INTERFACE* target) {
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON : Getting the platform name.\n");
  char name[kPlatformBytes] = {};
  static_assert(sizeof name == sizeof target->platformName);
  std::memset(target->platformName, 0, sizeof target->platformName);
  if (!readWordOf(kPlatformCommand, name)) {
    TESSARY_LOG_ERROR(kLog, "CPU_MON_INTERFACE : popen() failed.\n");
    return;
  }
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON_INTERFACE : The buffer reads = %s\n", name);
  std::memcpy(target->platformName, name, sizeof name);
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON_INTERFACE: The platform name = %s\n", target->platformName);
}

void CPU_MON::CPU_MON_INTERFACE::getSOCName(CPU_MON_INTERFACE* target) {
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON : Reading the SOC name now.\n");
  char name[sizeof target->socName] = {};
  std::memset(target->socName, 0, sizeof target->socName);
  if (!readWordOf(kSocCommand, name)) {
    TESSARY_LOG_ERROR(kLog, "CPU_MON_INTERFACE : popen() failed.\n");
    return;
  }
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON_INTERFACE : The SOC name = %s\n", name);
  std::memcpy(target->socName, name, sizeof name);
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON_INTERFACE : The SOC name read from the object = %s\n", target->socName);
}

void CPU_MON::CPU_MON_INTERFACE::validateBoardInfo(CPU_MON_INTERFACE* target) {
  target->boardValid = -1;
  if (!beginsWith(target->platformName, boardInfoMap.platformName)) {
    TESSARY_LOG_ERROR(kLog,
                      "CPU_MON : The platform name is mismatched. Current platform %s is not supported.\n",
                      target->platformName);
    return;
  }
  const BoardInfoRow* model = nullptr;
  for (const BoardInfoRow& row : boardInfoMap.rows) {
    if (beginsWith(target->socName, row.socModel)) {
      model = &row;
      break;
    }
  }
  if (model == nullptr) {
    TESSARY_LOG_ERROR(kLog, "CPU_MON_INTERFACE : The SOC name %s is not supported.\n", target->socName);
    return;
  }
  TESSARY_LOG_VERBOSE(kLog, "CPU_MON_INTERFACE : The obtained SOC name = %s\n", target->socName);

  // The model's own feature ID is looked up in the table that it comes from, so a known model always passes;
  // the board's measured featureID takes no part.
  const uint32_t feature = model->featureID;
  const bool soldWithTwoFeatures =
      (beginsWith(target->socName, "VX2210") && (feature == 3 || feature == 4)) ||
      (beginsWith(target->socName, "VX4490AB") && (feature == 1 || feature == 3));
  for (const BoardInfoRow& row : boardInfoMap.rows) {
    if (feature == row.featureID) {
      TESSARY_LOG_VERBOSE(kLog,
                          "CPU_MON_INTERFACE : The obtained SOC name is validated with the feature ID.\n");
      target->boardValid = 1;
      return;
    }
    if (soldWithTwoFeatures) {
      TESSARY_LOG_VERBOSE(kLog,
                          "CPU_MON_INTERFACE : The obtained SOC name is validated with the featureID.\n");
      target->boardValid = 1;
      return;
    }
  }
  TESSARY_LOG_ERROR(kLog, "CPU_MON_INTERFACE : The SOC name %s is not supported.\n", target->socName);
}

}  // namespace cpu
