// The text of /proc/<pid>/smaps_rollup.
#ifndef TESSARY_PROCMEM_SMAPS_ROLLUP_H
#define TESSARY_PROCMEM_SMAPS_ROLLUP_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace procmem {

struct RollupKey {
  char text[128];
};

// In kB, as the kernel prints them.
struct Rollup {
  std::optional<std::uint64_t> pss;
  std::optional<std::uint64_t> rss;
  std::uint64_t privateMem = 0;
};

// None when there is not a single word. `key` is the parser's working space.
std::optional<Rollup> parseRollup(std::string_view text, RollupKey& key);

}  // namespace procmem

#endif
