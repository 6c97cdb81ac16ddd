// Load and clock of the two DSPs, each over a quarter of a second, in their service's units.
#include <tessary/dsp_mon.h>

#include <cstdio>

int main() {
  constexpr struct {
    int id;
    const char* name;
  } kDsps[] = {{2, "adsp"}, {3, "cdsp"}};
  int failures = 0;
  for (const auto& [id, name] : kDsps) {
    dsp::DSP_MON monitor{id, 250L};
    if (monitor.tessary_getDSPSample() != 0) {
      std::printf("%s: no figures\n", name);
      ++failures;
      continue;
    }
    std::printf("%s: load %.1f, clock %lu\n", name, monitor.tessary_getDSPUtilization(),
                monitor.tessary_getDSPFrequency());
  }
  return failures;
}
