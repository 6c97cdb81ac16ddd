// The DSPs of a board, as a program meets them: the remote-call library libcdsprpc.so, and behind it the
// monitoring service.
//
//   DspService dsps{board};
//   dsps.profile([](const std::string&, Nanoseconds) { return DspFigures{37.5F, 900, 0}; });
//   dsps.fail(RemoteCall::kDeinit, 14);
//
// The file that dlopen finds is libcdsprpc.cpp; its entry points end here. Every call is recorded as a line,
// with its arguments and input buffers byte by byte. Handles are named in the order of their opening, shared
// memory in that of its allocation:
//
//   open file:///libtremloquery_skel.so?..&_dom=adsp -> h2
//   invoke h2 02010000 in 00000000
//   alloc -1 08000001 12 -> m1
//   invoke h2 03010200 in 0c00000000000000 out 4 12
//   invoke h2 04010000 in 00000000 = 14
//   free m1
//   close h2
//
// " = " and the status follow where it is not 0; a handle or memory that is not the service's is h? or m?.
#ifndef TESSARY_SIMULATOR_DEVICES_DSP_SERVICE_H
#define TESSARY_SIMULATOR_DEVICES_DSP_SERVICE_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/board/fork_safe_mutex.h"
#include "simulator/board/history.h"

namespace simulator {

// Where a result can be scripted. The calls of a method are invocations; the attach is an opening.
enum class RemoteCall { kAttach, kOpen, kInit, kGetProfdata, kDeinit, kClose, kAllocate };

struct DspFigures {
  float load;
  std::uint32_t clockFrequency;
  std::uint32_t third;
};

// As the remote-call library's callers lay it out.
struct DspBuffer {
  void* data;
  std::uint64_t length;
};

class DspService {
 public:
  // `dsp` is "adsp", "sdsp", "cdsp" or "npu"; the time is the board's.
  using Profile = std::function<DspFigures(const std::string& dsp, Nanoseconds now)>;

  static constexpr char kLibrary[] = "libcdsprpc.so";
  static constexpr std::uint32_t kMetrics = 2;  // that get_profdata says the record has
  static constexpr int kEach = 0;

  // Makes the library known to the board; it is in the build tree, or in the folder. One service at a time.
  explicit DspService(Board& board);
  DspService(Board& board, const std::string& folder);
  ~DspService();
  DspService(const DspService&) = delete;
  DspService& operator=(const DspService&) = delete;

  static DspService* active();

  void profile(Profile profile);

  // The n-th call from now on (1: the next), or each call, ends with this status; an allocation with any but
  // 0 returns null. A failing method has written its outputs all the same; a failing opening gives no handle.
  void fail(RemoteCall call, int status, int nth = kEach);

  // Asked at each init, one after the other: the first status that is not 0 is what it ends with.
  void refuse(std::function<int(const std::string& dsp)> refusal);

  // dlopen finds a library without this entry point from now on.
  void withoutEntryPoint(const std::string& name);

  std::vector<std::string> calls() const;
  void forgetCalls();
  void keepHistory(bool keep);  // or not: for a program that runs for hours

  // What is held: the attach handles, which are never closed, apart.
  std::size_t openHandles() const;
  std::size_t liveBuffers() const;

  // Closes and frees of what is not held, a second time for one.
  int wrongReleases() const;

  // -- the entry points of the library
  int open(const char* uri, std::uint64_t* handle);
  int invoke(std::uint64_t handle, std::uint32_t scalars, const DspBuffer* buffers);
  int close(std::uint64_t handle);
  void* allocate(int heapId, std::uint32_t flags, int bytes);
  void free(void* memory);

 private:
  struct Module {
    std::string name;    // h1, h2 ..
    std::string domain;  // of the URI's suffix
    bool attached = false;
  };

  struct Script {
    int status = 0;               // of each call
    std::map<int, int> statuses;  // of the n-th from now on
    int made = 0;
  };

  int scripted(RemoteCall call);
  int runMethod(const Module& module, std::uint32_t scalars, const DspBuffer* buffers);
  void record(std::string line, int status = 0);

  Board& board_;
  const std::string folder_;
  mutable ForkSafeMutex mutex_;  // monitors may wait side by side
  Profile profile_;
  std::vector<std::function<int(const std::string&)>> refusals_;
  std::map<RemoteCall, Script> scripts_;
  std::map<std::uint64_t, Module> modules_;
  std::map<void*, std::string> buffers_;  // m1, m2 ..
  std::uint64_t opened_ = 0;
  std::uint64_t allocated_ = 0;
  int wrongReleases_ = 0;
  History<std::string> calls_;
};

}  // namespace simulator

#endif
