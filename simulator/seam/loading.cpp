// Libraries that a program loads: dlopen.
//
// The C library takes the caller of dlopen for the object whose RUNPATH and $ORIGIN count. So nothing may
// stand between the caller and the function of the same name that comes next: what stands in front is asked
// for the file's name, and then jumps there, with the caller's return address in its place.

#include <dlfcn.h>

#include <optional>
#include <string>

#include "simulator/board/board.h"
#include "simulator/seam/interpose.h"

using simulator::Board;

struct LibraryToLoad {
  const char* file;
  void* next;  // dlopen
};

// Returned in two registers, which the code below relies on.
extern "C" __attribute__((visibility("hidden"))) LibraryToLoad tessary_file_to_load(const char* file,
                                                                                    int mode) {
  static void* const next = ::dlsym(RTLD_NEXT, "dlopen");
  Board* const board = Board::active();
  if (board == nullptr || file == nullptr) return {file, next};
  board->addLoad({file, mode});
  const std::optional<std::string> mine = board->libraryFile(file);
  if (!mine) return {file, next};
  static thread_local std::string path;
  path = *mine;
  return {path.c_str(), next};
}

#if defined(__x86_64__)
asm(R"(
  .text
  .globl dlopen
  .type dlopen, @function
dlopen:
  .cfi_startproc
  endbr64
  pushq %rsi
  .cfi_adjust_cfa_offset 8
  call tessary_file_to_load
  popq %rsi
  .cfi_adjust_cfa_offset -8
  movq %rax, %rdi
  jmp *%rdx
  .cfi_endproc
  .size dlopen, .-dlopen
)");
#elif defined(__aarch64__)
asm(R"(
  .text
  .globl dlopen
  .type dlopen, %function
dlopen:
  .cfi_startproc
  hint #34
  stp x30, x1, [sp, #-16]!
  .cfi_adjust_cfa_offset 16
  .cfi_rel_offset x30, 0
  bl tessary_file_to_load
  mov x16, x1
  ldp x30, x1, [sp], #16
  .cfi_adjust_cfa_offset -16
  .cfi_restore x30
  br x16
  .cfi_endproc
  .size dlopen, .-dlopen
)");
#else
#error "dlopen is not written for this architecture"
#endif
