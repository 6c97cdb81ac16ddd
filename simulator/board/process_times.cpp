#include "simulator/board/process_times.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace simulator {

int ProcessTimes::create(Nanoseconds origin) {
  const int descriptor = ::memfd_create("tessary-board-times", 0U);
  if (descriptor < 0) return -1;
  const bool written = ::ftruncate(descriptor, sizeof(ProcessTimes)) == 0 &&
                       ::pwrite(descriptor, &origin, sizeof origin, 0) == sizeof origin;
  return written ? descriptor : -1;
}

ProcessTimes* ProcessTimes::attach(const char* path) {
  const int descriptor = ::open(path, O_RDWR | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  void* const table =
      ::mmap(nullptr, sizeof(ProcessTimes), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  ::close(descriptor);
  return table != MAP_FAILED ? static_cast<ProcessTimes*>(table) : nullptr;
}

std::optional<Nanoseconds> ProcessTimes::of(pid_t process) const {
  const Nanoseconds kept = entry(process);
  return kept != 0 ? std::optional{kept - 1} : std::nullopt;
}

void ProcessTimes::begin(pid_t process, Nanoseconds time) { entry(process) = time + 1; }

void ProcessTimes::advance(pid_t process, Nanoseconds time) {
  Time& kept = entry(process);
  Nanoseconds earlier = kept;
  while (earlier < time + 1 && !kept.compare_exchange_weak(earlier, time + 1)) {
  }
}

std::optional<Nanoseconds> ProcessTimes::end(pid_t process) {
  const Nanoseconds kept = entry(process).exchange(0);
  return kept != 0 ? std::optional{kept - 1} : std::nullopt;
}

}  // namespace simulator
