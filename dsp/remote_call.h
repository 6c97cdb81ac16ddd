// Calls through the entry points of the remote-call library. One that is not bound, because the library is
// not loaded or lacks it, fails as a call of it would.
#ifndef TESSARY_DSP_REMOTE_CALL_H
#define TESSARY_DSP_REMOTE_CALL_H

#include <cstdint>

#include "tessary/remote_call.h"

namespace dsp {

constexpr int kNotBound = -1;

inline int remoteOpen(const char* uri, std::uint64_t* handle) {
  return local_remote_handle64_open != nullptr ? local_remote_handle64_open(uri, handle) : kNotBound;
}

inline int remoteInvoke(std::uint64_t handle, std::uint32_t scalars, remoteBuffer* buffers) {
  return local_remote_handle64_invoke != nullptr ? local_remote_handle64_invoke(handle, scalars, buffers)
                                                 : kNotBound;
}

inline int remoteClose(std::uint64_t handle) {
  return local_remote_handle64_close != nullptr ? local_remote_handle64_close(handle) : kNotBound;
}

inline void* allocateShared(int heapId, std::uint32_t flags, int bytes) {
  return local_rpcmem_alloc != nullptr ? local_rpcmem_alloc(heapId, flags, bytes) : nullptr;
}

inline void freeShared(void* memory) {
  if (local_rpcmem_free != nullptr) local_rpcmem_free(memory);
}

}  // namespace dsp

#endif
