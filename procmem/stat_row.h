// The row of /proc/<pid>/stat.
#ifndef TESSARY_PROCMEM_STAT_ROW_H
#define TESSARY_PROCMEM_STAT_ROW_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace procmem {

// The fields that are kept. One that cannot be scanned, and those behind it, leave their targets alone.
struct StatRow {
  char* name;  // with its parentheses, cut to nameBytes
  std::size_t nameBytes;
  int& ppid;
  std::uint64_t& vmBytes;
};

void scanStatRow(std::string_view text, StatRow row);

}  // namespace procmem

#endif
