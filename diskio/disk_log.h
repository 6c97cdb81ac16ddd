#ifndef TESSARY_DISKIO_DISK_LOG_H
#define TESSARY_DISKIO_DISK_LOG_H

#include "base/log.h"

namespace diskio {

constexpr tessary::LogChannel kLog{"libtessary : disk_mon"};

}  // namespace diskio

#endif
