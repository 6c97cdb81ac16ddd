// The floor's own reading and scanning: nothing but the system calls that cannot be left out, and a parser
// without a single check. It trusts its input, so it is no model for anything but speed.
#ifndef TESSARY_BENCH_FLOOR_H
#define TESSARY_BENCH_FLOOR_H

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace bench {

struct Text {
  char bytes[65536];
  std::size_t length = 0;

  // By one read: a sysfs attribute, and a /proc text that the kernel makes in one piece.
  bool readOnce(int folder, const char* path) {
    const int descriptor = ::openat(folder, path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const ssize_t count = ::read(descriptor, bytes, sizeof bytes - 1);
    ::close(descriptor);
    length = count > 0 ? static_cast<std::size_t>(count) : 0;
    bytes[length] = '\0';
    return true;
  }

  // Until read returns 0: a /proc text that the kernel makes entry by entry.
  bool readAll(int folder, const char* path) {
    const int descriptor = ::openat(folder, path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    length = 0;
    for (;;) {
      const ssize_t count = ::read(descriptor, bytes + length, sizeof bytes - 1 - length);
      if (count <= 0) break;
      length += static_cast<std::size_t>(count);
    }
    ::close(descriptor);
    bytes[length] = '\0';
    return true;
  }
};

// The plain way: a stream of its own for each node.
inline unsigned long long readByStdio(const char* path) {
  unsigned long long value = 0;
  if (std::FILE* const stream = std::fopen(path, "r")) {
    if (std::fscanf(stream, "%llu", &value) != 1) value = 0;
    std::fclose(stream);
  }
  return value;
}

inline const char* toDigit(const char* p) {
  while (*p < '0' || *p > '9') ++p;
  return p;
}

inline std::uint64_t takeNumber(const char*& p) {
  std::uint64_t value = 0;
  for (p = toDigit(p); *p >= '0' && *p <= '9'; ++p) value = value * 10 + static_cast<std::uint64_t>(*p - '0');
  return value;
}

// Appends the decimal digits of `number`; returns the end.
inline char* putNumber(char* p, unsigned number) {
  char digits[10];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + number % 10);
  } while ((number /= 10) != 0);
  while (count > 0) *p++ = digits[--count];
  return p;
}

inline char* putText(char* p, const char* text) {
  while (*text != '\0') *p++ = *text++;
  *p = '\0';
  return p;
}

}  // namespace bench

#endif
