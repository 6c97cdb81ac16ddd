// A path in a fixed buffer: formatted, cut to the buffer where it is too long, always terminated.
#ifndef TESSARY_BASE_PATH_H
#define TESSARY_BASE_PATH_H

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace tessary {

template <std::size_t kBytes>
class Path {
 public:
  // Returns the formatted text, which the next call overwrites.
  __attribute__((format(printf, 2, 3))) const char* format(const char* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(text_, kBytes, pattern, arguments);
    va_end(arguments);
    return text_;
  }

 private:
  char text_[kBytes] = {};
};

}  // namespace tessary

#endif
