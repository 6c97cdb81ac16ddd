// The board's time in the units that the calls of the C library have.
#ifndef TESSARY_SIMULATOR_SEAM_BOARD_TIME_H
#define TESSARY_SIMULATOR_SEAM_BOARD_TIME_H

#include <sys/time.h>

#include <cstdint>
#include <ctime>

#include "simulator/board/board.h"

namespace simulator {

inline std::int64_t microsecondsOf(const timespec& time) {
  return time.tv_sec * kMicrosecondsInSecond + time.tv_nsec / 1000;
}
inline std::int64_t microsecondsOf(const timeval& time) {
  return time.tv_sec * kMicrosecondsInSecond + time.tv_usec;
}

inline timespec timeOf(std::int64_t microseconds) {
  return {microseconds / kMicrosecondsInSecond, microseconds % kMicrosecondsInSecond * 1000};
}

inline timespec boardClock(const Board& board, int id) {
  const std::int64_t time = board.clock().read(id);
  return {time / kNanosecondsInSecond, time % kNanosecondsInSecond};
}

inline bool timeIsStepped() {
  const Board* const board = Board::active();
  return board != nullptr && board->clock().mode() == Clock::Mode::kStepped;
}

}  // namespace simulator

#endif
