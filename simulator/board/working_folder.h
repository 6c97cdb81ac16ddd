// A working folder on the board. The kernel knows no such folder: the process is in an empty one that has been
// removed already, and is named after the board's. So it is handed on by fork, exec and every other way to
// start a program, and a call that is not seen here finds nothing there, least of all the machine's.
#ifndef TESSARY_SIMULATOR_BOARD_WORKING_FOLDER_H
#define TESSARY_SIMULATOR_BOARD_WORKING_FOLDER_H

#include <optional>
#include <string>

namespace simulator {

// 0, or an error number.
int enterFolder(const std::string& boardPath);

// What fchdir enters it by; -1 and errno when there is no place for it.
int openFolder(const std::string& boardPath);

// The board's path by what /proc/PID/cwd leads to; none for a folder of the machine's.
std::optional<std::string> boardFolderOf(const std::string& link);

}  // namespace simulator

#endif
