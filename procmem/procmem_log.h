#ifndef TESSARY_PROCMEM_PROCMEM_LOG_H
#define TESSARY_PROCMEM_PROCMEM_LOG_H

#include "base/log.h"

namespace procmem {

constexpr tessary::LogChannel kLog{"libtessary : procmem_mon"};

inline void logAllocationFailure() { TESSARY_LOG_ERROR(kLog, "Error in calloc, null pointer returned.\n"); }

}  // namespace procmem

#endif
