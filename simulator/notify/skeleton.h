// The board's folders as folders of a temporary one, with empty files in place of the nodes: what a program
// lists, or has as its working folder, is one of these, and stands for the folder of the board at the same
// path.
#ifndef TESSARY_SIMULATOR_NOTIFY_SKELETON_H
#define TESSARY_SIMULATOR_NOTIFY_SKELETON_H

#include <map>
#include <optional>
#include <set>
#include <string>

#include "simulator/board/board.h"
#include "simulator/board/descriptor.h"

namespace simulator {

class Skeleton {
 public:
  // Makes the temporary folder; throws std::runtime_error when it cannot.
  explicit Skeleton(const Board& board);
  ~Skeleton();  // removes it
  Skeleton(const Skeleton&) = delete;
  Skeleton& operator=(const Skeleton&) = delete;

  // Brings the folder up to what the board has there now, and opens it.
  Descriptor open(const std::string& boardPath, int flags);

  // The board's path of a path in here; none for others.
  std::optional<std::string> boardPath(const std::string& path) const;

 private:
  void bringUpToDate(const std::string& boardPath);
  void remove(const std::string& boardPath);
  void add(const std::string& boardPath);

  const Board& board_;
  std::string root_;
  std::map<std::string, std::set<std::string>> entries_;  // by the board's path
};

}  // namespace simulator

#endif
