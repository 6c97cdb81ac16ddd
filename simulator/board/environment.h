// What a board hands on from a program to the commands that it starts, in the environment. Without these
// variables nothing of the simulator is active.
#ifndef TESSARY_SIMULATOR_BOARD_ENVIRONMENT_H
#define TESSARY_SIMULATOR_BOARD_ENVIRONMENT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

constexpr char kBoardVariable[] = "TESSARY_BOARD";            // the board's file
constexpr char kSeedVariable[] = "TESSARY_BOARD_SEED";        // a number
constexpr char kFromVariable[] = "TESSARY_BOARD_FROM";        // of a recording: microseconds
constexpr char kSpeedVariable[] = "TESSARY_BOARD_SPEED";      // of a recording: thousandths
constexpr char kTimeVariable[] = "TESSARY_BOARD_TIME";        // kRealTime or kSteppedTime
constexpr char kTimesVariable[] = "TESSARY_BOARD_TIMES";      // the processes' times: process_times.h
constexpr char kCommandVariable[] = "TESSARY_BOARD_COMMAND";  // tessary-board itself
constexpr char kStartVariable[] = "TESSARY_BOARD_START";      // of a command: startOfChild
constexpr char kFrozenBoardVariable[] =
    "TESSARY_BOARD_FROZEN";  // the board of a test, as it stood: Board::freeze

constexpr char kMachineNetworkVariable[] = "TESSARY_BOARD_MACHINE_NETWORK";  // set: netlink shows it

constexpr char kRealTime[] = "real";
constexpr char kSteppedTime[] = "stepped";

// The environment of the calling process, and changes to it that are meant for a child alone.
class Environment {
 public:
  Environment();
  void set(const std::string& name, const std::string& value);
  void prependCommands(const std::string& folder);  // to PATH

  char* const* variables() const;  // until the next change

 private:
  std::vector<std::string> texts_;
  mutable std::vector<char*> pointers_;
};

// The time at which a child of the calling process starts. Grandchildren inherit the variable, and have to
// tell that it is not theirs.
std::string startOfChild(std::int64_t time);
std::optional<std::int64_t> startFromParent(const std::string& variable);

}  // namespace simulator

#endif
