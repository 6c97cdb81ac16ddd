// The board's files, folders and devices that the program has open, by descriptor, and how one is opened.
//
// A file of the board is an anonymous file in memory that holds the rendered text, so that every way of
// reading it works as on a real file. As the kernel does, a read from its start renders it anew, and one
// further on goes on in the text that is there. Folders and devices are placeholders, of which the table here
// says what they stand for.
#ifndef TESSARY_SIMULATOR_SEAM_OPEN_FILES_H
#define TESSARY_SIMULATOR_SEAM_OPEN_FILES_H

#include <sys/types.h>

#include <memory>
#include <string>

#include "simulator/board/board.h"

namespace simulator {

struct OpenFile {
  std::string path;    // on the board
  std::string folder;  // the same, of a folder alone
  Node node;
  bool isText = false;
  bool isUnread = true;  // since it was opened
  Nanoseconds rendered = 0;
};

// Between vfork and exec a child runs in its parent's memory: the descriptors that it closes and duplicates
// there are its own, the table is its parent's.
bool isOurTable();

bool isTracked(int descriptor);
void track(int descriptor, std::shared_ptr<OpenFile> file);
void untrack(int descriptor);
void untrackFrom(int first, int last);
std::shared_ptr<OpenFile> openFile(int descriptor);  // null when it is not the board's

// The absolute path of `path` relative to `folder`, a descriptor or AT_FDCWD, of the board or of the machine;
// empty when there is none.
std::string absolutePath(int folder, const char* path);

// What a call that the board does not answer hands on to the machine: the path as it is, but where it counts
// from a folder of the board, which the kernel does not know, as an absolute one.
class MachinePath {
 public:
  MachinePath(int folder, const char* path);
  operator const char*() const { return absolute_.empty() ? path_ : absolute_.c_str(); }

 private:
  const char* path_;
  std::string absolute_;
};

// What the board has at `path` relative to `folder`: the machine's when there is no board.
Board::Opening lookAt(int folder, const char* path);

// True when the board answers for the path; the result, -1 and errno included, is in `descriptor` then.
bool boardOpens(int folder, const char* path, int flags, int& descriptor);

// How much of `bytes` a read at the offset, or at the descriptor's position, may return: renders a text anew
// at its start. -1 and errno where the read fails.
constexpr off_t kAtPosition = -1;
ssize_t readableBytes(OpenFile& file, int descriptor, off_t offset, std::size_t bytes);

}  // namespace simulator

#endif
