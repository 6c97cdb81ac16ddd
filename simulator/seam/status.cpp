// What a path or a descriptor is: access, faccessat, the stat family, statx.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <string>

#include "simulator/seam/interpose.h"
#include "simulator/seam/open_files.h"

namespace {

using namespace simulator;

bool boardTests(int folder, const char* path, int mode, int& result) {
  const Board::Opening opening = lookAt(folder, path);
  if (!opening.mine) return false;
  const bool writes = (mode & W_OK) != 0 && !opening.node.ioctl;
  result = opening.error != 0 ? fail(opening.error) : writes ? fail(EACCES) : 0;
  return true;
}

mode_t modeOf(const Board::Opening& opening) {
  if (opening.isFolder) return S_IFDIR | 0555;
  return opening.node.ioctl ? S_IFCHR | 0666 : S_IFREG | 0444;
}

template <typename Status>
bool boardStates(int folder, const char* path, Status* status, int& result) {
  if (path != nullptr && path[0] == '\0' && isTracked(folder))
    path = ".";  // AT_EMPTY_PATH: the folder itself
  const Board::Opening opening = lookAt(folder, path);
  if (!opening.mine) return false;
  // A file that cannot be opened is there all the same; one that is not there is not.
  if (opening.error == ENOENT) {
    result = fail(ENOENT);
    return true;
  }
  std::memset(status, 0, sizeof *status);
  status->st_mode = modeOf(opening);
  status->st_nlink = 1;
  status->st_blksize = 4096;
  // Walks over a tree take two nodes with one number for the same.
  status->st_ino = std::hash<std::string>{}(opening.path);
  result = 0;
  return true;
}

}  // namespace

STANDS_IN int access(const char* path, int mode) noexcept {
  int result = 0;
  return boardTests(AT_FDCWD, path, mode, result) ? result : NEXT(access)(path, mode);
}

STANDS_IN int faccessat(int folder, const char* path, int mode, int flags) noexcept {
  int result = 0;
  return boardTests(folder, path, mode, result) ? result : NEXT(faccessat)(folder, path, mode, flags);
}

#define STANDS_IN_STATUS(name, status_type)                                                 \
  STANDS_IN int name(const char* path, struct status_type* status) noexcept {               \
    int result = 0;                                                                         \
    return boardStates(AT_FDCWD, path, status, result) ? result : NEXT(name)(path, status); \
  }
STANDS_IN_STATUS(stat, stat)
STANDS_IN_STATUS(lstat, stat)
STANDS_IN_STATUS(stat64, stat64)
STANDS_IN_STATUS(lstat64, stat64)

#define STANDS_IN_STATUS_AT(name, status_type)                                                           \
  STANDS_IN int name(int folder, const char* path, struct status_type* status, int flags) noexcept {     \
    int result = 0;                                                                                      \
    return boardStates(folder, path, status, result) ? result : NEXT(name)(folder, path, status, flags); \
  }
STANDS_IN_STATUS_AT(fstatat, stat)
STANDS_IN_STATUS_AT(fstatat64, stat64)

// An open folder is what its path is; an open file is a file.
#define STANDS_IN_STATUS_OF(name, status_type)                                                       \
  STANDS_IN int name(int descriptor, struct status_type* status) noexcept {                          \
    int result = 0;                                                                                  \
    const bool isFolder = isTracked(descriptor) && !openFile(descriptor).folder.empty();             \
    return isFolder && boardStates(descriptor, "", status, result) ? result                          \
                                                                   : NEXT(name)(descriptor, status); \
  }
STANDS_IN_STATUS_OF(fstat, stat)
STANDS_IN_STATUS_OF(fstat64, stat64)

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
  if (!boardStates(folder, path, &plain, result)) return NEXT(statx)(folder, path, flags, mask, status);
  if (result != 0) return result;
  std::memset(status, 0, sizeof *status);
  status->stx_mask = STATX_TYPE | STATX_MODE | STATX_NLINK | STATX_SIZE;
  status->stx_mode = static_cast<decltype(status->stx_mode)>(plain.st_mode);
  status->stx_nlink = 1;
  status->stx_blksize = 4096;
  status->stx_ino = plain.st_ino;
  return 0;
}
