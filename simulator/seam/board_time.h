// The board's time in the units that the calls of the C library have.
#ifndef TESSARY_SIMULATOR_SEAM_BOARD_TIME_H
#define TESSARY_SIMULATOR_SEAM_BOARD_TIME_H

#include <sys/time.h>

#include <cstdint>
#include <ctime>

#include "simulator/board/board.h"
#include "simulator/board/machine.h"
#include "simulator/board/schedule.h"

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

constexpr time_t kCenturies = 9000000000;  // in seconds, and still to be counted in nanoseconds

inline bool isTime(const timespec& time) {
  return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < kNanosecondsInSecond;
}

// A time limit as the schedule has it: the time that the clock `id` shows then, or what is left until then.
inline Nanoseconds limitAt(int id, const timespec& shown) {
  if (shown.tv_sec >= kCenturies) return kNever;
  const Nanoseconds time = shown.tv_sec * kNanosecondsInSecond + shown.tv_nsec;
  return Board::active()->clock().timeAt(id, time);
}
inline Nanoseconds limitAfter(const timespec& duration) {
  if (duration.tv_sec >= kCenturies) return kNever;
  return Schedule::now() + duration.tv_sec * kNanosecondsInSecond + duration.tv_nsec;
}
inline Nanoseconds limitAfter(int milliseconds) {
  return Schedule::now() + milliseconds * Nanoseconds{1000000};
}

}  // namespace simulator

#endif
