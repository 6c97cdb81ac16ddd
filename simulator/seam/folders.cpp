// Folders: opendir, fdopendir, readdir, rewinddir, dirfd, closedir, scandir.

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "simulator/board/fork_safe_mutex.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/open_files.h"
#include "simulator/seam/status.h"

namespace {

using namespace simulator;

struct BoardFolder {
  int descriptor;
  std::string path;
  std::vector<std::string> names;
  std::size_t at = 0;
  dirent entry{};
};

struct FolderTable {
  ForkSafeMutex mutex;
  std::set<const void*> folders;
};

FolderTable& folderTable() { return lasting<FolderTable>(); }
[[maybe_unused]] const auto& earlyFolderTable = folderTable();

BoardFolder* boardFolder(DIR* folder) {
  const std::lock_guard lock{folderTable().mutex};
  return folderTable().folders.count(folder) != 0 ? reinterpret_cast<BoardFolder*>(folder) : nullptr;
}

DIR* openListing(int descriptor, const std::string& path) {
  auto* const folder = new BoardFolder{descriptor, path, Board::active()->list(path), 0, {}};
  const std::lock_guard lock{folderTable().mutex};
  folderTable().folders.insert(folder);
  return reinterpret_cast<DIR*>(folder);
}

dirent* readEntry(BoardFolder& folder) {
  if (folder.at == folder.names.size()) return nullptr;
  const std::string& name = folder.names[folder.at++];
  folder.entry = {};
  folder.entry.d_ino = inodeOf(name == "." ? folder.path : folder.path + "/" + name);
  folder.entry.d_reclen = sizeof folder.entry;
  folder.entry.d_type = DT_UNKNOWN;
  name.copy(folder.entry.d_name, sizeof folder.entry.d_name - 1);
  return &folder.entry;
}

}  // namespace

STANDS_IN DIR* opendir(const char* path) {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) return NEXT(opendir)(MachinePath{AT_FDCWD, path});
  int descriptor = -1;
  boardOpens(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, descriptor);
  return descriptor < 0 ? nullptr : openListing(descriptor, opening.path);
}

STANDS_IN DIR* fdopendir(int descriptor) {
  const auto file = openFile(descriptor);
  const bool isFolder = file != nullptr && !file->folder.empty();
  return isFolder ? openListing(descriptor, file->folder) : NEXT(fdopendir)(descriptor);
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
  if (!lookAt(AT_FDCWD, path).mine) return NEXT(scandir)(MachinePath{AT_FDCWD, path}, list, wants, compare);
  return scanBoardFolder(path, list, wants, compare);
}

STANDS_IN int scandir64(const char* path, dirent64*** list, int (*wants)(const dirent64*),
                        int (*compare)(const dirent64**, const dirent64**)) {
  if (!lookAt(AT_FDCWD, path).mine) return NEXT(scandir64)(MachinePath{AT_FDCWD, path}, list, wants, compare);
  return scanBoardFolder(path, list, wants, compare);
}
