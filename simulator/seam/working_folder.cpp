// The working folder, and what a path is in the end: chdir, fchdir, getcwd, getwd, get_current_dir_name,
// realpath, canonicalize_file_name, readlink, readlinkat.

#include "simulator/seam/working_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <utility>

#include "simulator/board/board.h"
#include "simulator/board/fork_safe_mutex.h"
#include "simulator/board/records.h"
#include "simulator/board/working_folder.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/open_files.h"

namespace simulator {

namespace {

struct Folder {
  std::string path;
  bool isOnBoard = false;
};

// Asked once after each change: relative paths are common.
struct KnownFolder {
  ForkSafeMutex mutex;
  std::optional<Folder> folder;
};

KnownFolder& knownFolder() { return lasting<KnownFolder>(); }
[[maybe_unused]] const auto& earlyKnownFolder = knownFolder();

Folder askFolder() {
  std::array<char, PATH_MAX> target;
  const ssize_t length = NEXT(readlink)("/proc/self/cwd", target.data(), target.size());
  std::string link{target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
  if (auto path = boardFolderOf(link)) return {std::move(*path), true};
  return {std::move(link), false};
}

Folder folder() {
  if (!isOurTable()) return askFolder();
  const std::lock_guard lock{knownFolder().mutex};
  if (!knownFolder().folder) knownFolder().folder = askFolder();
  return *knownFolder().folder;
}

// A child between vfork and exec has a folder of its own, and its parent's memory.
int changed(int result) {
  if (result != 0 || !isOurTable()) return result;
  const std::lock_guard lock{knownFolder().mutex};
  knownFolder().folder.reset();
  return result;
}

int enterBoard(const std::string& path) {
  const int error = enterFolder(path);
  return error == 0 ? changed(0) : fail(error);
}

}  // namespace

std::string workingFolder() { return folder().path; }

bool isWorkingOnBoard() { return folder().isOnBoard; }

}  // namespace simulator

namespace {

using namespace simulator;

// A path of the board's in full; `target` is the caller's, or null for memory that it is to release.
char* give(const std::string& path, char* target, std::size_t bytes) {
  if (target == nullptr) {
    target = static_cast<char*>(std::malloc(std::max(bytes, path.size() + 1)));
    if (target == nullptr) return nullptr;
  } else if (path.size() + 1 > bytes) {
    errno = ERANGE;
    return nullptr;
  }
  std::memcpy(target, path.c_str(), path.size() + 1);
  return target;
}

bool worksOnBoard() { return Board::active() != nullptr && isWorkingOnBoard(); }

char* realPathAs(const char* path, char* target) {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) return NEXT(realpath)(MachinePath{AT_FDCWD, path}, target);
  if (opening.error != ENOENT) return give(opening.path, target, PATH_MAX);
  errno = ENOENT;
  return nullptr;
}

// What a link of the program's own leads to where that is the board's.
std::optional<std::string> ownLink(const std::string& path) {
  for (const std::string& self :
       {std::string{"/proc/self"}, std::string{"/proc/thread-self"}, "/proc/" + std::to_string(::getpid())}) {
    if (path == self + "/cwd" && isWorkingOnBoard()) return workingFolder();
    const std::string descriptors = self + "/fd/";
    if (path.compare(0, descriptors.size(), descriptors) != 0) continue;
    if (const auto file = openFile(std::atoi(path.c_str() + descriptors.size()))) return file->path;
  }
  return std::nullopt;
}

bool boardLinks(int folder, const char* path, char* target, std::size_t bytes, ssize_t& result) {
  const Board::Opening opening = lookAt(folder, path);
  if (opening.mine) {
    result = fail(linkError(opening));
    return true;
  }
  const auto link = Board::active() != nullptr ? ownLink(absolutePath(folder, path)) : std::nullopt;
  if (link) result = static_cast<ssize_t>(link->copy(target, bytes));
  return link.has_value();
}

}  // namespace

STANDS_IN int chdir(const char* path) noexcept {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) return changed(NEXT(chdir)(MachinePath{AT_FDCWD, path}));
  if (opening.error != 0) return fail(opening.error);
  return opening.isFolder ? enterBoard(opening.path) : fail(ENOTDIR);
}

STANDS_IN int fchdir(int descriptor) noexcept {
  const auto file = openFile(descriptor);
  if (file == nullptr) return changed(NEXT(fchdir)(descriptor));
  return file->folder.empty() ? fail(ENOTDIR) : enterBoard(file->folder);
}

STANDS_IN char* getcwd(char* target, std::size_t bytes) noexcept {
  return worksOnBoard() ? give(workingFolder(), target, bytes) : NEXT(getcwd)(target, bytes);
}
STANDS_IN char* __getcwd_chk(char* target, std::size_t bytes, std::size_t) noexcept {
  return ::getcwd(target, bytes);
}
STANDS_IN char* getwd(char* target) noexcept { return ::getcwd(target, PATH_MAX); }
STANDS_IN char* get_current_dir_name() noexcept {
  return worksOnBoard() ? give(workingFolder(), nullptr, 0) : NEXT(get_current_dir_name)();
}

STANDS_IN char* realpath(const char* path, char* target) noexcept { return realPathAs(path, target); }
STANDS_IN char* __realpath_chk(const char* path, char* target, std::size_t) noexcept {
  return realPathAs(path, target);
}
STANDS_IN char* canonicalize_file_name(const char* path) noexcept { return realPathAs(path, nullptr); }

STANDS_IN ssize_t readlink(const char* path, char* target, std::size_t bytes) noexcept {
  ssize_t result = 0;
  return boardLinks(AT_FDCWD, path, target, bytes, result)
             ? result
             : NEXT(readlink)(MachinePath{AT_FDCWD, path}, target, bytes);
}
STANDS_IN ssize_t readlinkat(int folder, const char* path, char* target, std::size_t bytes) noexcept {
  ssize_t result = 0;
  return boardLinks(folder, path, target, bytes, result)
             ? result
             : NEXT(readlinkat)(folder, MachinePath{folder, path}, target, bytes);
}
STANDS_IN ssize_t __readlink_chk(const char* path, char* target, std::size_t bytes, std::size_t) noexcept {
  return ::readlink(path, target, bytes);
}
STANDS_IN ssize_t __readlinkat_chk(int folder, const char* path, char* target, std::size_t bytes,
                                   std::size_t) noexcept {
  return ::readlinkat(folder, path, target, bytes);
}
