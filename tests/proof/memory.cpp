// Memory of the C++ library in this program: counted where calls are, and refused. A block has a head that says whether
// it counts.

#include <cstddef>
#include <cstdlib>
#include <new>

#include "tests/proof/calls.h"

namespace {

struct alignas(std::max_align_t) Head {
  std::size_t bytes;
  bool counts;
};

void* allocate(std::size_t bytes, bool counts) {
  void* const memory = std::malloc(sizeof(Head) + bytes);
  if (memory == nullptr) return nullptr;
  if (counts) proof::noteAllocated(static_cast<long>(bytes));
  return new (memory) Head{bytes, counts} + 1;
}

void* allocateOrRefuse(std::size_t bytes) {
  const bool counts = proof::isCounting();
  return proof::reached(proof::kNew) == nullptr ? allocate(bytes, counts) : nullptr;
}

void release(void* block) {
  if (block == nullptr) return;
  Head* const head = static_cast<Head*>(block) - 1;
  if (head->counts) proof::noteReleased(static_cast<long>(head->bytes));
  std::free(head);
}

}  // namespace

void* operator new(std::size_t bytes) {
  void* const block = allocateOrRefuse(bytes);
  if (block == nullptr) throw std::bad_alloc{};
  return block;
}
void* operator new[](std::size_t bytes) { return operator new(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return allocateOrRefuse(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return allocateOrRefuse(bytes); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { release(block); }
