// The per-core nodes of sysfs.
#ifndef TESSARY_CPU_CPU_NODES_H
#define TESSARY_CPU_CPU_NODES_H

#include "base/path.h"

namespace cpu {

constexpr char kCpuFolder[] = "/sys/devices/system/cpu";

using NodePath = tessary::Path<100>;  // relative to kCpuFolder

}  // namespace cpu

#endif
