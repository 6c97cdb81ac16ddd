// The zero-filled tables that the monitors hand out. They come from calloc, so that a failed allocation is a
// null pointer that the operation in need of the table reports, and not an exception.
#ifndef TESSARY_BASE_TABLE_H
#define TESSARY_BASE_TABLE_H

#include <cstddef>
#include <cstdlib>

namespace tessary {

// Null when the memory is refused. The caller frees it with std::free. A record with a constructor of its own
// needs a placement new on top, and its destructor before it is freed.
template <typename Entry>
Entry* allocateTable(std::size_t entries = 1) {
  return static_cast<Entry*>(std::calloc(entries, sizeof(Entry)));
}

// The same for a table that is never freed, by design. The check for leaks knows these by this function's
// name, so that no other leak hides among them.
template <typename Entry>
Entry* allocateForever(std::size_t entries = 1) {
  return allocateTable<Entry>(entries);
}

}  // namespace tessary

#endif
