#ifndef TESSARY_CPU_CPU_LOG_H
#define TESSARY_CPU_CPU_LOG_H

#include "base/log.h"

namespace cpu {

constexpr tessary::LogChannel kLog{"libtessary : cpu_mon"};

inline void logAllocationFailure() { TESSARY_LOG_ERROR(kLog, "Error in calloc, null pointer returned.\n"); }

}  // namespace cpu

#endif
