// What a board says of its nodes and of itself, in the records that the kernel writes.
#ifndef TESSARY_SIMULATOR_NOTIFY_RECORDS_H
#define TESSARY_SIMULATOR_NOTIFY_RECORDS_H

#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/board/board.h"

namespace simulator {

struct stat statusOf(const Board& board, const Board::Opening& opening);
struct statx extendedStatusOf(const Board& board, const Board::Opening& opening);

// From its /proc/uptime, loadavg and meminfo: what a board does not have is 0.
struct sysinfo systemFigures(const Board& board);

// The machine's, with the release and the version of the board's /proc/version when it has one.
utsname systemName(const Board& board);

// A bit for each processor that is online; none for a board without processors of its own.
std::optional<std::vector<std::uint64_t>> onlineProcessors(const Board& board);

// The text of a node as it is now; empty when there is none.
std::string textOf(const Board& board, const std::string& path);

}  // namespace simulator

#endif
