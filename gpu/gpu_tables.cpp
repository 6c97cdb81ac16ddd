#include "tessary/gpu_mon.h"

// Together in one file, which fixes the order: built from first to last when the library is loaded, destroyed
// from last to first when it is unloaded.
std::vector<std::string> gpuBasicMetrics = {"Clocks / Second", "GPU % Utilization", "GPU % Bus Busy",
                                            "Read Total (Bytes/sec)", "Write Total (Bytes/sec)"};
std::vector<int> requiredIndices;
std::vector<std::string> gpuHeaders;
std::vector<double> gpuValues;

GpuMetricEntry* gpuMap = nullptr;
