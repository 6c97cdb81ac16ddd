#include "tests/simulator/board_text.h"

#include <filesystem>
#include <string>

std::string boardPath(const std::string& name) {
  return std::filesystem::path{TESSARY_BOARDS} / (name + ".json");
}
