// Starts a program whose system calls are answered from a board, and those of all that it starts.
//
// Three processes: this one, which stands for the program to whoever started it (it passes signals on, stops
// and ends as the program does); the supervisor, the parent of the program, which answers until the last
// process that the program started has ended; and the program. A parent may read and write its children's
// memory where a stranger may not.
#ifndef TESSARY_SIMULATOR_NOTIFY_LAUNCH_H
#define TESSARY_SIMULATOR_NOTIFY_LAUNCH_H

#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/notify/filter.h"

namespace simulator {

// The exit code of the command, 126 or 127 when it cannot be run or found; a signal that ends the command
// ends this process, too. Throws std::runtime_error when there is no way to answer.
int runSupervised(const Board& board, const FilterOptions& filter, std::vector<std::string> command);

}  // namespace simulator

#endif
