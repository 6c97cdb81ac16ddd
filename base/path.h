// A path in a fixed buffer: put together from texts and numbers, cut to the buffer where it is too long,
// always terminated. By hand, because snprintf costs more than the reading of the node that the path leads
// to.
#ifndef TESSARY_BASE_PATH_H
#define TESSARY_BASE_PATH_H

#include <charconv>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>

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
    const std::size_t space = kBytes - 1 - length_;
    if (part.size() <= space) {  // a copy of its own: of a literal it has a fixed length
      std::memcpy(text_ + length_, part.data(), part.size());
      length_ += part.size();
    } else {
      std::memcpy(text_ + length_, part.data(), space);
      length_ += space;
    }
  }
  void append(int number) {
    char* const start = text_ + length_;
    const std::to_chars_result written = std::to_chars(start, text_ + kBytes - 1, number);
    if (written.ec == std::errc{}) {
      length_ += static_cast<std::size_t>(written.ptr - start);
      return;
    }
    char digits[std::numeric_limits<int>::digits10 + 2];  // one more than always fits, and a sign
    const char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    append(std::string_view{digits, static_cast<std::size_t>(end - digits)});
  }

  char text_[kBytes];
  std::size_t length_ = 0;
};

}  // namespace tessary

#endif
