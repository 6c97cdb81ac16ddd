// What a test sees of the library's own: calloc for it, and the platform log.

#include <dlfcn.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulator/board/board.h"
#include "simulator/seam/interpose.h"

namespace {

using simulator::Board;

bool calledFromTheLibrary(void* caller) {
  Dl_info info{};
  return ::dladdr(caller, &info) != 0 && info.dli_fname != nullptr &&
         std::strstr(info.dli_fname, "libtessary.so");
}

// dlsym may ask for memory itself, before the next calloc is known: it gets some that is never given back.
void* allocateEarly(std::size_t bytes) {
  alignas(std::max_align_t) static char space[4096];
  static std::size_t used = 0;
  const std::size_t at = used;
  used += (bytes + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
  return used <= sizeof space ? space + at : nullptr;
}

}  // namespace

STANDS_IN void* calloc(std::size_t count, std::size_t bytes) noexcept {
  using Calloc = void*(std::size_t, std::size_t);
  static std::atomic<Calloc*> function{nullptr};
  static thread_local bool resolving = false;
  if (function == nullptr) {
    if (resolving) return allocateEarly(count * bytes);
    resolving = true;
    function = simulator::next<Calloc>("calloc");
    resolving = false;
  }
  Board* const board = Board::active();
  if (board != nullptr && board->failsAllocations() && calledFromTheLibrary(__builtin_return_address(0)) &&
      board->allocationFails()) {
    errno = ENOMEM;
    return nullptr;
  }
  return function.load()(count, bytes);
}

STANDS_IN __attribute__((format(printf, 3, 4))) int __android_log_print(int priority, const char* tag,
                                                                        const char* format, ...) {
  Board* const board = Board::active();
  char text[1024];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (board != nullptr && board->keepsHistory()) {
    board->addLogLine({priority, tag, text});
    return length;
  }
  static std::atomic<void*> known{nullptr};
  const auto function =
      simulator::next<int(int, const char*, const char*, ...)>("__android_log_print", known);
  return function != nullptr ? function(priority, tag, "%s", text) : 0;
}
