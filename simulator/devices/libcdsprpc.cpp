// The DSP remote-call library of a simulated board: what dlopen finds there. Its five entry points end in the
// board's DspService (dsp_service.cpp), in the program that carries the simulator; in any other program
// the library does not load. Built once whole and once without each of them, for a library that is too old.

#include <cstdint>

namespace simulator {
struct DspBuffer;
}
using simulator::DspBuffer;

extern "C" {

int tessary_board_remote_open(const char* uri, std::uint64_t* handle);
int tessary_board_remote_invoke(std::uint64_t handle, std::uint32_t scalars, const DspBuffer* buffers);
int tessary_board_remote_close(std::uint64_t handle);
void* tessary_board_rpcmem_alloc(int heapId, std::uint32_t flags, int bytes);
void tessary_board_rpcmem_free(void* memory);

#ifndef WITHOUT_remote_handle64_open
int remote_handle64_open(const char* uri, std::uint64_t* handle) {
  return tessary_board_remote_open(uri, handle);
}
#endif

#ifndef WITHOUT_remote_handle64_invoke
int remote_handle64_invoke(std::uint64_t handle, std::uint32_t scalars, const DspBuffer* buffers) {
  return tessary_board_remote_invoke(handle, scalars, buffers);
}
#endif

#ifndef WITHOUT_remote_handle64_close
int remote_handle64_close(std::uint64_t handle) { return tessary_board_remote_close(handle); }
#endif

#ifndef WITHOUT_rpcmem_alloc
void* rpcmem_alloc(int heapId, std::uint32_t flags, int bytes) {
  return tessary_board_rpcmem_alloc(heapId, flags, bytes);
}
#endif

#ifndef WITHOUT_rpcmem_free
void rpcmem_free(void* memory) { tessary_board_rpcmem_free(memory); }
#endif

}  // extern "C"
