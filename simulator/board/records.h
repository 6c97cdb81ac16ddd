// What a board says of its nodes and of itself, in the records that the kernel writes: the same, whether a
// program is answered in front of the C library or of the kernel.
#ifndef TESSARY_SIMULATOR_BOARD_RECORDS_H
#define TESSARY_SIMULATOR_BOARD_RECORDS_H

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/board/board.h"

namespace simulator {

constexpr int kPageBytes = 4096;  // what every file of /sys says that it holds

bool isBelow(const std::string& path, const std::string& folder);  // or the folder itself

// Of a path's one name. Walks over a tree take two nodes with one number for the same.
ino_t inodeOf(const std::string& path);

mode_t modeOf(const Node& node);
struct stat statusOf(const Board& board, const std::string& path, const Node& node);
struct statx extended(const struct stat& status);

// What reading the link at a path of the board ends with: nodes are none, but for those of a process, which are for
// its user to see.
int linkError(const Board::Opening& opening);

// The file systems of the board's nodes have a kind and no figures: those of the machine are no others. An error
// number, or 0.
int fileSystemOf(const std::string& path, struct statfs& record);

// Loads and memory are those of its /proc/loadavg and meminfo: what a board does not have is 0.
struct sysinfo systemFigures(const Board& board);

// The machine's instruction set, and beside it what the board has.
utsname systemName(const Board& board);

// A bit for each processor that is online; none for a board without processors of its own.
std::optional<std::vector<std::uint64_t>> onlineProcessors(const Board& board);

// Whether a netlink socket of this protocol shows the machine's interfaces, routes, sockets, processes or devices.
bool netlinkShowsMachine(int protocol);

// The text of a node as it is now; empty when there is none.
std::string textOf(const Board& board, const std::string& path);

}  // namespace simulator

#endif
