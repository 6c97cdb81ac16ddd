// How a function stands in front of the one of the same name that comes after it.
#ifndef TESSARY_SIMULATOR_INTERPOSE_H
#define TESSARY_SIMULATOR_INTERPOSE_H

#include <dlfcn.h>

#define STANDS_IN extern "C" __attribute__((visibility("default")))

namespace simulator {

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace simulator

// The function of the same name that comes after this one.
#define NEXT(name)                                                          \
  ([] {                                                                     \
    static const auto following = simulator::next<decltype(::name)>(#name); \
    return following;                                                       \
  }())

#endif
