// What the C library does over many folders by calls within itself: glob, ftw, nftw; fts, which is refused on the
// board.

#include <dirent.h>
#include <fcntl.h>
#include <fts.h>
#include <ftw.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include "simulator/seam/interpose.h"
#include "simulator/seam/open_files.h"
#include "simulator/seam/working_folder.h"

namespace {

using namespace simulator;

using GlobError = int (*)(const char*, int);

// The library's own search, by the calls that are seen here.
template <typename Result, typename Glob, typename Status>
int globAs(Glob* search, Status* status, Status* linkStatus, const char* pattern, int flags,
           GlobError onError, Result* result) {
  if (Board::active() == nullptr || (flags & GLOB_ALTDIRFUNC) != 0)
    return search(pattern, flags, onError, result);
  result->gl_opendir = [](const char* path) { return static_cast<void*>(::opendir(path)); };
  result->gl_closedir = [](void* folder) { ::closedir(static_cast<DIR*>(folder)); };
  using Entry = decltype(result->gl_readdir(nullptr));
  result->gl_readdir = [](void* folder) {
    return reinterpret_cast<Entry>(::readdir(static_cast<DIR*>(folder)));
  };
  result->gl_stat = status;
  result->gl_lstat = linkStatus;
  return search(pattern, flags | GLOB_ALTDIRFUNC, onError, result);
}

using Visit = std::function<int(const char*, const struct stat*, int, FTW*)>;

std::string folderOf(const std::string& path) {
  return path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
}

// One walk of nftw over the board, which has no links, no other file systems and no folder that is closed.
// Entries are visited by the name that the walk was given, and found by their whole one.
class Walk {
 public:
  Walk(Visit visit, int flags) : visit_{std::move(visit)}, flags_{flags} {}

  int over(const std::string& name, const std::string& path, int level) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return level == 0 ? -1 : visit(name, path, status, FTW_NS, level);
    if (!S_ISDIR(status.st_mode)) return visit(name, path, status, FTW_F, level);
    const bool isDepthFirst = (flags_ & FTW_DEPTH) != 0;
    int result = isDepthFirst ? 0 : visit(name, path, status, FTW_D, level);
    if (result == 0) result = overEntries(name, path, level + 1);
    if (result == FTW_SKIP_SIBLINGS && acts() && !isDepthFirst) return 0;
    return result == 0 && isDepthFirst ? visit(name, path, status, FTW_DP, level) : result;
  }

 private:
  bool acts() const { return (flags_ & FTW_ACTIONRETVAL) != 0; }

  int visit(const std::string& name, const std::string& path, const struct stat& status, int type,
            int level) {
    if ((flags_ & FTW_CHDIR) != 0 && ::chdir(folderOf(path).c_str()) != 0) return -1;
    FTW place{name.size() == 1 ? 0 : static_cast<int>(name.rfind('/') + 1), level};
    return visit_(name.c_str(), &status, type, &place);
  }

  int overEntries(const std::string& name, const std::string& path, int level) {
    for (const std::string& entry : Board::active()->list(path)) {
      if (entry == "." || entry == "..") continue;
      const std::string below = "/" + entry;
      const int result = over(name + below, path + below, level);
      if (result != 0 && !(acts() && result == FTW_SKIP_SUBTREE)) return result;
    }
    return 0;
  }

  Visit visit_;
  int flags_;
};

bool walksBoard(const char* path, int flags, const Visit& visit, int& result) {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) return false;
  std::string name = path;
  while (name.size() > 1 && name.back() == '/') name.pop_back();
  const std::string before = workingFolder();
  result = Walk{visit, flags}.over(name, opening.path, 0);
  if ((flags & FTW_CHDIR) != 0 && ::chdir(before.c_str()) != 0) result = -1;
  return true;
}

}  // namespace

STANDS_IN int glob(const char* pattern, int flags, GlobError onError, glob_t* result) noexcept {
  return globAs(NEXT(glob), ::stat, ::lstat, pattern, flags, onError, result);
}
STANDS_IN int glob64(const char* pattern, int flags, GlobError onError, glob64_t* result) noexcept {
  return globAs(NEXT(glob64), ::stat64, ::lstat64, pattern, flags, onError, result);
}

STANDS_IN int nftw(const char* path, __nftw_func_t visit, int descriptors, int flags) {
  int result = 0;
  return walksBoard(path, flags, visit, result) ? result : NEXT(nftw)(path, visit, descriptors, flags);
}
STANDS_IN int ftw(const char* path, __ftw_func_t visit, int descriptors) {
  int result = 0;
  const auto plain = [visit](const char* name, const struct stat* status, int type, FTW*) {
    return visit(name, status, type);
  };
  return walksBoard(path, 0, plain, result) ? result : NEXT(ftw)(path, visit, descriptors);
}

namespace {

// It would walk over the machine's folders of the same names.
bool refusesWalk(char* const* paths) {
  for (; *paths != nullptr; ++paths) {
    if (!lookAt(AT_FDCWD, *paths).mine) continue;
    std::fprintf(stderr, "tessary-board: fts of %s would show the machine's and is refused\n", *paths);
    return true;
  }
  return false;
}

}  // namespace

STANDS_IN FTS* fts_open(char* const* paths, int options, int (*compare)(const FTSENT**, const FTSENT**)) {
  if (!refusesWalk(paths)) return NEXT(fts_open)(paths, options, compare);
  errno = EOPNOTSUPP;
  return nullptr;
}
STANDS_IN FTS64* fts64_open(char* const* paths, int options,
                            int (*compare)(const FTSENT64**, const FTSENT64**)) {
  if (!refusesWalk(paths)) return NEXT(fts64_open)(paths, options, compare);
  errno = EOPNOTSUPP;
  return nullptr;
}

#ifdef __LP64__  // one record of a status, by two names
STANDS_IN int nftw64(const char* path, __nftw64_func_t visit, int descriptors, int flags) {
  return ::nftw(path, reinterpret_cast<__nftw_func_t>(visit), descriptors, flags);
}
STANDS_IN int ftw64(const char* path, __ftw64_func_t visit, int descriptors) {
  return ::ftw(path, reinterpret_cast<__ftw_func_t>(visit), descriptors);
}
#endif
