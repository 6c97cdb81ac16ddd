#include "tests/simulator/board_text.h"

#include <filesystem>
#include <string>

#include "simulator/board/board.h"
#include "simulator/model/json.h"
#include "simulator/model/model.h"

std::string boardPath(const std::string& name) {
  return std::filesystem::path{TESSARY_BOARDS} / (name + ".json");
}

std::string mistakeIn(const std::string& text) {
  simulator::Board board;
  try {
    simulator::loadBoardText(board, text);
  } catch (const simulator::BoardFileError& error) {
    return error.what();
  }
  return {};
}
