#include "simulator/model/model.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace simulator {

namespace {

// Of these a board has all that there is to see; the longer ones are there also where they are empty. Those of
// the machine above them would tell of its hardware.
constexpr const char* kClaimed[] = {"/proc",
                                    "/sys",
                                    "/sys/class",
                                    "/sys/devices",
                                    "/sys/block",
                                    "/sys/class/net",
                                    "/sys/class/thermal",
                                    "/sys/class/hwmon",
                                    "/sys/class/power_supply",
                                    "/sys/class/vrdx",
                                    "/sys/devices/soc0",
                                    "/sys/devices/system/cpu",
                                    "/dev/__properties__"};

}  // namespace

bool isClaimed(const std::string& folder) {
  return std::find(std::begin(kClaimed), std::end(kClaimed), folder) != std::end(kClaimed);
}

void layOut(Board& board, const SharedFile& file) {
  for (const char* const folder : kClaimed) board.folder(folder);
  if (file->frames) {
    board.ticksPerSecond(file->ticksPerSecond);
    board.cores(file->processors);
    layOutSystem(board, file);
    layOutFrames(board, file);
    layOutFaults(board, file);
    return;
  }
  layOutCores(board, file);
  layOutThermal(board, file);
  layOutMemory(board, file);
  layOutProcesses(board, file);
  layOutDisks(board, file);
  layOutInterfaces(board, file);
  layOutGpu(board, file);
  layOutDsps(board, file);
  layOutDdr(board, file);
  layOutSystem(board, file);
  layOutFaults(board, file);
}

void loadBoard(Board& board, const std::string& path, std::uint64_t seed, Playback playback) {
  layOut(board, std::make_shared<const BoardFile>(readBoardFile(path, seed, playback)));
}

void loadBoardText(Board& board, const std::string& text, std::uint64_t seed) {
  layOut(board, std::make_shared<const BoardFile>(parseBoardFile(text, "board", seed)));
}

void hideWhileAbsent(Board& board, const SharedFile& file, const std::string& path, const Signal& signal) {
  if (signal.isAlwaysThere()) return;
  board.change(path,
               [&board, file, &signal](Node& node) { node.isGone |= !signal.isThere(boardTime(board)); });
}

void append(std::string& text, const char* format, ...) {
  char piece[512];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(piece, sizeof piece, format, arguments);
  va_end(arguments);
  text.append(piece, std::min(static_cast<std::size_t>(length), sizeof piece - 1));
}

}  // namespace simulator
