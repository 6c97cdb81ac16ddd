// What a path or a descriptor is: access, faccessat, the stat family, statx, getxattr, listxattr; and of what
// file system: the statfs and statvfs families.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "simulator/board/records.h"
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

template <typename Status>
void fill(Status& status, const std::string& path, const Node& node) {
  const struct stat known = statusOf(*Board::active(), path, node);
  static_assert(sizeof status == sizeof known);  // one record, by two names
  std::memcpy(&status, &known, sizeof status);
}

// folder: a descriptor or AT_FDCWD.
template <typename Status>
bool boardStates(int folder, const char* path, int flags, Status* status, int& result) {
  if (Board::active() == nullptr) return false;
  result = 0;
  const bool isDescriptor = path == nullptr || path[0] == '\0';  // AT_EMPTY_PATH
  if (const auto file = isDescriptor ? openFile(folder) : nullptr) {
    fill(*status, file->path, file->node);
    return true;
  }
  const Board::Opening opening = lookAt(folder, path);
  if (!opening.mine) return false;
  // A file that cannot be opened is there all the same; one that is not there is not.
  const bool follows = (flags & AT_SYMLINK_NOFOLLOW) == 0;
  if (opening.error == ENOENT || (follows && opening.node.isLink)) {
    result = fail(opening.error);
  } else {
    fill(*status, opening.path, opening.node);
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

#define STANDS_IN_STATUS(name, status_type, flags)                            \
  STANDS_IN int name(const char* path, struct status_type* status) noexcept { \
    int result = 0;                                                           \
    if (boardStates(AT_FDCWD, path, flags, status, result)) return result;    \
    return NEXT(name)(MachinePath{AT_FDCWD, path}, status);                   \
  }
STANDS_IN_STATUS(stat, stat, 0)
STANDS_IN_STATUS(lstat, stat, AT_SYMLINK_NOFOLLOW)
STANDS_IN_STATUS(stat64, stat64, 0)
STANDS_IN_STATUS(lstat64, stat64, AT_SYMLINK_NOFOLLOW)

#define STANDS_IN_STATUS_AT(name, status_type)                                                       \
  STANDS_IN int name(int folder, const char* path, struct status_type* status, int flags) noexcept { \
    int result = 0;                                                                                  \
    if (boardStates(folder, path, flags, status, result)) return result;                             \
    return NEXT(name)(folder, MachinePath{folder, path}, status, flags);                             \
  }
STANDS_IN_STATUS_AT(fstatat, stat)
STANDS_IN_STATUS_AT(fstatat64, stat64)

#define STANDS_IN_STATUS_OF(name, status_type)                                                       \
  STANDS_IN int name(int descriptor, struct status_type* status) noexcept {                          \
    int result = 0;                                                                                  \
    return boardStates(descriptor, "", 0, status, result) ? result : NEXT(name)(descriptor, status); \
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
  if (!boardStates(folder, path, flags, &plain, result))
    return NEXT(statx)(folder, MachinePath{folder, path}, flags, mask, status);
  if (result == 0) *status = extended(plain);
  return result;
}

// -- file systems

namespace {

// The board's path of what is asked about; false: it is the machine's, or the answer is an error already.
bool boardFile(const char* path, std::string& boardPath, int& error) {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) return false;
  boardPath = opening.path;
  error = opening.error == ENOENT ? ENOENT : 0;
  return true;
}
bool boardFile(int descriptor, std::string& boardPath, int&) {
  const auto file = openFile(descriptor);
  if (file != nullptr) boardPath = file->path;
  return file != nullptr;
}

void convert(const struct statfs& from, struct statfs& to) { to = from; }
void convert(const struct statfs& from, struct statvfs& to) {
  to = {};
  to.f_bsize = static_cast<unsigned long>(from.f_bsize);
  to.f_frsize = static_cast<unsigned long>(from.f_frsize);
  to.f_blocks = from.f_blocks;
  to.f_bfree = from.f_bfree;
  to.f_bavail = from.f_bavail;
  to.f_files = from.f_files;
  to.f_ffree = to.f_favail = from.f_ffree;
  to.f_namemax = static_cast<unsigned long>(from.f_namelen);
}

// by: a path or a descriptor. Record64 is the same record by another name.
template <typename Record, typename Record64, typename By>
bool boardFileSystem(By by, Record64* target, int& result) {
  static_assert(sizeof(Record) == sizeof(Record64));
  std::string path;
  int error = 0;
  if (!boardFile(by, path, error)) return false;
  struct statfs system {};
  if (error == 0) error = fileSystemOf(path, system);
  result = error == 0 ? 0 : fail(error);
  Record record{};
  convert(system, record);
  if (error == 0) std::memcpy(target, &record, sizeof record);
  return true;
}

}  // namespace

// NOLINTBEGIN(bugprone-macro-parentheses): the arguments are names and types
#define STANDS_IN_FILE_SYSTEM(name, Record, Record64, by_name)                                             \
  STANDS_IN int name(const char* path, struct Record64* target) noexcept {                                 \
    int result = 0;                                                                                        \
    if (boardFileSystem<struct Record>(path, target, result)) return result;                               \
    return NEXT(name)(MachinePath{AT_FDCWD, path}, target);                                                \
  }                                                                                                        \
  STANDS_IN int by_name(int descriptor, struct Record64* target) noexcept {                                \
    int result = 0;                                                                                        \
    return boardFileSystem<struct Record>(descriptor, target, result) ? result                             \
                                                                      : NEXT(by_name)(descriptor, target); \
  }
// NOLINTEND(bugprone-macro-parentheses)
STANDS_IN_FILE_SYSTEM(statfs, statfs, statfs, fstatfs)
STANDS_IN_FILE_SYSTEM(statfs64, statfs, statfs64, fstatfs64)
STANDS_IN_FILE_SYSTEM(statvfs, statvfs, statvfs, fstatvfs)
STANDS_IN_FILE_SYSTEM(statvfs64, statvfs, statvfs64, fstatvfs64)
