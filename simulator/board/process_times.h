// The times of the processes on one board, in memory that all of them map: what makes stepped time pass from
// a program to the commands that it starts, and back when it waits for their end. It says as well which of
// the machine's processes are on the board.
//
// The table is a file whose path is handed on in the environment. Each process opens, maps and closes it as
// it starts, so that it holds no descriptor of a program's, and is there as long as any process of the board;
// the last one to end, or else the next board to start, removes it.
#ifndef TESSARY_SIMULATOR_BOARD_PROCESS_TIMES_H
#define TESSARY_SIMULATOR_BOARD_PROCESS_TIMES_H

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/board/time_units.h"

namespace simulator {

class ProcessTimes {
 public:
  ProcessTimes() = delete;

  // A new table of a board that starts now, with the calling process in it: its path. Throws
  // std::system_error.
  static std::string create();

  // Where the board is read from that was unpacked for those in the table: it is removed with that.
  static std::string boardBeside(const std::string& path) { return path + ".board"; }

  // Null when there is no table of this user's at the path: another file is never mapped. It stays mapped
  // until the process ends.
  static ProcessTimes* attach(const std::string& path);

  // Those of the table at the path that have not ended. Zombies have not.
  static std::vector<pid_t> livingProcesses(const std::string& path);

  // The calling process is about to end: the last one removes the table.
  static void leave(const std::string& path);

  // Removes the tables of boards on which nothing runs any more.
  static void removeDeserted();

  // The machine's boot clock and its date at the board's start.
  Nanoseconds origin() const { return header_.origin; }
  Nanoseconds date() const { return header_.date; }

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

  struct Header {
    char mark[32];
    Nanoseconds origin;
    Nanoseconds date;
  };

  static int open(const std::string& path);
  static void remove(const std::string& path);
  Time& entry(pid_t process) { return times_[static_cast<std::size_t>(process) % kProcesses]; }
  const Time& entry(pid_t process) const { return times_[static_cast<std::size_t>(process) % kProcesses]; }

  Header header_;
  Time times_[kProcesses];

  static_assert(Time::is_always_lock_free);
};

}  // namespace simulator

#endif
