// The folder that relative paths count from.
#ifndef TESSARY_SIMULATOR_SEAM_WORKING_FOLDER_H
#define TESSARY_SIMULATOR_SEAM_WORKING_FOLDER_H

#include <string>

namespace simulator {

std::string workingFolder();  // of the board or of the machine
bool isWorkingOnBoard();

}  // namespace simulator

#endif
