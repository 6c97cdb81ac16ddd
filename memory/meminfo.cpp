#include "memory/meminfo.h"

#include <cstdint>
#include <cstring>

#include "base/scanner.h"

namespace memory {

namespace {

struct Field {
  std::string_view key;
  uint64_t memStats::*value;
};

// The first key that an entry begins with wins.
constexpr Field kFields[] = {
    {"MemTotal", &memStats::totalMem},
    {"MemFree", &memStats::freeMem},
    {"MemAvailable", &memStats::availableMem},
    {"Buffers", &memStats::buffers},
    {"Cached", &memStats::cached},
    {"SwapTotal", &memStats::totalSwap},
    {"SwapFree", &memStats::freeSwap},
};

void store(const char* key, uint64_t value, memStats& stats) {
  for (const Field& field : kFields) {
    // Most entries of the file are none of the seven, and differ in the first letter.
    if (key[0] == field.key[0] && std::strncmp(key, field.key.data(), field.key.size()) == 0) {
      stats.*field.value = value;
      return;
    }
  }
}

}  // namespace

// MemTotal:        8158036 kB
// HugePages_Total:       0
// Entries are three tokens, not lines: behind a line without a unit the tokens are out of step until a number
// fails to scan. The seven keys all come before the first such line.
void parseMeminfo(std::string_view text, char* key, memStats& stats) {
  tessary::Scanner scanner{text};
  while (!scanner.atEnd()) {
    uint64_t value = 0;
    key[0] = '\0';
    scanner.row().word(key, kKeyBytes).number(value).skipWord().space();
    if (scanner.matching()) store(key, value, stats);
  }
}

}  // namespace memory
