// Libraries that a program loads: dlopen.

#include <dlfcn.h>

#include <optional>
#include <string>

#include "simulator/board/board.h"
#include "simulator/seam/interpose.h"

using simulator::Board;

STANDS_IN void* dlopen(const char* file, int mode) noexcept {
  Board* const board = Board::active();
  if (board == nullptr || file == nullptr) return NEXT(dlopen)(file, mode);
  board->addLoad({file, mode});
  const std::optional<std::string> mine = board->libraryFile(file);
  return NEXT(dlopen)(mine ? mine->c_str() : file, mode);
}
