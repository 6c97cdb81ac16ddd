#ifndef TESSARY_GPU_GPU_LOG_H
#define TESSARY_GPU_GPU_LOG_H

#include "base/log.h"

namespace gpu {

constexpr tessary::LogChannel kLog{"libtessary : gpu_mon"};

}  // namespace gpu

#endif
