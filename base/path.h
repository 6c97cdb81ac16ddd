// A path in a fixed buffer: put together from texts and numbers, cut to the buffer where it is too long,
// always terminated. By hand, because snprintf costs more than the reading of the node that the path leads
// to.
#ifndef TESSARY_BASE_PATH_H
#define TESSARY_BASE_PATH_H

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string_view>

namespace tessary {

template <std::size_t kBytes>
class Path {
 public:
  // path.join("cpu", 3, "/cpu_capacity"): the whole path, which the next call overwrites.
  template <typename... Parts>
  const char* join(const Parts&... parts) {
    length_ = 0;
    (append(parts), ...);
    text_[length_] = '\0';
    return text_;
  }

 private:
  void append(std::string_view part) {
    const std::size_t length = std::min(part.size(), kBytes - 1 - length_);
    std::memcpy(text_ + length_, part.data(), length);
    length_ += length;
  }
  void append(int number) {
    char digits[std::numeric_limits<int>::digits10 + 2];  // one more than always fits, and a sign
    const char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    append(std::string_view{digits, static_cast<std::size_t>(end - digits)});
  }

  char text_[kBytes];
  std::size_t length_ = 0;
};

}  // namespace tessary

#endif
