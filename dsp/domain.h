// A DSP of the SoC as the remote-call library addresses it.
#ifndef TESSARY_DSP_DOMAIN_H
#define TESSARY_DSP_DOMAIN_H

#include <cstdint>

#include "dsp/remote_call.h"

namespace dsp {

struct Domain {
  const char* suffix;     // ends the URI of a module that runs there
  const char* attachUri;  // names no module: opening it attaches the process to the domain
};

constexpr Domain kAdsp{"&_dom=adsp", "'\":;./\\attachuserpd&_dom=adsp"};
constexpr Domain kSdsp{"&_dom=sdsp", "'\":;./\\attachuserpd&_dom=sdsp"};
constexpr Domain kCdsp{"&_dom=cdsp", "'\":;./\\attachuserpd&_dom=cdsp"};

// Attaches the process, which is an effect inside the remote-call library. The handle stands for nothing and
// is not closed, by design.
inline int attachTo(const Domain& domain) {
  std::uint64_t handle = 0;
  return remoteOpen(domain.attachUri, &handle);
}

}  // namespace dsp

#endif
