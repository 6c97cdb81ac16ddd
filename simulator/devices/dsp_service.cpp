#include "simulator/devices/dsp_service.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace simulator {

namespace {

DspService* activeService = nullptr;

constexpr char kDomainMark[] = "&_dom=";
constexpr char kAttachMark[] = "attachuserpd";

// Handles use both words, so that one that is cut to 32 bits does not work.
constexpr std::uint64_t kFirstHandle = std::uint64_t{1} << 32 | 1;

constexpr int kNoService = 1;
constexpr int kNotHeld = 2;
constexpr int kNoSuchMethod = 3;

constexpr std::size_t inputsOf(std::uint32_t scalars) { return scalars >> 16 & 0xff; }
constexpr std::size_t outputsOf(std::uint32_t scalars) { return scalars >> 8 & 0xff; }

constexpr std::uint32_t kInit = 0x02010000;
constexpr std::uint32_t kGetProfdata = 0x03010200;
constexpr std::uint32_t kDeinit = 0x04010000;

template <typename... Values>
std::string formatted(const char* format, Values... values) {
  char text[32];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

std::string hex(const DspBuffer& buffer) {
  std::string text;
  for (std::uint64_t i = 0; i < buffer.length; ++i) {
    text += formatted("%02x", static_cast<const unsigned char*>(buffer.data)[i]);
  }
  return text;
}

}  // namespace

DspService::DspService(Board& board) : DspService{board, TESSARY_DSP_LIBRARY_FOLDER} {}

DspService::DspService(Board& board, const std::string& folder) : board_{board}, folder_{folder + "/"} {
  if (activeService != nullptr) throw std::logic_error("there is a DSP service already");
  activeService = this;
  board.library(kLibrary, folder_ + kLibrary);
}

DspService::~DspService() {
  activeService = nullptr;
  for (const auto& [memory, name] : buffers_) std::free(memory);
}

DspService* DspService::active() { return activeService; }

void DspService::profile(Profile profile) {
  const std::lock_guard lock{mutex_};
  profile_ = std::move(profile);
}

void DspService::fail(RemoteCall call, int status, int nth) {
  const std::lock_guard lock{mutex_};
  Script& script = scripts_[call];
  if (nth == kEach) {
    script.status = status;
  } else {
    script.statuses[script.made + nth] = status;
  }
}

void DspService::refuse(std::function<int(const std::string& dsp)> refusal) {
  const std::lock_guard lock{mutex_};
  refusals_.push_back(std::move(refusal));
}

void DspService::withoutEntryPoint(const std::string& name) {
  board_.library(kLibrary, folder_ + "libcdsprpc_without_" + name + ".so");
}

std::vector<std::string> DspService::calls() const {
  const std::lock_guard lock{mutex_};
  return calls_.events();
}

void DspService::forgetCalls() {
  const std::lock_guard lock{mutex_};
  calls_.forget();
}

void DspService::keepHistory(bool keep) {
  const std::lock_guard lock{mutex_};
  calls_.keep(keep);
}

std::size_t DspService::openHandles() const {
  const std::lock_guard lock{mutex_};
  return static_cast<std::size_t>(std::count_if(modules_.begin(), modules_.end(),
                                                [](const auto& entry) { return !entry.second.attached; }));
}

std::size_t DspService::liveBuffers() const {
  const std::lock_guard lock{mutex_};
  return buffers_.size();
}

int DspService::wrongReleases() const {
  const std::lock_guard lock{mutex_};
  return wrongReleases_;
}

int DspService::scripted(RemoteCall call) {
  Script& script = scripts_[call];
  const auto nth = script.statuses.find(++script.made);
  return nth != script.statuses.end() ? nth->second : script.status;
}

void DspService::record(std::string line, int status) {
  if (status != 0) line += formatted(" = %d", status);
  calls_.add(std::move(line));
}

int DspService::open(const char* uri, std::uint64_t* handle) {
  const std::lock_guard lock{mutex_};
  const std::string text{uri};
  Module module;
  module.name = "h" + std::to_string(++opened_);
  module.attached = text.find(kAttachMark) != std::string::npos;
  const std::size_t mark = text.find(kDomainMark);
  if (mark != std::string::npos) module.domain = text.substr(mark + sizeof kDomainMark - 1);

  const int status = scripted(module.attached ? RemoteCall::kAttach : RemoteCall::kOpen);
  record("open " + text + " -> " + (status == 0 ? module.name : "none"), status);
  if (status != 0) return status;
  *handle = kFirstHandle + opened_;
  // Nobody closes what is attached.
  if (calls_.isKept() || !module.attached) modules_[*handle] = module;
  return 0;
}

int DspService::invoke(std::uint64_t handle, std::uint32_t scalars, const DspBuffer* buffers) {
  const std::lock_guard lock{mutex_};
  const auto module = modules_.find(handle);
  const bool held = module != modules_.end();
  const int status = held ? runMethod(module->second, scalars, buffers) : kNotHeld;
  std::string line = "invoke " + (held ? module->second.name : "h?") + formatted(" %08x in", scalars);
  const DspBuffer* buffer = buffers;
  for (std::size_t left = inputsOf(scalars); left > 0; --left) line += " " + hex(*buffer++);
  if (outputsOf(scalars) > 0) line += " out";
  for (std::size_t left = outputsOf(scalars); left > 0; --left) {
    line += " " + std::to_string((buffer++)->length);
  }
  record(std::move(line), status);
  return status;
}

int DspService::runMethod(const Module& module, std::uint32_t scalars, const DspBuffer* buffers) {
  switch (scalars) {
    case kInit: {
      for (const auto& refusal : refusals_) {
        if (const int status = refusal(module.domain)) return status;
      }
      return scripted(RemoteCall::kInit);
    }
    case kDeinit:
      return scripted(RemoteCall::kDeinit);
    case kGetProfdata: {
      std::uint32_t input[2] = {};
      std::memcpy(input, buffers[0].data, std::min<std::uint64_t>(buffers[0].length, sizeof input));
      const DspFigures figures =
          profile_ ? profile_(input[1] != 0 ? "npu" : module.domain, board_.clock().now()) : DspFigures{};
      std::memcpy(buffers[1].data, &kMetrics, sizeof kMetrics);
      std::memcpy(buffers[2].data, &figures, std::min<std::uint64_t>(buffers[2].length, sizeof figures));
      return scripted(RemoteCall::kGetProfdata);
    }
    default:
      return kNoSuchMethod;
  }
}

int DspService::close(std::uint64_t handle) {
  const std::lock_guard lock{mutex_};
  const auto module = modules_.find(handle);
  if (module == modules_.end()) {
    ++wrongReleases_;
    record("close h?", kNotHeld);
    return kNotHeld;
  }
  const int status = scripted(RemoteCall::kClose);
  record("close " + module->second.name, status);
  modules_.erase(module);
  return status;
}

void* DspService::allocate(int heapId, std::uint32_t flags, int bytes) {
  const std::lock_guard lock{mutex_};
  std::string line = "alloc " + std::to_string(heapId) + formatted(" %08x ", flags) + std::to_string(bytes);
  if (scripted(RemoteCall::kAllocate) != 0) {
    record(line + " -> none");
    return nullptr;
  }
  // Not zeroed: the memory has been somebody else's.
  void* const memory = std::malloc(static_cast<std::size_t>(bytes));
  std::memset(memory, 0xa5, static_cast<std::size_t>(bytes));
  const std::string name = "m" + std::to_string(++allocated_);
  buffers_[memory] = name;
  record(line + " -> " + name);
  return memory;
}

void DspService::free(void* memory) {
  const std::lock_guard lock{mutex_};
  const auto buffer = buffers_.find(memory);
  if (buffer == buffers_.end()) {
    ++wrongReleases_;
    record("free m?");
    return;
  }
  record("free " + buffer->second);
  buffers_.erase(buffer);
  std::free(memory);
}

}  // namespace simulator

