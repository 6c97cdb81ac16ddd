// Files and devices: open, openat, fopen, close, dup, dup2, dup3, fcntl, read, ioctl.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "simulator/seam/interpose.h"
#include "simulator/seam/open_files.h"
#include "simulator/seam/timers.h"

namespace {

using namespace simulator;

mode_t modeArgument(int flags, std::va_list arguments) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(arguments, unsigned)) : 0;
}

int openAtAs(int folder, const char* path, int flags, mode_t mode) {
  int descriptor = -1;
  if (boardOpens(folder, path, flags, descriptor)) return descriptor;
  descriptor = NEXT(openat)(folder, path, flags, mode);
  untrack(descriptor);
  return descriptor;
}

std::FILE* openStream(const char* path, const char* mode) {
  int flags = mode[0] == 'r' ? O_RDONLY : O_WRONLY;
  if (std::strchr(mode, 'e') != nullptr) flags |= O_CLOEXEC;
  int descriptor = -1;
  if (!boardOpens(AT_FDCWD, path, flags, descriptor)) return NEXT(fopen)(path, mode);
  if (descriptor < 0) return nullptr;
  if (!isTracked(descriptor)) return ::fdopen(descriptor, mode);
  // The C library's own read would not be asked here.
  cookie_io_functions_t calls{};
  calls.read = [](void* file, char* target, std::size_t bytes) {
    return ::read(*static_cast<const int*>(file), target, bytes);
  };
  calls.close = [](void* file) {
    const std::unique_ptr<int> owned{static_cast<int*>(file)};
    return ::close(*owned);
  };
  return ::fopencookie(new int{descriptor}, mode, calls);
}

}  // namespace

STANDS_IN int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeArgument(flags, arguments);
  va_end(arguments);
  return openAtAs(AT_FDCWD, path, flags, mode);
}

STANDS_IN int open64(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeArgument(flags, arguments);
  va_end(arguments);
  return openAtAs(AT_FDCWD, path, flags, mode);
}

STANDS_IN int openat(int folder, const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeArgument(flags, arguments);
  va_end(arguments);
  return openAtAs(folder, path, flags, mode);
}

STANDS_IN int openat64(int folder, const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeArgument(flags, arguments);
  va_end(arguments);
  return openAtAs(folder, path, flags, mode);
}

// What programs built with fortified headers call instead.
STANDS_IN int __open_2(const char* path, int flags) { return openAtAs(AT_FDCWD, path, flags, 0); }
STANDS_IN int __open64_2(const char* path, int flags) { return openAtAs(AT_FDCWD, path, flags, 0); }
STANDS_IN int __openat_2(int folder, const char* path, int flags) { return openAtAs(folder, path, flags, 0); }
STANDS_IN int __openat64_2(int folder, const char* path, int flags) {
  return openAtAs(folder, path, flags, 0);
}

STANDS_IN std::FILE* fopen(const char* path, const char* mode) { return openStream(path, mode); }
STANDS_IN std::FILE* fopen64(const char* path, const char* mode) { return openStream(path, mode); }

STANDS_IN int close(int descriptor) {
  forgetTimer(descriptor);
  untrack(descriptor);
  return NEXT(close)(descriptor);
}

namespace {

// The target of a duplication was closed by it, whatever it was.
int duplicated(int from, int to) {
  if (to < 0 || to == from) return to;
  untrack(to);
  if (isTracked(from)) track(to, openFile(from));
  return to;
}

}  // namespace

STANDS_IN int dup(int from) noexcept { return duplicated(from, NEXT(dup)(from)); }
STANDS_IN int dup2(int from, int to) noexcept { return duplicated(from, NEXT(dup2)(from, to)); }
STANDS_IN int dup3(int from, int to, int flags) noexcept {
  return duplicated(from, NEXT(dup3)(from, to, flags));
}

namespace {

int controlAs(int descriptor, int command, void* argument) {
  static const auto control = simulator::next<int(int, int, ...)>("fcntl64");
  const int result = control(descriptor, command, argument);
  const bool duplicates = command == F_DUPFD || command == F_DUPFD_CLOEXEC;
  return duplicates ? duplicated(descriptor, result) : result;
}

}  // namespace

STANDS_IN int fcntl(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return controlAs(descriptor, command, argument);
}

STANDS_IN int fcntl64(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return controlAs(descriptor, command, argument);
}

// -- reading

namespace {

ssize_t readAs(int descriptor, void* target, std::size_t bytes) {
  if (isTracked(descriptor)) {
    const Node node = openFile(descriptor).node;
    if (node.readError != 0) return fail(node.readError);
    if (node.readLimit != 0) bytes = std::min(bytes, node.readLimit);
  }
  return NEXT(read)(descriptor, target, bytes);
}

}  // namespace

STANDS_IN ssize_t read(int descriptor, void* target, std::size_t bytes) {
  return readAs(descriptor, target, bytes);
}

STANDS_IN ssize_t __read_chk(int descriptor, void* target, std::size_t bytes, std::size_t space) {
  return bytes <= space ? readAs(descriptor, target, bytes) : fail(EFAULT);
}

STANDS_IN int ioctl(int descriptor, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (isTracked(descriptor)) {
    const Node node = openFile(descriptor).node;
    if (node.ioctl) {
      const int result = node.ioctl(request, argument);
      return result < 0 ? fail(-result) : result;
    }
  }
  return simulator::next<int(int, unsigned long, void*)>("ioctl")(descriptor, request, argument);
}
