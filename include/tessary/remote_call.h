// The entry points of the DSP remote-call library, libcdsprpc.so, which is loaded at run time.
//
// All five pointers are null at load. Each dsp::DSP_MON of DSP 2 or 3 stores them when it is constructed; the
// library stays loaded for the life of the process. An entry point that the loaded library lacks is null. The
// functions of tremloquery.h and dsp_query.h answer for a null one: status -1, no memory. The pointers are
// process-wide and unguarded: construct the monitors before sampling.
#ifndef TESSARY_REMOTE_CALL_H
#define TESSARY_REMOTE_CALL_H

#include <cstdint>

#include "tessary/export.h"

extern "C" {

// One argument buffer of a call: the inputs of the method come first in the array, then its outputs.
struct remoteBuffer {
  void* data;
  uint64_t length;  // bytes
};

// Opens the remote module that the URI names and stores its handle. 0 on success, else the library's status.
TESSARY_API extern int (*local_remote_handle64_open)(const char* uri, uint64_t* handle);

// Calls a method of a remote module. The scalars word has the method number in bits 24 to 28, and the numbers
// of input buffers in bits 16 to 23, output buffers in 8 to 15, input handles in 4 to 7, output handles in 0
// to 3. 0 on success, else the status of the library or of the method.
TESSARY_API extern int (*local_remote_handle64_invoke)(uint64_t handle, uint32_t scalars,
                                                       remoteBuffer* buffers);

TESSARY_API extern int (*local_remote_handle64_close)(uint64_t handle);

// Memory that can be shared with the DSP; null when there is none.
TESSARY_API extern void* (*local_rpcmem_alloc)(int heapId, uint32_t flags, int bytes);
TESSARY_API extern void (*local_rpcmem_free)(void* memory);

}  // extern "C"

#endif
