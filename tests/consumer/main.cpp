// A host program as a user writes it, built against an installed copy of the library. With "board" it expects
// the figures of a board, without it those of a machine that has no GPU, DSP or bandwidth profiler.
#include <tessary/cpu_mon.h>
#include <tessary/ddr_mon.h>
#include <tessary/dsp_mon.h>
#include <tessary/gpu_mon.h>
#include <tessary/version.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

int failures = 0;

void expect(bool met, const char* what) {
  std::printf("%s: %s\n", met ? "ok" : "FAILED", what);
  if (!met) ++failures;
}

bool gpuSamples(gpu::GPU_MON& gpu) {
  try {
    gpu.tessary_getGPUSample();
    return gpu.tessary_getGPUFrequency() > 0;
  } catch (const std::out_of_range&) {
    return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool onBoard = argc > 1 && std::strcmp(argv[1], "board") == 0;
  std::printf("%s\n", getLibraryVersion().c_str());

  cpu::CPU_MON cpu;
  cpu.implementation->samplingTime = 100;
  expect(cpu.tessary_getPerCoreUsage() != nullptr, "the load is measured");

  gpu::GPU_MON gpu;
  expect(gpuSamples(gpu) == onBoard, "the GPU is sampled on a board alone");

  dsp::DSP_MON dsp(2, 100L);
  expect((dsp.tessary_getDSPSample() == 0) == onBoard, "the DSP is sampled on a board alone");

  ddr::DDR_MON ddr;
  expect((ddr.tessary_getDDRStats() != nullptr) == onBoard, "the memory bus is measured on a board alone");
  return failures;
}
