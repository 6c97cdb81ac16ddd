// Which way a program gets onto a board, by what it is.
#ifndef TESSARY_SIMULATOR_COMMAND_WAY_H
#define TESSARY_SIMULATOR_COMMAND_WAY_H

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/model/board_file.h"

namespace simulator {

enum class Way {
  kPreload,  // in front of the C library
  kNotify,   // in front of the kernel
  kNone,     // it sees the machine
};

constexpr char kAutomaticSeam[] = "auto";
constexpr char kPreloadSeam[] = "preload";
constexpr char kNotifySeam[] = "notify";

struct ChosenWay {
  Way way;
  std::string reason;  // in words, for the user
};

// seam: one of the above. A command that is not there is left to whoever starts it.
ChosenWay chooseWay(const std::string& command, const std::string& seam, bool isStepped);

struct NotifiedRun {
  std::string board;  // the file
  std::uint64_t seed;
  Playback playback;
  std::string times;  // of the board that there is already: process_times.h; else empty
  bool machineNetwork;
  std::vector<std::string> command;
};

// Runs the command with its system calls answered; its exit code.
int runNotified(const NotifiedRun& run);

}  // namespace simulator

#endif
