// The calls that stand in front of the C library: each asks the active board first, and hands on to the
// library what is not the board's. Without a board they are the library's own.
//
//   files      open, openat, fopen, close, dup, dup2, dup3, fcntl, read, ioctl, access, faccessat, the stat
//   family, statx folders    opendir, fdopendir, readdir, rewinddir, dirfd, closedir, scandir system sysconf,
//   get_nprocs, get_nprocs_conf, dlopen, calloc of libtessary.so, the platform log
//
// Those in which time passes are in interpose_time.cpp.
//
// A file of the board is an anonymous file in memory that holds the text rendered at its opening, so that
// every way of reading it works as on a real file. Folders and devices are placeholders that this file keeps
// in a table.
//
// Not stood in for: system calls made without the C library (statically linked programs), calls that the C
// library makes itself (glob, ftw, realpath), chdir into a board's folder, io_uring, inotify.

#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif

#include "simulator/interpose.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "simulator/board.h"

namespace {

using simulator::Board;
using simulator::Node;

// -- the table of what is open

struct OpenFile {
  std::string folder;  // the path, for a folder
  Node node;
};

constexpr int kTrackedDescriptors = 65536;
std::array<std::atomic<bool>, kTrackedDescriptors> tracked;

struct OpenTable {
  std::mutex mutex;
  std::map<int, OpenFile> files;
};

OpenTable& openTable() {
  static auto* const table = new OpenTable;  // outlives every static object that may still close a file
  return *table;
}

bool isTracked(int descriptor) {
  return descriptor >= 0 && descriptor < kTrackedDescriptors && tracked[static_cast<std::size_t>(descriptor)];
}

void track(int descriptor, OpenFile file) {
  if (descriptor < 0 || descriptor >= kTrackedDescriptors) return;
  const std::lock_guard lock{openTable().mutex};
  openTable().files[descriptor] = std::move(file);
  tracked[static_cast<std::size_t>(descriptor)] = true;
}

void untrack(int descriptor) {
  if (!isTracked(descriptor)) return;
  const std::lock_guard lock{openTable().mutex};
  openTable().files.erase(descriptor);
  tracked[static_cast<std::size_t>(descriptor)] = false;
}

OpenFile openFile(int descriptor) {
  const std::lock_guard lock{openTable().mutex};
  return openTable().files[descriptor];
}

// The absolute path of `path` relative to `folder`; empty when it is the machine's business: a relative path
// from the working folder or from a folder that is not the board's.
std::string absolutePath(int folder, const char* path) {
  if (path == nullptr) return {};
  if (path[0] == '/') return path;
  const std::string base = isTracked(folder) ? openFile(folder).folder : std::string{};
  return base.empty() ? base : base + "/" + path;
}

Board::Opening lookAt(int folder, const char* path) {
  Board* const board = Board::active();
  if (board == nullptr) return {};
  const std::string absolute = absolutePath(folder, path);
  return absolute.empty() ? Board::Opening{} : board->look(absolute);
}

int fail(int error) {
  errno = error;
  return -1;
}

// -- opening

int openPlaceholder(int flags, OpenFile file) {
  const int descriptor = NEXT(open)("/dev/null", O_RDWR | (flags & O_CLOEXEC));
  track(descriptor, std::move(file));
  return descriptor;
}

int openText(const std::string& path, const Node& node, int flags) {
  const int descriptor = ::memfd_create(path.c_str(), (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0U);
  if (descriptor < 0) return descriptor;
  untrack(descriptor);  // the C library's own fclose is not seen here
  const std::string text = node.text ? node.text() : std::string{};
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t count = ::write(descriptor, text.data() + written, text.size() - written);
    if (count <= 0) break;
    written += static_cast<std::size_t>(count);
  }
  ::lseek(descriptor, 0, SEEK_SET);
  if (node.readError != 0 || node.readLimit != 0) track(descriptor, {{}, node});
  return descriptor;
}

// True when the board answers for the path; the result, -1 and errno included, is in `descriptor` then.
bool boardOpens(int folder, const char* path, int flags, int& descriptor) {
  Board* const board = Board::active();
  if (board == nullptr) return false;
  const std::string absolute = absolutePath(folder, path);
  if (absolute.empty()) return false;
  const Board::Opening opening = board->open(absolute);
  if (!opening.mine) return false;
  if (opening.error != 0) {
    descriptor = fail(opening.error);
  } else if (opening.isFolder) {
    descriptor = openPlaceholder(flags, {absolute, {}});
  } else if ((flags & O_DIRECTORY) != 0) {
    descriptor = fail(ENOTDIR);
  } else if (opening.node.ioctl) {
    descriptor = openPlaceholder(flags, {{}, opening.node});
  } else {
    descriptor = openText(absolute, opening.node, flags);
  }
  return true;
}

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

// -- testing

namespace {

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

// -- folders

namespace {

struct BoardFolder {
  int descriptor;
  std::vector<std::string> names;
  std::size_t at = 0;
  dirent entry{};
};

struct FolderTable {
  std::mutex mutex;
  std::set<const void*> folders;
};

FolderTable& folderTable() {
  static auto* const table = new FolderTable;
  return *table;
}

BoardFolder* boardFolder(DIR* folder) {
  const std::lock_guard lock{folderTable().mutex};
  return folderTable().folders.count(folder) != 0 ? reinterpret_cast<BoardFolder*>(folder) : nullptr;
}

DIR* openListing(int descriptor, const std::string& path) {
  auto* const folder = new BoardFolder{descriptor, Board::active()->list(path), 0, {}};
  const std::lock_guard lock{folderTable().mutex};
  folderTable().folders.insert(folder);
  return reinterpret_cast<DIR*>(folder);
}

dirent* readEntry(BoardFolder& folder) {
  if (folder.at == folder.names.size()) return nullptr;
  const std::string& name = folder.names[folder.at++];
  folder.entry = {};
  folder.entry.d_ino = folder.at;
  folder.entry.d_reclen = sizeof folder.entry;
  folder.entry.d_type = DT_UNKNOWN;
  name.copy(folder.entry.d_name, sizeof folder.entry.d_name - 1);
  return &folder.entry;
}

}  // namespace

STANDS_IN DIR* opendir(const char* path) {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) return NEXT(opendir)(path);
  int descriptor = -1;
  boardOpens(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, descriptor);
  return descriptor < 0 ? nullptr : openListing(descriptor, path);
}

STANDS_IN DIR* fdopendir(int descriptor) {
  const std::string path = isTracked(descriptor) ? openFile(descriptor).folder : std::string{};
  return path.empty() ? NEXT(fdopendir)(descriptor) : openListing(descriptor, path);
}

STANDS_IN dirent* readdir(DIR* folder) {
  BoardFolder* const mine = boardFolder(folder);
  return mine != nullptr ? readEntry(*mine) : NEXT(readdir)(folder);
}

STANDS_IN dirent64* readdir64(DIR* folder) {
  static_assert(sizeof(dirent) == sizeof(dirent64));
  BoardFolder* const mine = boardFolder(folder);
  return mine != nullptr ? reinterpret_cast<dirent64*>(readEntry(*mine)) : NEXT(readdir64)(folder);
}

STANDS_IN void rewinddir(DIR* folder) noexcept {
  BoardFolder* const mine = boardFolder(folder);
  if (mine == nullptr) return NEXT(rewinddir)(folder);
  mine->at = 0;
}

STANDS_IN int dirfd(DIR* folder) noexcept {
  BoardFolder* const mine = boardFolder(folder);
  return mine != nullptr ? mine->descriptor : NEXT(dirfd)(folder);
}

STANDS_IN int closedir(DIR* folder) {
  BoardFolder* const mine = boardFolder(folder);
  if (mine == nullptr) return NEXT(closedir)(folder);
  {
    const std::lock_guard lock{folderTable().mutex};
    folderTable().folders.erase(mine);
  }
  const std::unique_ptr<BoardFolder> owned{mine};
  return ::close(owned->descriptor);
}

namespace {

template <typename Entry, typename Wants, typename Compare>
int scanBoardFolder(const char* path, Entry*** list, Wants wants, Compare compare) {
  DIR* const folder = ::opendir(path);
  if (folder == nullptr) return -1;
  std::vector<Entry*> entries;
  while (const dirent* const read = ::readdir(folder)) {
    const auto* const entry = reinterpret_cast<const Entry*>(read);
    if (wants != nullptr && wants(entry) == 0) continue;
    if (void* const kept = std::malloc(sizeof(Entry)))
      entries.push_back(static_cast<Entry*>(std::memcpy(kept, entry, sizeof(Entry))));
  }
  ::closedir(folder);
  if (compare != nullptr) {
    std::sort(entries.begin(), entries.end(),
              [&](const Entry* one, const Entry* other) { return compare(&one, &other) < 0; });
  }
  *list = static_cast<Entry**>(std::malloc((entries.size() + 1) * sizeof(Entry*)));
  if (*list == nullptr) return fail(ENOMEM);
  std::copy(entries.begin(), entries.end(), *list);
  return static_cast<int>(entries.size());
}

}  // namespace

STANDS_IN int scandir(const char* path, dirent*** list, int (*wants)(const dirent*),
                      int (*compare)(const dirent**, const dirent**)) {
  if (!lookAt(AT_FDCWD, path).mine) return NEXT(scandir)(path, list, wants, compare);
  return scanBoardFolder(path, list, wants, compare);
}

STANDS_IN int scandir64(const char* path, dirent64*** list, int (*wants)(const dirent64*),
                        int (*compare)(const dirent64**, const dirent64**)) {
  if (!lookAt(AT_FDCWD, path).mine) return NEXT(scandir64)(path, list, wants, compare);
  return scanBoardFolder(path, list, wants, compare);
}

// -- the system

STANDS_IN long sysconf(int name) noexcept {
  const Board* const board = Board::active();
  std::optional<int> mine;
  if (board != nullptr && name == _SC_NPROCESSORS_CONF) mine = board->configuredCores();
  if (board != nullptr && name == _SC_NPROCESSORS_ONLN) mine = board->onlineCores();
  if (board != nullptr && name == _SC_CLK_TCK) mine = board->ticksPerSecond();
  return mine ? *mine : NEXT(sysconf)(name);
}

STANDS_IN int get_nprocs() noexcept { return static_cast<int>(::sysconf(_SC_NPROCESSORS_ONLN)); }
STANDS_IN int get_nprocs_conf() noexcept { return static_cast<int>(::sysconf(_SC_NPROCESSORS_CONF)); }

STANDS_IN void* dlopen(const char* file, int mode) noexcept {
  Board* const board = Board::active();
  if (board == nullptr || file == nullptr) return NEXT(dlopen)(file, mode);
  board->addLoad({file, mode});
  const std::optional<std::string> mine = board->libraryFile(file);
  return NEXT(dlopen)(mine ? mine->c_str() : file, mode);
}

namespace {

bool calledFromTheLibrary(void* caller) {
  Dl_info info{};
  return ::dladdr(caller, &info) != 0 && info.dli_fname != nullptr &&
         std::strstr(info.dli_fname, "libtessary.so");
}

// dlsym may ask for memory itself, before the next calloc is known: it gets some that is never given back.
void* allocateEarly(std::size_t bytes) {
  alignas(std::max_align_t) static char space[4096];
  static std::size_t used = 0;
  const std::size_t at = used;
  used += (bytes + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
  return used <= sizeof space ? space + at : nullptr;
}

}  // namespace

STANDS_IN void* calloc(std::size_t count, std::size_t bytes) noexcept {
  using Calloc = void*(std::size_t, std::size_t);
  static std::atomic<Calloc*> function{nullptr};
  static thread_local bool resolving = false;
  if (function == nullptr) {
    if (resolving) return allocateEarly(count * bytes);
    resolving = true;
    function = simulator::next<Calloc>("calloc");
    resolving = false;
  }
  Board* const board = Board::active();
  if (board != nullptr && calledFromTheLibrary(__builtin_return_address(0)) && board->allocationFails()) {
    errno = ENOMEM;
    return nullptr;
  }
  return function.load()(count, bytes);
}

STANDS_IN __attribute__((format(printf, 3, 4))) int __android_log_print(int priority, const char* tag,
                                                                        const char* format, ...) {
  Board* const board = Board::active();
  char text[1024];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (board != nullptr && board->keepsHistory()) {
    board->addLogLine({priority, tag, text});
    return length;
  }
  static const auto function =
      simulator::next<int(int, const char*, const char*, ...)>("__android_log_print");
  return function != nullptr ? function(priority, tag, "%s", text) : 0;
}
