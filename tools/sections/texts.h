// The nodes of a source as they are, text for text: what a capture of a machine is made of.
#ifndef TESSARY_TOOLS_SECTIONS_TEXTS_H
#define TESSARY_TOOLS_SECTIONS_TEXTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/sections/node.h"

namespace tool {

struct NodeText {
  std::string path;
  int error = 0;  // of opening or reading it
  std::string text;
  bool isFolder = false;
  std::vector<std::string> entries;  // of a folder
};

inline constexpr std::size_t kLongestText = std::size_t{256} * 1024;  // what is longer is cut

// The nodes that are there and those that cannot be read; none of a device, a command or a library.
std::vector<NodeText> readTexts(const Node& source);

}  // namespace tool

#endif
