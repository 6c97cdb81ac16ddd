// Files and devices, by descriptor: open, openat, close, close_range, closefrom, dup, dup2, dup3, fcntl,
// read, pread, readv, preadv, sendfile, copy_file_range, splice, lseek, ioctl.

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/sendfile.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <limits>
#include <string>

#include "simulator/board/records.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/network.h"
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
  descriptor = NEXT(openat)(folder, MachinePath{folder, path}, flags, mode);
  untrack(descriptor);
  return descriptor;
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

STANDS_IN int close(int descriptor) {
  forgetTimer(descriptor);
  untrack(descriptor);
  return NEXT(close)(descriptor);
}

STANDS_IN int close_range(unsigned first, unsigned last, int flags) noexcept {
  constexpr unsigned kMost = std::numeric_limits<int>::max();
  const bool closes = (static_cast<unsigned>(flags) & CLOSE_RANGE_CLOEXEC) == 0;
  if (closes && first <= kMost) untrackFrom(static_cast<int>(first), static_cast<int>(std::min(last, kMost)));
  return NEXT(close_range)(first, last, flags);
}

STANDS_IN void closefrom(int first) noexcept {
  untrackFrom(first, std::numeric_limits<int>::max());
  NEXT(closefrom)(first);
}

namespace {

// The target of a duplication was closed by it, whatever it was.
int duplicated(int from, int to) {
  if (to < 0 || to == from || !isOurTable()) return to;
  untrack(to);
  if (const auto file = openFile(from)) track(to, file);
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
  static std::atomic<void*> known{nullptr};
  const auto control = simulator::next<int(int, int, ...)>("fcntl64", known);
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
  if (const auto file = openFile(descriptor)) {
    const ssize_t most = readableBytes(*file, descriptor, kAtPosition, bytes);
    if (most < 0) return most;
    bytes = static_cast<std::size_t>(most);
  }
  return NEXT(read)(descriptor, target, bytes);
}

ssize_t readAtAs(int descriptor, void* target, std::size_t bytes, off64_t offset) {
  if (const auto file = openFile(descriptor)) {
    const ssize_t most = readableBytes(*file, descriptor, offset, bytes);
    if (most < 0) return most;
    bytes = static_cast<std::size_t>(most);
  }
  return NEXT(pread64)(descriptor, target, bytes, offset);
}

// In one piece, as the library's own is: the first part alone when a read of the node is limited.
ssize_t readPartsAs(int descriptor, const iovec* parts, int count, off64_t offset) {
  const auto file = openFile(descriptor);
  if (file != nullptr && count > 0) {
    const ssize_t most = readableBytes(*file, descriptor, offset, parts[0].iov_len);
    if (most < 0) return most;
    if (static_cast<std::size_t>(most) < parts[0].iov_len) count = 1;
    const iovec first{parts[0].iov_base, static_cast<std::size_t>(most)};
    if (count == 1) parts = &first;
    return offset == kAtPosition ? NEXT(readv)(descriptor, parts, count)
                                 : NEXT(preadv64)(descriptor, parts, count, offset);
  }
  return offset == kAtPosition ? NEXT(readv)(descriptor, parts, count)
                               : NEXT(preadv64)(descriptor, parts, count, offset);
}

// As the file systems have it: nodes of /proc have no end to count from, those of /sys are a page long.
off64_t seekAs(int descriptor, off64_t offset, int whence) {
  const auto file = openFile(descriptor);
  const bool counts = whence == SEEK_SET || whence == SEEK_CUR;
  if (file == nullptr || !file->isText || counts) return NEXT(lseek64)(descriptor, offset, whence);
  if (isBelow(file->path, "/proc")) return fail(EINVAL);
  if (!isBelow(file->path, "/sys")) return NEXT(lseek64)(descriptor, offset, whence);
  if (whence != SEEK_END && (offset < 0 || offset >= kPageBytes)) return fail(ENXIO);
  const off64_t target = whence == SEEK_END ? kPageBytes + offset : whence == SEEK_HOLE ? kPageBytes : offset;
  return NEXT(lseek64)(descriptor, target, SEEK_SET);
}

}  // namespace

