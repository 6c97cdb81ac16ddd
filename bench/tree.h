// A tree of nodes in memory that stands in front of the machine's while it is there: for rows with more cores
// or interfaces than this machine has. The library and the floor open the same plain files through the same
// few instructions, so that the comparison stays fair; the kernel's own cost of making the texts is left out,
// which makes the ratios stricter.
#ifndef TESSARY_BENCH_TREE_H
#define TESSARY_BENCH_TREE_H

#include <string>

namespace bench {

class Tree {
 public:
  explicit Tree(int cores = 0);  // 0: as many as the machine has
  ~Tree();
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  void file(const std::string& path, const std::string& text);

 private:
  std::string root_;
};

// While it is there, callgrind counts the instructions of what is measured: not those of the redirection into the tree.
class Counted {
 public:
  Counted();
  ~Counted();
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
};

}  // namespace bench

#endif
