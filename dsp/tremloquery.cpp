#include "tessary/tremloquery.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "dsp/domain.h"
#include "dsp/remote_call.h"

namespace {

constexpr uint32_t scalarsWord(uint32_t method, uint32_t inputBuffers, uint32_t outputBuffers) {
  return method << 24 | inputBuffers << 16 | outputBuffers << 8;
}

constexpr uint32_t kInit = scalarsWord(2, 1, 0);
constexpr uint32_t kGetProfdata = scalarsWord(3, 1, 2);
constexpr uint32_t kDeinit = scalarsWord(4, 1, 0);
static_assert(kInit == 0x02010000 && kGetProfdata == 0x03010200 && kDeinit == 0x04010000);

// The scalar inputs of a method travel together in its first input buffer.
struct GetProfdataInput {
  uint32_t length;
  uint32_t npuFlag;
};
static_assert(sizeof(GetProfdataInput) == 8);

int invokeWithFlag(uint64_t handle, uint32_t scalars, uint32_t npuFlag) {
  remoteBuffer input{&npuFlag, sizeof npuFlag};
  return dsp::remoteInvoke(handle, scalars, &input);
}

const dsp::Domain* domainOf(int number) {
  switch (number) {
    case 0:
      return &dsp::kAdsp;
    case 2:
      return &dsp::kSdsp;
    case 3:
      return &dsp::kCdsp;
    default:
      return nullptr;
  }
}

}  // namespace

int tremloquery_open(const char* uri, uint64_t* handle) { return dsp::remoteOpen(uri, handle); }

int tremloquery_close(uint64_t handle) { return dsp::remoteClose(handle); }

int tremloquery_init(uint64_t handle, uint32_t npu_flag) { return invokeWithFlag(handle, kInit, npu_flag); }

int tremloquery_get_profdata(uint64_t handle, unsigned char* profdata_ptr, int length, uint32_t* no_metrics,
                             uint32_t npu_flag) {
  GetProfdataInput input{static_cast<uint32_t>(length), npu_flag};
  uint32_t metrics = 0;
  remoteBuffer buffers[] = {
      {&input, sizeof input}, {&metrics, sizeof metrics}, {profdata_ptr, static_cast<uint32_t>(length)}};
  const int status = dsp::remoteInvoke(handle, kGetProfdata, buffers);
  if (status == 0) *no_metrics = metrics;
  return status;
}

int tremloquery_deinit(uint64_t handle, uint32_t npu_flag) {
  return invokeWithFlag(handle, kDeinit, npu_flag);
}

int tremloquery_skel_handle_invoke(uint64_t handle, uint32_t scalars, remoteBuffer* buffers) {
  return dsp::remoteInvoke(handle, scalars, buffers);
}

int get_full_uri_info(const char* baseUri, char* output, int outputSize, int domain) {
  const dsp::Domain* const target = domainOf(domain);
  const auto size = static_cast<std::size_t>(std::max(outputSize, 0));
  if (size > 0) std::memset(output, 0, size);
  std::snprintf(output, size, "%s%s", baseUri, target != nullptr ? target->suffix : "");
  if (target == nullptr) return static_cast<int>(std::strlen(baseUri));
  return dsp::attachTo(*target);
}
