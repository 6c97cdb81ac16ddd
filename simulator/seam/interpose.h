// How a function stands in front of the one of the same name that comes after it.
#ifndef TESSARY_SIMULATOR_SEAM_INTERPOSE_H
#define TESSARY_SIMULATOR_SEAM_INTERPOSE_H

#include <dlfcn.h>

#include <cerrno>

#define STANDS_IN extern "C" __attribute__((visibility("default")))

namespace simulator {

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

inline int fail(int error) {
  errno = error;
  return -1;
}

}  // namespace simulator

// The function of the same name that comes after this one.
#define NEXT(name)                                                          \
  ([] {                                                                     \
    static const auto following = simulator::next<decltype(::name)>(#name); \
    return following;                                                       \
  }())

#endif
