#include "tools/sections/texts.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace tool {

namespace {

void readNode(NodeText& node) {
  const int file = ::open(node.path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    node.error = errno;
    return;
  }
  char piece[16384];
  while (node.text.size() < kLongestText) {
    const ssize_t length = ::read(file, piece, sizeof piece);
    if (length < 0) node.error = errno;
    if (length <= 0) break;
    node.text.append(piece, static_cast<std::size_t>(length));
  }
  ::close(file);
  if (node.text.size() > kLongestText) node.text.resize(kLongestText);
}

void readFolder(NodeText& node) {
  node.isFolder = true;
  node.entries = matches(node.path, "*");
  const bool isThere = ::access(node.path.c_str(), R_OK) == 0;
  if (!isThere) node.error = errno;
}

}  // namespace

std::vector<NodeText> readTexts(const Node& source) {
  std::vector<NodeText> nodes;
  const bool isPath = source.target[0] == '/';
  if (!isPath || source.check == checkDevice) return nodes;
  for (std::string& path : expand(source.target)) {
    NodeText node;
    node.path = std::move(path);
    source.check == checkFolder ? readFolder(node) : readNode(node);
    // One that is not there is none; one that went while it was read has its error.
    const bool isThere = node.error != ENOENT && node.error != ENOTDIR;
    if (isThere) nodes.push_back(std::move(node));
  }
  return nodes;
}

}  // namespace tool
