// The kernel itself, past everything that stands in front of the C library.
#ifndef TESSARY_SIMULATOR_BOARD_MACHINE_H
#define TESSARY_SIMULATOR_BOARD_MACHINE_H

#include <dlfcn.h>
#include <sys/syscall.h>

#include <atomic>
#include <ctime>

#include "simulator/board/time_units.h"

namespace simulator {

template <typename... Arguments>
long machineCall(long number, Arguments... arguments) {
  using Call = long(long, ...);
  static Call* const call = reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, "syscall"));
  return call(number, arguments...);
}

// By the C library's own, which is no system call.
inline Nanoseconds machineClock(int id) {
  using Function = int(clockid_t, timespec*);
  static std::atomic<Function*> function{nullptr};
  if (function == nullptr) function = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, "clock_gettime"));
  timespec time{};
  function.load(std::memory_order_relaxed)(id, &time);
  return time.tv_sec * kNanosecondsInSecond + time.tv_nsec;
}

inline timespec timespecOf(Nanoseconds time) {
  return {time / kNanosecondsInSecond, time % kNanosecondsInSecond};
}

}  // namespace simulator

#endif
