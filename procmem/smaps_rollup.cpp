#include "procmem/smaps_rollup.h"

#include <cstring>

#include "base/scanner.h"

namespace procmem {

namespace {

constexpr int kWantedLines = 4;

template <std::size_t kBytes>
bool startsWith(const RollupKey& key, const char (&prefix)[kBytes]) {
  static_assert(kBytes <= sizeof key.text);
  return std::memcmp(key.text, prefix, kBytes - 1) == 0;
}

// True when the key is one of the wanted ones.
bool take(const RollupKey& key, std::uint64_t value, Rollup& rollup) {
  if (startsWith(key, "Pss:")) {
    rollup.pss = value;
  } else if (startsWith(key, "Rss:")) {
    rollup.rss = value;
  } else if (startsWith(key, "Private_Clean:") || startsWith(key, "Private_Dirty:")) {
    rollup.privateMem += value;
  } else {
    return false;
  }
  return true;
}

}  // namespace

// 5b3e8c6d2000-7ffe4b9f1000 ---p 00000000 00:00 0                          [rollup]
// Rss:                4664 kB
// Pss:                 891 kB
// Pss_Dirty:           520 kB
// ..
// Private_Clean:       208 kB
// Private_Dirty:       520 kB
//
// All of it is a run of words in rows of key, number and unit. The header is no such row: the rows that begin
// in it end at its next word that is no number, until the last of them ends at "Rss:".
std::optional<Rollup> parseRollup(std::string_view text, RollupKey& key) {
  tessary::Scanner scanner{text};
  if (scanner.row().word(key.text).converted() == 0) return std::nullopt;
  std::uint64_t value = 0;
  scanner.number(value).skipWord().space();

  Rollup rollup;
  for (int found = 0; found < kWantedLines && !scanner.atEnd();) {
    scanner.row().word(key.text).number(value).skipWord().space();
    if (scanner.matching() && take(key, value, rollup)) ++found;
  }
  return rollup;
}

}  // namespace procmem
