// The board's time. Stepped time stands still but for the waits: each wait moves the clock of the thread that
// waits by exactly what it asked for, as soon as it is its turn: see schedule.h. A thread starts with the time of the thread that created it
// and, when it is joined, passes its own on, so that monitors which wait side by side take one interval, not
// several, and every run with the same waits reads the same times. Real time is the machine's, counted from
// the board's start.
#ifndef TESSARY_SIMULATOR_BOARD_CLOCK_H
#define TESSARY_SIMULATOR_BOARD_CLOCK_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/board/process_times.h"

namespace simulator {

class Clock {
 public:
  enum class Mode { kStepped, kReal };

  explicit Clock(Mode mode, Nanoseconds start = 0);

  // Real, of a board that started at this time of the machine's boot clock, and at this date.
  static Clock since(Nanoseconds origin, Nanoseconds date);

  static Nanoseconds bootTime();  // the machine's
  static Nanoseconds date();      // likewise

  Mode mode() const { return mode_; }

  // Since the board's start, as the calling thread sees it.
  Nanoseconds now() const;

  // Passes `duration`: moves the thread's stepped time, or sleeps. What is left of it when a signal
  // interrupts.
  Nanoseconds wait(Nanoseconds duration);

  // The time since the board's start at which the clock `id` shows this.
  Nanoseconds timeAt(int id, Nanoseconds shown) const { return shown - (read(id) - now()); }

  // For joins: the calling thread's time becomes at least `time`.
  void advanceTo(Nanoseconds time);

  // The machine's clock `id`, read as the board's: stepped time counts from a fixed date.
  Nanoseconds read(int id) const;

  // The date, as nanoseconds since 1970.
  Nanoseconds dateAtStart() const { return date_; }

  // Since the machine's start, at the board's.
  Nanoseconds uptimeAtStart() const;

  // The times of the other processes on the board, when there are any, and their path: see process_times.h.
  void share(ProcessTimes* times, std::string path);
  void enterProcess() const;        // a process begins with what is the calling thread's time
  void joinProcess(pid_t process);  // a child has ended: as when a thread is joined
  void publish() const;             // the calling thread's time has moved
  void leaveProcess() const;        // the calling process ends

  // Whether the machine's process is one of the board's programs, and all that are.
  bool isOnBoard(pid_t process) const { return times_ != nullptr && times_->of(process); }
  std::vector<pid_t> processesOnBoard() const { return ProcessTimes::livingProcesses(timesPath_); }

 private:
  Mode mode_;
  ProcessTimes* times_ = nullptr;
  std::string timesPath_;
  Nanoseconds origin_;  // real time: the machine's boot clock at the board's start
  Nanoseconds date_;
};

}  // namespace simulator

#endif
