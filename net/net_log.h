#ifndef TESSARY_NET_NET_LOG_H
#define TESSARY_NET_NET_LOG_H

#include "base/log.h"

namespace net {

constexpr tessary::LogChannel kLog{"libtessary : net_mon"};

}  // namespace net

#endif
