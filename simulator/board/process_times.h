// The times of the processes on one board, in memory that all of them map: what makes stepped time pass from
// a program to the commands that it starts, and back when it waits for their end. Its path is handed on in
// the environment.
#ifndef TESSARY_SIMULATOR_BOARD_PROCESS_TIMES_H
#define TESSARY_SIMULATOR_BOARD_PROCESS_TIMES_H

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "simulator/board/time_units.h"

namespace simulator {

class ProcessTimes {
 public:
  ProcessTimes() = delete;

  // A new table, with the machine's boot clock at the board's start in it. A descriptor, or -1 and errno.
  static int create(Nanoseconds origin);

  // Null when there is no table at the path. It stays mapped until the process ends.
  static ProcessTimes* attach(const char* path);

  Nanoseconds origin() const { return origin_; }

  // The latest time of any of the process's threads; none for a process that is not on the board.
  std::optional<Nanoseconds> of(pid_t process) const;

  void begin(pid_t process, Nanoseconds time);
  void advance(pid_t process, Nanoseconds time);  // to no less than this
  std::optional<Nanoseconds> end(pid_t process);  // its last time; it is forgotten

 private:
  // One entry for every id that the kernel can give, in a file with holes: what no process has touched takes
  // no memory. Times are kept with one added; 0 is nobody's.
  static constexpr std::size_t kProcesses = std::size_t{1} << 22;
  using Time = std::atomic<Nanoseconds>;

  Time& entry(pid_t process) { return times_[static_cast<std::size_t>(process) % kProcesses]; }
  const Time& entry(pid_t process) const { return times_[static_cast<std::size_t>(process) % kProcesses]; }

  Nanoseconds origin_;
  Time times_[kProcesses];

  static_assert(Time::is_always_lock_free);
};

}  // namespace simulator

#endif
