// What the system says of itself: sysconf, get_nprocs, get_nprocs_conf.

#include <sys/sysinfo.h>
#include <unistd.h>

#include <optional>

#include "simulator/board/board.h"
#include "simulator/seam/interpose.h"

using simulator::Board;

STANDS_IN long sysconf(int name) noexcept {
  const Board* const board = Board::active();
  std::optional<int> mine;
  if (board != nullptr && name == _SC_NPROCESSORS_CONF) mine = board->configuredCores();
  if (board != nullptr && name == _SC_NPROCESSORS_ONLN) mine = board->onlineCores();
  if (board != nullptr && name == _SC_CLK_TCK) mine = board->ticksPerSecond();
  return mine ? *mine : NEXT(sysconf)(name);
}

STANDS_IN int get_nprocs() noexcept { return static_cast<int>(::sysconf(_SC_NPROCESSORS_ONLN)); }
STANDS_IN int get_nprocs_conf() noexcept { return static_cast<int>(::sysconf(_SC_NPROCESSORS_CONF)); }
