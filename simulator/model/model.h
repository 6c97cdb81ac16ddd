// Puts a described board onto a Board: one function for each resource, which defines the nodes with the texts
// that the kernel gives them, as they are at the reading thread's time.
#ifndef TESSARY_SIMULATOR_MODEL_MODEL_H
#define TESSARY_SIMULATOR_MODEL_MODEL_H

#include <string>

#include "simulator/board/board.h"
#include "simulator/model/board_file.h"

namespace simulator {

// Throws BoardFileError for a fault of a node that is not on the board.
void layOut(Board& board, const SharedFile& file);

// For tests: a board of a file, or of a text.
void loadBoard(Board& board, const std::string& path, std::uint64_t seed = kDefaultSeed,
               Playback playback = {});
void loadBoardText(Board& board, const std::string& text, std::uint64_t seed = kDefaultSeed);

void layOutSystem(Board& board, const SharedFile& file);
void layOutCores(Board& board, const SharedFile& file);
void layOutThermal(Board& board, const SharedFile& file);
void layOutMemory(Board& board, const SharedFile& file);
void layOutProcesses(Board& board, const SharedFile& file);
void layOutDisks(Board& board, const SharedFile& file);
void layOutInterfaces(Board& board, const SharedFile& file);
void layOutGpu(Board& board, const SharedFile& file);
void layOutDsps(Board& board, const SharedFile& file);
void layOutDdr(Board& board, const SharedFile& file);
void layOutFrames(Board& board, const SharedFile& file);
void layOutFaults(Board& board, const SharedFile& file);

// -- for these

// One of the folders that are the board's own, however little is in them.
bool isClaimed(const std::string& folder);

// The node is not there while the signal, which is the file's, is absent.
void hideWhileAbsent(Board& board, const SharedFile& file, const std::string& path, const Signal& signal);

inline Microseconds boardTime(const Board& board) { return board.clock().now() / 1000; }

// What a percentage of the time comes to, in clock ticks.
constexpr std::uint64_t ticksOf(Wide percentIntegral, int ticksPerSecond) {
  return static_cast<std::uint64_t>(percentIntegral * ticksPerSecond / (100 * kOneForASecond));
}

__attribute__((format(printf, 2, 3))) void append(std::string& text, const char* format, ...);

// A text with the number alone, as most nodes under /sys are.
inline std::string line(std::int64_t number) { return std::to_string(number) + "\n"; }

}  // namespace simulator

#endif