STANDS_IN ssize_t read(int descriptor, void* target, std::size_t bytes) {
  return readAs(descriptor, target, bytes);
}
STANDS_IN ssize_t __read_chk(int descriptor, void* target, std::size_t bytes, std::size_t space) {
  return bytes <= space ? readAs(descriptor, target, bytes) : fail(EFAULT);
}

STANDS_IN ssize_t pread(int descriptor, void* target, std::size_t bytes, off_t offset) {
  return readAtAs(descriptor, target, bytes, offset);
}
STANDS_IN ssize_t pread64(int descriptor, void* target, std::size_t bytes, off64_t offset) {
  return readAtAs(descriptor, target, bytes, offset);
}
STANDS_IN ssize_t __pread_chk(int descriptor, void* target, std::size_t bytes, off_t offset,
                              std::size_t space) {
  return bytes <= space ? readAtAs(descriptor, target, bytes, offset) : fail(EFAULT);
}
STANDS_IN ssize_t __pread64_chk(int descriptor, void* target, std::size_t bytes, off64_t offset,
                                std::size_t space) {
  return bytes <= space ? readAtAs(descriptor, target, bytes, offset) : fail(EFAULT);
}

STANDS_IN ssize_t readv(int descriptor, const iovec* parts, int count) {
  return readPartsAs(descriptor, parts, count, kAtPosition);
}
STANDS_IN ssize_t preadv(int descriptor, const iovec* parts, int count, off_t offset) {
  return offset < 0 ? fail(EINVAL) : readPartsAs(descriptor, parts, count, offset);
}
STANDS_IN ssize_t preadv64(int descriptor, const iovec* parts, int count, off64_t offset) {
  return offset < 0 ? fail(EINVAL) : readPartsAs(descriptor, parts, count, offset);
}

// -- reading without the program's memory: as much of it as a read would take

namespace {

// False, and errno: a read would fail.
template <typename Offset>
bool limitTransfer(int descriptor, const Offset* offset, std::size_t& bytes) {
  const auto file = openFile(descriptor);
  if (file == nullptr) return true;
  const ssize_t most = readableBytes(*file, descriptor, offset != nullptr ? *offset : kAtPosition, bytes);
  if (most >= 0) bytes = static_cast<std::size_t>(most);
  return most >= 0;
}

}  // namespace

STANDS_IN ssize_t sendfile(int target, int source, off_t* offset, std::size_t bytes) noexcept {
  return limitTransfer(source, offset, bytes) ? NEXT(sendfile)(target, source, offset, bytes) : -1;
}
STANDS_IN ssize_t sendfile64(int target, int source, off64_t* offset, std::size_t bytes) noexcept {
  return limitTransfer(source, offset, bytes) ? NEXT(sendfile64)(target, source, offset, bytes) : -1;
}
STANDS_IN ssize_t copy_file_range(int source, off64_t* sourceOffset, int target, off64_t* targetOffset,
                                  std::size_t bytes, unsigned flags) {
  if (!limitTransfer(source, sourceOffset, bytes)) return -1;
  return NEXT(copy_file_range)(source, sourceOffset, target, targetOffset, bytes, flags);
}
STANDS_IN ssize_t splice(int source, off64_t* sourceOffset, int target, off64_t* targetOffset,
                         std::size_t bytes, unsigned flags) {
  if (!limitTransfer(source, sourceOffset, bytes)) return -1;
  return NEXT(splice)(source, sourceOffset, target, targetOffset, bytes, flags);
}

STANDS_IN off_t lseek(int descriptor, off_t offset, int whence) noexcept {
  return seekAs(descriptor, offset, whence);
}
STANDS_IN off64_t lseek64(int descriptor, off64_t offset, int whence) noexcept {
  return seekAs(descriptor, offset, whence);
}

STANDS_IN int ioctl(int descriptor, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  const auto file = openFile(descriptor);
  if (file != nullptr && file->node.ioctl) {
    const int result = file->node.ioctl(request, argument);
    return result < 0 ? fail(-result) : result;
  }
  int result = 0;
  if (boardAnswersNetwork(request, argument, result)) return result;
  static std::atomic<void*> known{nullptr};
  return simulator::next<int(int, unsigned long, void*)>("ioctl", known)(descriptor, request, argument);
}
