// How busy the GPU is, by the platform's profiler and by its driver.
#include <tessary/gpu_mon.h>

#include <cstdio>
#include <stdexcept>

int main() {
  gpu::GPU_MON gpu;  // starts the profiler, for the whole process
  gpu.implementation->get_GPU_MaxClock(gpu.implementation.get());  // without it there is no utilization
  try {
    gpu.tessary_getGPUSample();
    std::printf("%.0f MHz, %.1f percent, %.0f MB/s read, %.0f MB/s written\n", gpu.tessary_getGPUFrequency(),
                gpu.tessary_getGPUUtilization(), gpu.tessary_getReadBandwidth() / 1e6,
                gpu.tessary_getWriteBandwidth() / 1e6);
  } catch (const std::out_of_range&) {
    std::printf("no GPU profiler here\n");
  }
  const float busy = gpu.tessary_getGPUBusyPercent();
  if (busy < 0) return 1;  // no such driver
  std::printf("%.0f percent busy, as the driver has it\n", busy);
}
