#include "tests/proof/calls.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <string_view>

#include "tests/proof/imports.h"

#ifdef __SANITIZE_THREAD__
extern "C" {
void AnnotateIgnoreSyncBegin(const char* file, int line);
void AnnotateIgnoreSyncEnd(const char* file, int line);
}
#endif

namespace proof {

namespace {

std::atomic<bool> counting{false};
const Call* failingCall = nullptr;
std::size_t failingTime = 0;
const Failure* failure = nullptr;

std::atomic<long> blocks{0};
std::atomic<long> blockBytes{0};

// Functions that do not fail, or whose failure has no effect that anybody could see: arithmetic, texts, numbers, the
// standard streams and the thread's own affairs.
constexpr std::string_view kHarmless[] = {
    "abort", "abs", "atoi", "cbrt", "ceil", "floor", "ldexp", "trunc", "clock_gettime", "cos", "deflate",
    "deflateEnd", "exp", "fflush", "fileno", "getenv", "gettimeofday", "gmtime_r", "inflate", "inflateEnd",
    "inflateReset", "eventfd_read", "isatty", "isdigit", "isspace", "lgamma_r", "localeconv", "log", "log10",
    "log1p", "lround", "mbrtowc", "memchr", "memcmp", "memcpy", "memmove", "memset", "nl_langinfo", "perror",
    "pow", "printf", "pthread_kill", "pthread_mutex_lock", "pthread_mutex_unlock", "pthread_once", "putchar",
    "puts", "raise", "round", "setenv", "setlocale", "sigaction", "signal", "snprintf", "sqrt", "strcasecmp",
    "strchr", "strcmp", "strcspn", "strerror", "strftime", "strlen", "strncmp", "strnlen", "strptime",
    "strtod", "strtol", "strtold", "strtoll", "strtoul", "strtoull", "timegm", "uname", "vsnprintf",
    "wcwidth", "eventfd_write", "strtof",
    // Of commands that are no part of this: compressed recordings, terminals, reading recordings, the server.
    "deflateInit2_", "inflateInit2_", "tcgetattr", "tcsetattr", "tmpfile", "fread", "fseek", "fwrite",
    "fgetc", "stat", "bind", "freeaddrinfo", "gai_strerror", "getaddrinfo", "getnameinfo", "getsockname",
    "inet_pton", "listen", "setsockopt", "shutdown", "socket"};
// The server's library.
constexpr std::string_view kHttp = "MHD_";

bool isHarmless(std::string_view name) {
  return name.front() == '_' || name.substr(0, kHttp.size()) == kHttp ||
         std::find(std::begin(kHarmless), std::end(kHarmless), name) != std::end(kHarmless);
}

Call* find(const std::string& name) {
  for (Call* const call : allCalls()) {
    if (name == call->name) return call;
  }
  return nullptr;
}

void begin() {
  for (Call* const call : allCalls()) call->made = 0;
  counting = true;
}

}  // namespace

std::vector<std::string> standInFor(const void* addressInObject) {
  std::vector<std::string> unknown;
  for (const Import& import : importsOf(addressInObject)) {
    Call* const call = find(import.name);
    if (call == nullptr) {
      if (!isHarmless(import.name)) unknown.push_back(import.name);
      continue;
    }
    call->next = ::dlsym(RTLD_DEFAULT, call->name);
    *import.slot = call->standIn;
  }
  return unknown;
}

void beginCounting() {
  failingCall = nullptr;
  begin();
}

void beginFailing(const Call& call, std::size_t nth, const Failure& how) {
  failingCall = &call;
  failingTime = nth;
  failure = &how;
  begin();
}

void endCounting() { counting = false; }

Memory liveMemory() { return {blocks, blockBytes}; }

const Failure* reached(Call& call) {
  if (!isCounting()) return nullptr;
  const std::size_t time = ++call.made;
  return &call == failingCall && time == failingTime ? failure : nullptr;
}

// The simulator's locks say nothing of the library, which takes none: what happens before what is not to be learned from
// them.
Beyond::Beyond() {
  ++depth();
#ifdef __SANITIZE_THREAD__
  AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
#endif
}

Beyond::~Beyond() {
#ifdef __SANITIZE_THREAD__
  AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
#endif
  --depth();
}

int& Beyond::depth() {
  static thread_local int depth = 0;
  return depth;
}

bool isCounting() { return counting && Beyond::depth() == 0; }

void noteAllocated(long bytes) {
  blocks.fetch_add(1, std::memory_order_relaxed);
  blockBytes.fetch_add(bytes, std::memory_order_relaxed);
}

void noteReleased(long bytes) {
  blocks.fetch_sub(1, std::memory_order_relaxed);
  blockBytes.fetch_sub(bytes, std::memory_order_relaxed);
}

}  // namespace proof
