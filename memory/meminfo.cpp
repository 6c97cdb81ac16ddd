#include "memory/meminfo.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

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

using FieldSet = unsigned;  // a bit for each of the fields

constexpr FieldSet kAllFields = (1U << std::size(kFields)) - 1;

// Stores the value of an entry that begins with `key`, in a text of four characters at least. The field that
// it went to, if any.
FieldSet store(const char* key, uint64_t value, memStats& stats) {
  for (const Field& field : kFields) {
    // Most entries of the file are none of the seven, and differ early.
    if (std::memcmp(key, field.key.data(), 4) == 0 &&
        std::strncmp(key, field.key.data(), field.key.size()) == 0) {
      stats.*field.value = value;
      return 1U << (&field - kFields);
    }
  }
  return 0;
}

unsigned digitOf(char c) { return static_cast<unsigned char>(c) - unsigned{'0'}; }

// An entry that is a line by itself, as the kernel pads them: "Cached:           605008 kB". What stands
// behind it; null for any other entry.
const char* scanLine(const char* key, const char* end, uint64_t& value) {
  constexpr std::string_view kUnit = " kB\n";
  constexpr std::ptrdiff_t kDigitsThatFit = 19;  // 10^19 - 1 is below 2^64

  const char* keyEnd = key;
  while (static_cast<unsigned char>(*keyEnd) > ' ') ++keyEnd;
  const char* number = keyEnd;
  while (*number == ' ') ++number;
  const char* p = number;
  uint64_t sum = 0;
  for (unsigned digit = digitOf(*p); digit <= 9; digit = digitOf(*++p)) sum = sum * 10 + digit;

  if (keyEnd == key || number == keyEnd || p == number || p - number > kDigitsThatFit) return nullptr;
  if (end - p < static_cast<std::ptrdiff_t>(kUnit.size())) return nullptr;
  if (std::memcmp(p, kUnit.data(), kUnit.size()) != 0) return nullptr;
  value = sum;
  return p + kUnit.size();
}

// Parts of the keys, at least one of each.
constexpr std::string_view kParts[] = {"Mem", "Buf", "che", "Swap"};

constexpr bool isCovered(const Field& field) {
  for (const std::string_view part : kParts) {
    if (field.key.find(part) != std::string_view::npos) return true;
  }
  return false;
}

constexpr bool areAllCovered() {
  for (const Field& field : kFields) {
    if (!isCovered(field)) return false;
  }
  return true;
}
static_assert(areAllCovered());

bool mayHoldAKey(std::string_view text) {
  return std::any_of(std::begin(kParts), std::end(kParts),
                     [text](std::string_view part) { return text.find(part) != std::string_view::npos; });
}

}  // namespace

// MemTotal:        8158036 kB
// HugePages_Total:       0
// Entries are three tokens, not lines: behind a line without a unit the tokens are out of step until a number
// fails to scan. The seven keys all come before the first such line, in the first third of the text. The rest
// could only bring one of them once more: looking for that costs a fraction of scanning it.
void parseMeminfo(std::string_view text, char* key, memStats& stats) {
  const char* const end = text.data() + text.size();
  const char* cursor = text.data();
  for (FieldSet missing = kAllFields; missing != 0;) {
    uint64_t value;
    const char* const next = scanLine(cursor, end, value);
    if (next == nullptr) break;
    missing &= ~store(cursor, value, stats);
    cursor = next;
  }
  const std::string_view rest{cursor, static_cast<std::size_t>(end - cursor)};
  if (!mayHoldAKey(rest)) return;

  tessary::Scanner scanner{rest};
  while (!scanner.atEnd()) {
    uint64_t value = 0;
    scanner.row().word(key, kKeyBytes).number(value).skipWord().space();
    if (scanner.matching()) store(key, value, stats);
  }
}

}  // namespace memory
