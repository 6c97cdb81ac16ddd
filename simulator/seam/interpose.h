// How a function stands in front of the one of the same name that comes after it.
#ifndef TESSARY_SIMULATOR_SEAM_INTERPOSE_H
#define TESSARY_SIMULATOR_SEAM_INTERPOSE_H

#include <dlfcn.h>

#include <atomic>
#include <cerrno>

#define STANDS_IN extern "C" __attribute__((visibility("default")))

namespace simulator {

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

// The same, looked up once. No static with a guard: a fork could find it held.
template <typename Function>
Function* next(const char* name, std::atomic<void*>& known) {
  if (known == nullptr) known = ::dlsym(RTLD_NEXT, name);
  return reinterpret_cast<Function*>(known.load(std::memory_order_relaxed));
}

inline int fail(int error) {
  errno = error;
  return -1;
}

}  // namespace simulator

// The function of the same name that comes after this one.
#define NEXT(name)                                          \
  ([] {                                                     \
    static std::atomic<void*> known{nullptr};               \
    return simulator::next<decltype(::name)>(#name, known); \
  }())

#endif
