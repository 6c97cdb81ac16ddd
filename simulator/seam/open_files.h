// The board's files, folders and devices that the program has open, by descriptor, and how one is opened.
//
// A file of the board is an anonymous file in memory that holds the text rendered at its opening, so that
// every way of reading it works as on a real file. Folders and devices are placeholders, of which the table
// here says what they stand for.
#ifndef TESSARY_SIMULATOR_SEAM_OPEN_FILES_H
#define TESSARY_SIMULATOR_SEAM_OPEN_FILES_H

#include <string>

#include "simulator/board/board.h"

namespace simulator {

struct OpenFile {
  std::string folder;  // the path, for a folder
  Node node;
};

bool isTracked(int descriptor);
void track(int descriptor, OpenFile file);
void untrack(int descriptor);
OpenFile openFile(int descriptor);  // of one that is tracked

// What the board has at `path` relative to `folder`: the machine's when there is no board.
Board::Opening lookAt(int folder, const char* path);

// True when the board answers for the path; the result, -1 and errno included, is in `descriptor` then.
bool boardOpens(int folder, const char* path, int flags, int& descriptor);

}  // namespace simulator

#endif
