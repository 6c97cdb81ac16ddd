// Which path a call means: the program's working folder, the folders that it has open and its own links taken
// into account, whether it is the board's, and what the board has there.
#ifndef TESSARY_SIMULATOR_NOTIFY_PLACES_H
#define TESSARY_SIMULATOR_NOTIFY_PLACES_H

#include <optional>
#include <string>

#include "simulator/board/board.h"
#include "simulator/notify/caller.h"
#include "simulator/notify/skeleton.h"

namespace simulator {

class Places {
 public:
  Places(const Board& board, const Skeleton& skeleton) : board_{board}, skeleton_{skeleton} {}

  struct Place {
    std::string path;        // of the program; empty where only the kernel can tell what it is
    Board::Opening opening;  // mine: the board's
  };

  // What `path` is, from `folder`, a descriptor or AT_FDCWD. follows: if its last part is a link, what that
  // leads to.
  Place find(const Caller& caller, int folder, const std::string& path, bool follows) const;

  // What the program has open: the board's path of its text or folder, none for what is the machine's.
  std::optional<std::string> openedPath(const Caller& caller, int descriptor) const;

  // The board's path that a link of the program's ("cwd", "fd/3") stands for.
  std::optional<std::string> boardPath(const std::string& link) const;

  // The rest of a path that is in the program's own folder: "fd/3" of /proc/self/fd/3, by any of its names.
  std::optional<std::string> ownEntry(const Caller& caller, const std::string& path) const;

  // What an anonymous file with the text of a node is called, which tells what it stands for.
  static std::string nameOfText(const std::string& path);

 private:
  std::string absolute(const Caller& caller, int folder, const std::string& path) const;
  std::string withoutOwnLinks(const Caller& caller, std::string path, bool follows) const;
  Board::Opening lookUp(const std::string& path) const;

  const Board& board_;
  const Skeleton& skeleton_;
};

}  // namespace simulator

#endif
