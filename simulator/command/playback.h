// How much of a recording is played, in the environment of the programs on its board.
#ifndef TESSARY_SIMULATOR_COMMAND_PLAYBACK_H
#define TESSARY_SIMULATOR_COMMAND_PLAYBACK_H

#include <cstdlib>

#include "simulator/board/environment.h"
#include "simulator/model/board_file.h"

namespace simulator {

inline Playback playbackOfEnvironment() {
  const auto number = [](const char* variable) {
    const char* const text = std::getenv(variable);
    return text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
  };
  Playback playback;
  playback.from = number(kFromVariable);
  const Thousandths speed = number(kSpeedVariable);
  if (speed > 0) playback.speed = speed;
  return playback;
}

}  // namespace simulator

#endif
