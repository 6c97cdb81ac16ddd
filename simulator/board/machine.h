// The kernel itself, past everything that stands in front of the C library.
#ifndef TESSARY_SIMULATOR_BOARD_MACHINE_H
#define TESSARY_SIMULATOR_BOARD_MACHINE_H

#include <dlfcn.h>
#include <sys/syscall.h>

#include <ctime>

#include "simulator/board/time_units.h"

namespace simulator {

template <typename... Arguments>
long machineCall(long number, Arguments... arguments) {
  using Call = long(long, ...);
  static Call* const call = reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, "syscall"));
  return call(number, arguments...);
}

inline Nanoseconds machineClock(int id) {
  timespec time{};
  machineCall(SYS_clock_gettime, id, &time);
  return time.tv_sec * kNanosecondsInSecond + time.tv_nsec;
}

inline timespec timespecOf(Nanoseconds time) {
  return {time / kNanosecondsInSecond, time % kNanosecondsInSecond};
}

}  // namespace simulator

#endif
