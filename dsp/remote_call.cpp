#include "tessary/remote_call.h"

#include <dlfcn.h>

#include "base/console.h"
#include "dsp/dsp_ids.h"
#include "tessary/dsp_mon.h"

int (*local_remote_handle64_open)(const char* uri, uint64_t* handle) = nullptr;
int (*local_remote_handle64_invoke)(uint64_t handle, uint32_t scalars, remoteBuffer* buffers) = nullptr;
int (*local_remote_handle64_close)(uint64_t handle) = nullptr;
void* (*local_rpcmem_alloc)(int heapId, uint32_t flags, int bytes) = nullptr;
void (*local_rpcmem_free)(void* memory) = nullptr;

namespace dsp {

namespace {

template <typename Function>
void bind(void* library, const char* name, Function*& entryPoint) {
  entryPoint = reinterpret_cast<Function*>(::dlsym(library, name));
}

}  // namespace

int DSP_MON::DSP_MON_INTERFACE::dsp_library_open() {
  if (dspId == kAdspId || dspId == kCdspId) {
    libraryHandle = ::dlopen("libcdsprpc.so", RTLD_NOW | RTLD_GLOBAL);
  }
  if (libraryHandle == nullptr) {
    // Absent when no opening was tried, unless the process has another failure pending.
    const char* const reason = ::dlerror();
    tessary::printLine(reason != nullptr ? reason : "");
    return -1;
  }
  bind(libraryHandle, "remote_handle64_open", local_remote_handle64_open);
  bind(libraryHandle, "remote_handle64_invoke", local_remote_handle64_invoke);
  bind(libraryHandle, "remote_handle64_close", local_remote_handle64_close);
  bind(libraryHandle, "rpcmem_alloc", local_rpcmem_alloc);
  bind(libraryHandle, "rpcmem_free", local_rpcmem_free);
  return 0;
}

}  // namespace dsp