// -- what libcdsprpc.so calls. A board without DSPs refuses.

using simulator::DspBuffer;
using simulator::DspService;

#define CALLED_BY_THE_LIBRARY extern "C" __attribute__((visibility("default")))

CALLED_BY_THE_LIBRARY int tessary_board_remote_open(const char* uri, std::uint64_t* handle) {
  DspService* const service = DspService::active();
  return service != nullptr ? service->open(uri, handle) : simulator::kNoService;
}

CALLED_BY_THE_LIBRARY int tessary_board_remote_invoke(std::uint64_t handle, std::uint32_t scalars,
                                                      const DspBuffer* buffers) {
  DspService* const service = DspService::active();
  return service != nullptr ? service->invoke(handle, scalars, buffers) : simulator::kNoService;
}

CALLED_BY_THE_LIBRARY int tessary_board_remote_close(std::uint64_t handle) {
  DspService* const service = DspService::active();
  return service != nullptr ? service->close(handle) : simulator::kNoService;
}

CALLED_BY_THE_LIBRARY void* tessary_board_rpcmem_alloc(int heapId, std::uint32_t flags, int bytes) {
  DspService* const service = DspService::active();
  return service != nullptr ? service->allocate(heapId, flags, bytes) : nullptr;
}

CALLED_BY_THE_LIBRARY void tessary_board_rpcmem_free(void* memory) {
  if (DspService* const service = DspService::active()) service->free(memory);
}
