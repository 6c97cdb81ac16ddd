// What a path or a descriptor is: access, faccessat, the stat family, statx, getxattr, listxattr.

#include "simulator/seam/status.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include "simulator/seam/interpose.h"
#include "simulator/seam/open_files.h"

namespace simulator {

bool isBelow(const std::string& path, const std::string& folder) {
  return path.compare(0, folder.size(), folder) == 0 &&
         (path.size() == folder.size() || path[folder.size()] == '/');
}

ino_t inodeOf(const std::string& path) { return std::hash<std::string>{}(path); }

}  // namespace simulator

namespace {

using namespace simulator;

bool boardTests(int folder, const char* path, int mode, int& result) {
  const Board::Opening opening = lookAt(folder, path);
  if (!opening.mine) return false;
  const bool writes = (mode & W_OK) != 0 && !opening.node.ioctl;
  result = opening.error != 0 ? fail(opening.error) : writes ? fail(EACCES) : 0;
  return true;
}

// What there is to say of a node; the rest follows from its path.
struct Nature {
  std::string path;
  mode_t mode;
  off_t size;
};

// Of a node elsewhere than on the kernel's own file systems its text is the size.
off_t sizeOf(const std::string& path, const Node& node) {
  if (isBelow(path, "/sys")) return kPageBytes;
  if (isBelow(path, "/proc") || !node.text) return 0;
  return static_cast<off_t>(node.text().size());
}

Nature natureOf(const std::string& path, const Node& node, bool isFolder) {
  if (isFolder) return {path, S_IFDIR | 0555, 0};
  if (node.ioctl) return {path, S_IFCHR | 0666, 0};
  return {path, S_IFREG | 0444, sizeOf(path, node)};
}

// The device is that of the machine's file system at the same place, of which the program may see parts.
dev_t deviceOf(const std::string& path) {
  for (const char* const root : {"/proc", "/sys", "/dev"}) {
    struct stat status {};
    if (isBelow(path, root) && NEXT(stat)(root, &status) == 0) return status.st_dev;
  }
  return 0;
}

template <typename Status>
void fill(Status& status, const Nature& nature, const Clock& clock) {
  status = {};
  status.st_dev = deviceOf(nature.path);
  status.st_ino = inodeOf(nature.path);
  status.st_mode = nature.mode;
  status.st_nlink = 1;
  status.st_size = nature.size;
  status.st_blksize = kPageBytes;
  const Nanoseconds start = clock.dateAtStart();
  const timespec made{start / kNanosecondsInSecond, start % kNanosecondsInSecond};
  status.st_atim = status.st_mtim = status.st_ctim = made;
}

template <typename Status>
bool boardStates(int folder, const char* path, Status* status, int& result) {
  const Board* const board = Board::active();
  if (board == nullptr) return false;
  result = 0;
  const bool isDescriptor = path == nullptr || path[0] == '\0';  // AT_EMPTY_PATH
  if (const auto file = isDescriptor ? openFile(folder) : nullptr) {
    fill(*status, natureOf(file->path, file->node, !file->folder.empty()), board->clock());
    return true;
  }
  const Board::Opening opening = lookAt(folder, path);
  if (!opening.mine) return false;
  // A file that cannot be opened is there all the same; one that is not there is not.
  if (opening.error == ENOENT) {
    result = fail(ENOENT);
  } else {
    fill(*status, natureOf(opening.path, opening.node, opening.isFolder), board->clock());
  }
  return true;
}

}  // namespace

STANDS_IN int access(const char* path, int mode) noexcept {
  int result = 0;
  return boardTests(AT_FDCWD, path, mode, result) ? result : NEXT(access)(MachinePath{AT_FDCWD, path}, mode);
}

STANDS_IN int faccessat(int folder, const char* path, int mode, int flags) noexcept {
  int result = 0;
  return boardTests(folder, path, mode, result)
             ? result
             : NEXT(faccessat)(folder, MachinePath{folder, path}, mode, flags);
}

#define STANDS_IN_STATUS(name, status_type)                                   \
  STANDS_IN int name(const char* path, struct status_type* status) noexcept { \
    int result = 0;                                                           \
    if (boardStates(AT_FDCWD, path, status, result)) return result;           \
    return NEXT(name)(MachinePath{AT_FDCWD, path}, status);                   \
  }
STANDS_IN_STATUS(stat, stat)
STANDS_IN_STATUS(lstat, stat)
STANDS_IN_STATUS(stat64, stat64)
STANDS_IN_STATUS(lstat64, stat64)

