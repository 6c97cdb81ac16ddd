#ifndef TESSARY_MEMORY_MEMINFO_H
#define TESSARY_MEMORY_MEMINFO_H

#include <cstddef>
#include <string_view>

#include "tessary/memory_mon.h"

namespace memory {

constexpr std::size_t kKeyBytes = 128;

// Stores what the text, which must be followed by a NUL, says of the seven keys; the others keep their
// values. `key` is room for kKeyBytes.
void parseMeminfo(std::string_view text, char* key, memStats& stats);

}  // namespace memory

#endif
