// How much memory there is, and how much programs can still have.
#include <tessary/memory_mon.h>

#include <cstdio>

int main() {
  memory::MEMORY_MON memory;
  const memory::finalMemStats* now =
      memory.tessary_getMemStats();  // the monitor's; the next call overwrites it
  // What cannot be read keeps its value, which is 0 at first: no machine has no memory.
  if (now == nullptr || now->totalMem == 0) return 1;
  std::printf("%llu of %llu MiB available\n", static_cast<unsigned long long>(now->availableMem / 1024),
              static_cast<unsigned long long>(now->totalMem / 1024));
}