#define STANDS_IN_STATUS_AT(name, status_type)                                                       \
  STANDS_IN int name(int folder, const char* path, struct status_type* status, int flags) noexcept { \
    int result = 0;                                                                                  \
    if (boardStates(folder, path, status, result)) return result;                                    \
    return NEXT(name)(folder, MachinePath{folder, path}, status, flags);                             \
  }
STANDS_IN_STATUS_AT(fstatat, stat)
STANDS_IN_STATUS_AT(fstatat64, stat64)

#define STANDS_IN_STATUS_OF(name, status_type)                                                    \
  STANDS_IN int name(int descriptor, struct status_type* status) noexcept {                       \
    int result = 0;                                                                               \
    return boardStates(descriptor, "", status, result) ? result : NEXT(name)(descriptor, status); \
  }
STANDS_IN_STATUS_OF(fstat, stat)
STANDS_IN_STATUS_OF(fstat64, stat64)

// None has further attributes.
STANDS_IN ssize_t listxattr(const char* path, char* list, std::size_t bytes) noexcept {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) return NEXT(listxattr)(MachinePath{AT_FDCWD, path}, list, bytes);
  return opening.error == ENOENT ? fail(ENOENT) : 0;
}
STANDS_IN ssize_t llistxattr(const char* path, char* list, std::size_t bytes) noexcept {
  return lookAt(AT_FDCWD, path).mine ? ::listxattr(path, list, bytes)
                                     : NEXT(llistxattr)(MachinePath{AT_FDCWD, path}, list, bytes);
}
STANDS_IN ssize_t getxattr(const char* path, const char* name, void* value, std::size_t bytes) noexcept {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) return NEXT(getxattr)(MachinePath{AT_FDCWD, path}, name, value, bytes);
  return fail(opening.error == ENOENT ? ENOENT : ENODATA);
}
STANDS_IN ssize_t lgetxattr(const char* path, const char* name, void* value, std::size_t bytes) noexcept {
  const bool isMine = lookAt(AT_FDCWD, path).mine;
  return isMine ? ::getxattr(path, name, value, bytes)
                : NEXT(lgetxattr)(MachinePath{AT_FDCWD, path}, name, value, bytes);
}

// What programs call that were built with a C library before 2.33.
STANDS_IN int __xstat(int, const char* path, struct stat* status) noexcept { return ::stat(path, status); }
STANDS_IN int __lxstat(int, const char* path, struct stat* status) noexcept { return ::lstat(path, status); }
STANDS_IN int __fxstat(int, int file, struct stat* status) noexcept { return ::fstat(file, status); }
STANDS_IN int __fxstatat(int, int folder, const char* path, struct stat* status, int flags) noexcept {
  return ::fstatat(folder, path, status, flags);
}
STANDS_IN int __xstat64(int, const char* path, struct stat64* status) noexcept {
  return ::stat64(path, status);
}
STANDS_IN int __lxstat64(int, const char* path, struct stat64* status) noexcept {
  return ::lstat64(path, status);
}
STANDS_IN int __fxstat64(int, int file, struct stat64* status) noexcept { return ::fstat64(file, status); }
STANDS_IN int __fxstatat64(int, int folder, const char* path, struct stat64* status, int flags) noexcept {
  return ::fstatat64(folder, path, status, flags);
}

STANDS_IN int statx(int folder, const char* path, int flags, unsigned mask, struct statx* status) noexcept {
  struct stat plain {};
  int result = 0;
  if (!boardStates(folder, path, &plain, result))
    return NEXT(statx)(folder, MachinePath{folder, path}, flags, mask, status);
  if (result != 0) return result;
  std::memset(status, 0, sizeof *status);
  const auto timeOf = [](const timespec& time) {
    return statx_timestamp{time.tv_sec, static_cast<std::uint32_t>(time.tv_nsec), {}};
  };
  status->stx_mask = STATX_BASIC_STATS;
  status->stx_mode = static_cast<decltype(status->stx_mode)>(plain.st_mode);
  status->stx_nlink = 1;
  status->stx_size = static_cast<std::uint64_t>(plain.st_size);
  status->stx_blksize = kPageBytes;
  status->stx_ino = plain.st_ino;
  status->stx_dev_major = major(plain.st_dev);
  status->stx_dev_minor = minor(plain.st_dev);
  status->stx_atime = timeOf(plain.st_atim);
  status->stx_mtime = status->stx_ctime = status->stx_atime;
  return 0;
}
