#include "tessary/dsp_query.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "base/path.h"
#include "dsp/domain.h"
#include "dsp/remote_call.h"
#include "tessary/tremloquery.h"

static_assert(sizeof(dspProfile) == 12);

namespace {

constexpr char kModuleUri[] = "file:///libtremloquery_skel.so?tremloquery_skel_handle_invoke&_modver=1.0";
constexpr std::size_t kUriBytes = 256;

constexpr int kUnknownName = 1;
constexpr int kNoMemory = 2;

// Of the memory that the profile record is shared in; their meaning is the remote-call library's.
constexpr int kHeapId = -1;
constexpr uint32_t kHeapFlags = 0x08000001;

// What a query holds. An entry is cleared as it is released, so that nothing is released twice. What is not
// released stays, as after an end that failed, until the next query of the name overwrites it.
struct Slot {
  uint64_t handle;
  dspProfile* profile;

  void releaseProfile() {
    if (profile != nullptr) dsp::freeShared(std::exchange(profile, nullptr));
  }

  void closeHandle() {
    if (handle != 0) tremloquery_close(std::exchange(handle, 0));
  }
};

Slot slots[5];  // number 1 is unused

struct Processor {
  const char* name;
  Slot& slot;
  const dsp::Domain& domain;
  uint32_t npuFlag;
};

constexpr Processor kProcessors[] = {
    {"adsp", slots[0], dsp::kAdsp, 0},
    {"sdsp", slots[2], dsp::kSdsp, 0},
    {"cdsp", slots[3], dsp::kCdsp, 0},
    {"npu", slots[4], dsp::kCdsp, 1},
};

// Null, and a line that says so, for a name that is no processor's.
const Processor* processorNamed(const char* name) {
  if (name == nullptr) name = "(null)";
  for (const Processor& processor : kProcessors) {
    if (::strcasecmp(processor.name, name) == 0) return &processor;
  }
  std::printf("Invalid m9 processor name: %s\n", name);
  return nullptr;
}

}  // namespace

int tremlo_query_setup(const char* name) {
  const Processor* const processor = processorNamed(name);
  if (processor == nullptr) return kUnknownName;
  Slot& slot = processor->slot;

  // Neither status counts: an attach that is not possible, or a module that does not open, shows in the first
  // call of a method, which goes to the handle that the slot has then.
  tessary::Path<kUriBytes> uri;
  dsp::attachTo(processor->domain);
  tremloquery_open(uri.join(kModuleUri, processor->domain.suffix), &slot.handle);

  const int status = tremloquery_init(slot.handle, processor->npuFlag);
  if (status != 0) {
    std::printf("tremloquery_init failed, return value: %d\n", status);
    slot.releaseProfile();
    slot.closeHandle();
    return status;
  }

  slot.profile = static_cast<dspProfile*>(dsp::allocateShared(kHeapId, kHeapFlags, sizeof(dspProfile)));
  if (slot.profile == nullptr) {
    std::puts("local_rpcmem_alloc failed");
    slot.closeHandle();
    return kNoMemory;
  }
  std::memset(slot.profile, 0, sizeof(dspProfile));
  return 0;
}

dspProfile* tremlo_query_getprof(const char* name, uint32_t* no_metrics) {
  if (no_metrics == nullptr) {
    std::puts("Invalid input: null pointer for no_metrics");
    return nullptr;
  }
  const Processor* const processor = processorNamed(name);
  if (processor == nullptr) return nullptr;
  const Slot& slot = processor->slot;
  const int status = tremloquery_get_profdata(slot.handle, reinterpret_cast<unsigned char*>(slot.profile),
                                              sizeof(dspProfile), no_metrics, processor->npuFlag);
  if (status != 0) {
    std::printf("tremloquery_get_profdata failed, return value: %d\n", status);
    return nullptr;
  }
  return slot.profile;
}

int tremlo_query_exit(const char* name) {
  const Processor* const processor = processorNamed(name);
  if (processor == nullptr) return kUnknownName;
  Slot& slot = processor->slot;
  const int status = tremloquery_deinit(slot.handle, processor->npuFlag);
  if (status != 0) return status;
  slot.releaseProfile();
  slot.closeHandle();
  return 0;
}
