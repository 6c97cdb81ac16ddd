// libFuzzer's own time, which is the machine's. On a board's stepped time it would see neither an endless
// loop nor the end of -max_total_time. The linker turns the executable's own calls to these (--wrap); the
// library's go to the board. A libFuzzer with a C++ library inside asks the C library, others the shared one.

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <ctime>

extern "C" int __wrap_clock_gettime(clockid_t id, timespec* time) {
  return static_cast<int>(::syscall(SYS_clock_gettime, id, time));
}

extern "C" unsigned __wrap_sleep(unsigned seconds) {
  timespec time{static_cast<time_t>(seconds), 0};
  return ::syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &time, nullptr) == 0 ? 0 : seconds;
}

using SystemTime = std::chrono::system_clock::time_point;
SystemTime systemTime() __asm__("__wrap__ZNSt6chrono3_V212system_clock3nowEv");

SystemTime systemTime() {
  timespec time{};
  __wrap_clock_gettime(CLOCK_REALTIME, &time);
  return SystemTime{std::chrono::seconds{time.tv_sec} + std::chrono::nanoseconds{time.tv_nsec}};
}
