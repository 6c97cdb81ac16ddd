// What calls that are no reading of a file answer from: the texts of the board's nodes.
#ifndef TESSARY_SIMULATOR_SEAM_NODE_TEXTS_H
#define TESSARY_SIMULATOR_SEAM_NODE_TEXTS_H

#include <optional>
#include <string>

#include "simulator/board/board.h"

namespace simulator {

// None: there is no board, or the node is not one of it.
inline std::optional<std::string> nodeText(const std::string& path) {
  Board* const board = Board::active();
  if (board == nullptr) return std::nullopt;
  const Board::Opening opening = board->look(path);
  if (!opening.mine || opening.error != 0 || !opening.node.text) return std::nullopt;
  return opening.node.text();
}

// Without its line end.
inline std::string nodeLine(const std::string& path) {
  std::string text = nodeText(path).value_or("");
  return text.substr(0, text.find('\n'));
}

}  // namespace simulator

#endif
