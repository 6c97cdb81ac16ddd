// How each call can fail, and what stands in for it.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "tessary/remote_call.h"
#include "tessary/zoltrace.h"
#include "tests/proof/calls.h"

struct pollfd;

namespace proof {

namespace {

void* nextOf(const Call& call) { return call.next.load(std::memory_order_relaxed); }

// -- how a call fails, by what it returns

template <typename Result>
Result failAs(const Failure& how) {
  if constexpr (std::is_same_v<Result, ztResultCode>) {
    return static_cast<ztResultCode>(how.code);
  } else if constexpr (std::is_pointer_v<Result>) {
    errno = how.code;
    return nullptr;
  } else {
    errno = how.code;
    return -1;
  }
}

// Where it fails it has not been made.
template <Call& kCall, typename Function>
struct StandIn;
template <Call& kCall, typename Result, typename... Arguments>
struct StandIn<kCall, Result(Arguments...)> {
  static Result answer(Arguments... arguments) {
    if (const Failure* const how = reached(kCall)) return failAs<Result>(*how);
    const Beyond beyond;
    return reinterpret_cast<Result (*)(Arguments...)>(nextOf(kCall))(arguments...);
  }
};

// What it was to give up is gone, whatever it says.
template <Call& kCall, typename Argument>
int giveUp(Argument argument) {
  const Failure* const how = reached(kCall);
  const Beyond beyond;
  const int result = reinterpret_cast<int (*)(Argument)>(nextOf(kCall))(argument);
  return how != nullptr ? failAs<int>(*how) : result;
}

template <typename Function>
void* address(Function* function) {
  return reinterpret_cast<void*>(function);
}

#define TESSARY_FAILURE(error) \
  { #error, error }

// -- files

extern Call open_, openat_, ioctl_, read_, fcntl_;
using Opening = int(const char*, int, ...);
using OpeningAt = int(int, const char*, int, ...);
using Control = int(int, unsigned long, ...);
using Command = int(int, int, ...);

int openStandIn(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (const Failure* const how = reached(open_)) return failAs<int>(*how);
  const Beyond beyond;
  return reinterpret_cast<Opening*>(nextOf(open_))(path, flags, mode);
}

int openatStandIn(int folder, const char* path, int flags, ...) {
  if (const Failure* const how = reached(openat_)) return failAs<int>(*how);
  const Beyond beyond;
  return reinterpret_cast<OpeningAt*>(nextOf(openat_))(folder, path, flags);
}

int ioctlStandIn(int descriptor, unsigned long request, ...) {
  std::va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  constexpr int kSmallestError = 0;
  if (const Failure* const how = reached(ioctl_)) {
    if (std::string_view{how->name} != "result 7" && how->code > kSmallestError) return failAs<int>(*how);
    return how->code;
  }
  const Beyond beyond;
  return reinterpret_cast<Control*>(nextOf(ioctl_))(descriptor, request, argument);
}

int fcntlStandIn(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (const Failure* const how = reached(fcntl_)) return failAs<int>(*how);
  const Beyond beyond;
  return reinterpret_cast<Command*>(nextOf(fcntl_))(descriptor, command, argument);
}

ssize_t readStandIn(int descriptor, void* target, std::size_t bytes) {
  if (const Failure* const how = reached(read_)) return how->code != 0 ? failAs<ssize_t>(*how) : 0;
  const Beyond beyond;
  return reinterpret_cast<decltype(&::read)>(nextOf(read_))(descriptor, target, bytes);
}

#define TESSARY_NOT_OPENED                                                                            \
  TESSARY_FAILURE(EACCES), TESSARY_FAILURE(ENOENT), TESSARY_FAILURE(EMFILE), TESSARY_FAILURE(ENFILE), \
      TESSARY_FAILURE(ENOMEM)

Call open_{
    "open", {TESSARY_NOT_OPENED, TESSARY_FAILURE(ENXIO), TESSARY_FAILURE(EBUSY)}, address(openStandIn)};
Call openat_{
    "openat", {TESSARY_NOT_OPENED, TESSARY_FAILURE(ENODEV), TESSARY_FAILURE(EINVAL)}, address(openatStandIn)};
Call read_{"read",
           {TESSARY_FAILURE(EINTR),
            TESSARY_FAILURE(EIO),
            TESSARY_FAILURE(EAGAIN),
            TESSARY_FAILURE(EINVAL),
            TESSARY_FAILURE(ESRCH),
            {"end of file", 0}},
           address(readStandIn)};
Call close_{"close", {TESSARY_FAILURE(EINTR), TESSARY_FAILURE(EIO)}, address(giveUp<close_, int>)};
Call access_{
    "access",
    {TESSARY_FAILURE(EACCES), TESSARY_FAILURE(ENOENT), TESSARY_FAILURE(EIO), TESSARY_FAILURE(ENOMEM)},
    address(StandIn<access_, int(const char*, int)>::answer)};
Call ioctl_{"ioctl",
            {TESSARY_FAILURE(EFAULT),
             TESSARY_FAILURE(EINVAL),
             TESSARY_FAILURE(ENOTTY),
             TESSARY_FAILURE(EIO),
             TESSARY_FAILURE(EBUSY),
             {"result 7", 7}},
            address(ioctlStandIn)};
Call fcntl_{"fcntl", {TESSARY_FAILURE(EMFILE), TESSARY_FAILURE(EBADF)}, address(fcntlStandIn)};
Call dup2_{"dup2",
           {TESSARY_FAILURE(EMFILE), TESSARY_FAILURE(EBUSY)},
           address(StandIn<dup2_, int(int, int)>::answer)};
Call write_{"write",
            {TESSARY_FAILURE(EINTR), TESSARY_FAILURE(EIO), TESSARY_FAILURE(ENOSPC), TESSARY_FAILURE(EPIPE)},
            address(StandIn<write_, ssize_t(int, const void*, std::size_t)>::answer)};
Call lseek_{"lseek", {TESSARY_FAILURE(ESPIPE)}, address(StandIn<lseek_, off_t(int, off_t, int)>::answer)};
Call fstat_{"fstat", {TESSARY_FAILURE(ENOMEM)}, address(StandIn<fstat_, int(int, struct stat*)>::answer)};
Call ftruncate_{"ftruncate", {TESSARY_FAILURE(EIO)}, address(StandIn<ftruncate_, int(int, off_t)>::answer)};
Call flock_{"flock",
            {TESSARY_FAILURE(ENOLCK), TESSARY_FAILURE(EINTR)},
            address(StandIn<flock_, int(int, int)>::answer)};
Call fdatasync_{"fdatasync",
                {TESSARY_FAILURE(EIO), TESSARY_FAILURE(ENOSPC), TESSARY_FAILURE(EINVAL)},
                address(StandIn<fdatasync_, int(int)>::answer)};
Call eventfd_{"eventfd",
              {TESSARY_FAILURE(EMFILE), TESSARY_FAILURE(ENFILE), TESSARY_FAILURE(ENOMEM)},
              address(StandIn<eventfd_, int(unsigned, int)>::answer)};
Call poll_{"poll",
           {TESSARY_FAILURE(EINTR), TESSARY_FAILURE(ENOMEM)},
           address(StandIn<poll_, int(pollfd*, unsigned long, int)>::answer)};

// -- folders

Call opendir_{"opendir", {TESSARY_NOT_OPENED}, address(StandIn<opendir_, DIR*(const char*)>::answer)};
Call readdir_{"readdir",
              {TESSARY_FAILURE(EIO), TESSARY_FAILURE(ENOENT)},
              address(StandIn<readdir_, dirent*(DIR*)>::answer)};
Call closedir_{"closedir", {TESSARY_FAILURE(EINTR)}, address(giveUp<closedir_, DIR*>)};
Call dirfd_{"dirfd", {}, address(StandIn<dirfd_, int(DIR*)>::answer)};

// -- streams, which the C++ library opens for the tool

Call fopen_{
    "fopen", {TESSARY_NOT_OPENED}, address(StandIn<fopen_, std::FILE*(const char*, const char*)>::answer)};
Call fopen64_{"fopen64",
              {TESSARY_NOT_OPENED},
              address(StandIn<fopen64_, std::FILE*(const char*, const char*)>::answer)};
Call fclose_{"fclose", {TESSARY_FAILURE(EIO)}, address(giveUp<fclose_, std::FILE*>)};
Call fgets_{"fgets", {TESSARY_FAILURE(EIO)}, address(StandIn<fgets_, char*(char*, int, std::FILE*)>::answer)};

// -- commands: a pipe that holds what the command would have written

std::map<std::string, std::string>& commandOutputs() {
  static std::map<std::string, std::string> outputs;
  return outputs;
}

std::FILE* streamOf(const std::string& text) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return nullptr;
  const bool isWritten = ::write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
  ::close(ends[1]);
  return isWritten ? ::fdopen(ends[0], "r") : nullptr;
}

extern Call popen_;

std::FILE* popenStandIn(const char* command, const char*) {
  const Failure* const how = reached(popen_);
  if (how != nullptr && how->code != 0) return failAs<std::FILE*>(*how);
  const Beyond beyond;
  const auto output = commandOutputs().find(command);
  return streamOf(how == nullptr && output != commandOutputs().end() ? output->second : "");
}

Call popen_{"popen",
            {TESSARY_FAILURE(EMFILE),
             TESSARY_FAILURE(ENFILE),
             TESSARY_FAILURE(ENOMEM),
             TESSARY_FAILURE(EAGAIN),
             {"no output", 0}},
            address(popenStandIn)};

extern Call pclose_;

int pcloseStandIn(std::FILE* stream) {
  const Failure* const how = reached(pclose_);
  const Beyond beyond;
  const int result = std::fclose(stream);
  return how != nullptr ? failAs<int>(*how) : result;
}

Call pclose_{"pclose", {TESSARY_FAILURE(ECHILD), TESSARY_FAILURE(EINTR)}, address(pcloseStandIn)};

// -- memory of the library's own

struct alignas(std::max_align_t) Head {
  std::size_t bytes;
};

extern Call calloc_;

void* callocStandIn(std::size_t count, std::size_t bytes) {
  if (const Failure* const how = reached(calloc_)) return failAs<void*>(*how);
  std::size_t all = 0;
  if (__builtin_mul_overflow(count, bytes, &all) || all > PTRDIFF_MAX - sizeof(Head)) return nullptr;
  void* const memory = std::calloc(1, sizeof(Head) + all);
  if (memory == nullptr) return nullptr;
  noteAllocated(static_cast<long>(all));
  return new (memory) Head{all} + 1;
}

void freeStandIn(void* block) {
  if (block == nullptr) return;
  Head* const head = static_cast<Head*>(block) - 1;
  noteReleased(static_cast<long>(head->bytes));
  std::free(head);
}

Call calloc_{"calloc", {TESSARY_FAILURE(ENOMEM)}, address(callocStandIn)};
Call free_{"free", {}, address(freeStandIn)};

// -- waiting, and what the machine says of itself

Call usleep_{"usleep", {TESSARY_FAILURE(EINTR)}, address(StandIn<usleep_, int(unsigned)>::answer)};
Call sysconf_{"sysconf", {}, address(StandIn<sysconf_, long(int)>::answer)};

// A line of the log, which nobody reads here, is formatted as ever.
__attribute__((format(printf, 3, 4))) int logStandIn(int, const char*, const char* format, ...) {
  char text[1024];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return length;
}

Call log_{"__android_log_print", {}, address(logStandIn)};

// -- the GPU profiler

#define TESSARY_PROFILER(variable, name, ...)                                                              \
  Call variable {                                                                                          \
    name,                                                                                                  \
        {TESSARY_FAILURE(ztTimeout), TESSARY_FAILURE(ztInvalidParameter), TESSARY_FAILURE(ztInvalidState), \
         TESSARY_FAILURE(ztInternalFailure)},                                                              \
        address(StandIn<variable, ztResultCode(__VA_ARGS__)>::answer)                                      \
  }

extern Call init_, list_, start_, values_, stop_, shutdown_;
TESSARY_PROFILER(init_, "zoltrace_Init", void*, void*);
TESSARY_PROFILER(list_, "zoltrace_GetAvailableRealtimeMetrics", ztRealtimeMetricProperties**, uint64_t*);
TESSARY_PROFILER(start_, "zoltrace_StartRealtimeMonitor", const uint32_t*, uint32_t);
TESSARY_PROFILER(values_, "zoltrace_GetRealtimeValues", ztRealtimeMetricValue**, uint64_t*);
TESSARY_PROFILER(stop_, "zoltrace_StopRealtimeMonitor", void);
TESSARY_PROFILER(shutdown_, "zoltrace_Shutdown", void);

// -- the DSPs' remote calls, which the library finds by their names

#define TESSARY_REFUSED \
  {"status -1", -1}, {"status 1", 1}, { "status 39", 39 }

template <Call& kCall, typename... Arguments>
int remoteStandIn(Arguments... arguments) {
  if (const Failure* const how = reached(kCall)) return how->code;
  const Beyond beyond;
  return reinterpret_cast<int (*)(Arguments...)>(nextOf(kCall))(arguments...);
}

extern Call remoteOpen_, remoteInvoke_, remoteClose_, allocateShared_, freeShared_;
Call remoteOpen_{
    "remote_handle64_open", {TESSARY_REFUSED}, address(remoteStandIn<remoteOpen_, const char*, uint64_t*>)};
Call remoteInvoke_{"remote_handle64_invoke",
                   {TESSARY_REFUSED},
                   address(remoteStandIn<remoteInvoke_, uint64_t, uint32_t, remoteBuffer*>)};

// The service has closed it, whatever it says.
int remoteCloseStandIn(uint64_t handle) {
  const Failure* const how = reached(remoteClose_);
  const Beyond beyond;
  const int status = reinterpret_cast<int (*)(uint64_t)>(nextOf(remoteClose_))(handle);
  return how != nullptr ? how->code : status;
}

void freeSharedStandIn(void* memory) {
  const Beyond beyond;
  reinterpret_cast<void (*)(void*)>(nextOf(freeShared_))(memory);
}

Call remoteClose_{"remote_handle64_close", {TESSARY_REFUSED}, address(remoteCloseStandIn)};
Call allocateShared_{
    "rpcmem_alloc", {{"null", 0}}, address(StandIn<allocateShared_, void*(int, uint32_t, int)>::answer)};
Call freeShared_{"rpcmem_free", {}, address(freeSharedStandIn)};

// -- loading

extern Call dlsym_;

void* dlsymStandIn(void* library, const char* name) {
  if (reached(dlsym_) != nullptr) return nullptr;
  const Beyond beyond;
  void* const found = ::dlsym(library, name);
  for (Call* const call : {&remoteOpen_, &remoteInvoke_, &remoteClose_, &allocateShared_, &freeShared_}) {
    if (found == nullptr || std::string_view{name} != call->name) continue;
    call->next.store(found, std::memory_order_relaxed);
    return call->standIn;
  }
  return found;
}

Call dlopen_{"dlopen", {{"null", 0}}, address(StandIn<dlopen_, void*(const char*, int)>::answer)};
Call dlsym_{"dlsym", {{"null", 0}}, address(dlsymStandIn)};
Call dlerror_{"dlerror", {}, address(StandIn<dlerror_, char*()>::answer)};
Call dlclose_{"dlclose", {}, address(StandIn<dlclose_, int(void*)>::answer)};

// -- threads, which the C++ library starts for the tool; the error is the result

extern Call thread_;

int threadStandIn(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
  if (const Failure* const how = reached(thread_)) return how->code;
  const Beyond beyond;
  return ::pthread_create(thread, attributes, run, argument);
}

Call thread_{"pthread_create", {TESSARY_FAILURE(EAGAIN)}, address(threadStandIn)};

}  // namespace

Call kNew{"operator new", {{"bad_alloc", ENOMEM}}, nullptr};

const std::vector<Call*>& allCalls() {
  static const std::vector<Call*> all{
      &open_,       &openat_,       &read_,        &close_,          &access_,    &ioctl_,   &fcntl_,
      &dup2_,       &write_,        &lseek_,       &fstat_,          &ftruncate_, &flock_,   &fdatasync_,
      &eventfd_,    &poll_,         &opendir_,     &readdir_,        &closedir_,  &dirfd_,   &fopen_,
      &fopen64_,    &fclose_,       &fgets_,       &popen_,          &pclose_,    &calloc_,  &free_,
      &usleep_,     &sysconf_,      &log_,         &init_,           &list_,      &start_,   &values_,
      &stop_,       &shutdown_,     &dlopen_,      &dlsym_,          &dlerror_,   &dlclose_, &thread_,
      &remoteOpen_, &remoteInvoke_, &remoteClose_, &allocateShared_, &kNew};
  return all;
}

void answerCommand(const std::string& command, const std::string& output) {
  commandOutputs()[command] = output;
}

}  // namespace proof
