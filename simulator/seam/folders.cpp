// Folders: opendir, fdopendir, readdir, readdir_r, rewinddir, telldir, seekdir, dirfd, closedir, scandir,
// scandirat.

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
#include "simulator/board/records.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/open_files.h"

namespace {

using namespace simulator;

// Of the board, or one that board and machine share.
struct BoardFolder {
  int descriptor;
  std::string path;
  bool isShared;
  std::vector<dirent> entries;
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

// Some programs pass over what is not said to be a file, or a folder.
unsigned char typeOf(const std::string& folder, const std::string& name, const std::string& path) {
  const bool isNavigation = name == "." || name == "..";
  const bool isProcess = folder == "/proc" && name.front() >= '0' && name.front() <= '9';  // there are many
  if (isNavigation || isProcess) return DT_DIR;
  const Board::Opening entry = Board::active()->look(path);
  return static_cast<unsigned char>(IFTODT(modeOf(entry.node)));
}

dirent entryOf(const std::string& folder, const std::string& name) {
  const std::string path = name == "." ? folder : folder + "/" + name;
  dirent entry{};
  entry.d_ino = inodeOf(path);
  entry.d_reclen = sizeof entry;
  entry.d_type = typeOf(folder, name, path);
  name.copy(entry.d_name, sizeof entry.d_name - 1);
  return entry;
}

// The machine's own entries of a folder, by another opening of it.
std::vector<dirent> machineEntries(int descriptor) {
  std::vector<dirent> entries;
  const int again = NEXT(openat)(descriptor, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* const folder = again >= 0 ? NEXT(fdopendir)(again) : nullptr;
  if (folder == nullptr) return entries;
  while (const dirent* const read = NEXT(readdir)(folder)) {
    dirent entry{};
    std::memcpy(&entry, read, std::min<std::size_t>(read->d_reclen, sizeof entry));
    entries.push_back(entry);
  }
  NEXT(closedir)(folder);
  return entries;
}

std::vector<dirent> listed(const BoardFolder& folder) {
  const Board* const board = Board::active();
  if (board == nullptr) return {};
  std::vector<dirent> entries;
  std::vector<std::string> names =
      folder.isShared ? board->listShared(folder.path) : board->list(folder.path);
  if (folder.isShared) {
    // In both it is the board's; of what the board has removed the machine's is not seen either.
    for (const dirent& entry : machineEntries(folder.descriptor)) {
      const std::string name = entry.d_name;
      if (name == "." || name == ".." || !board->look(folder.path + "/" + name).mine)
        entries.push_back(entry);
    }
  }
  entries.reserve(entries.size() + names.size());
  for (const std::string& name : names) entries.push_back(entryOf(folder.path, name));
  return entries;
}

DIR* openListing(int descriptor, const std::string& path, bool isShared) {
  auto* const folder = new BoardFolder{descriptor, path, isShared, {}, 0, {}};
  folder->entries = listed(*folder);
  const std::lock_guard lock{folderTable().mutex};
  folderTable().folders.insert(folder);
  return reinterpret_cast<DIR*>(folder);
}

// The path of a folder of the machine's in which the board has something, too; empty for all others.
std::string sharedPath(int folder, const char* path) {
  const Board* const board = Board::active();
  if (board == nullptr || path == nullptr) return {};
  const std::string shared = absolutePath(folder, path);
  return board->listShared(shared).empty() ? std::string{} : shared;
}

dirent* readEntry(BoardFolder& folder) {
  if (folder.at >= folder.entries.size()) return nullptr;
  folder.entry = folder.entries[folder.at++];
  return &folder.entry;
}

}  // namespace

STANDS_IN DIR* opendir(const char* path) {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) {
    const std::string shared = sharedPath(AT_FDCWD, path);
    if (shared.empty()) return NEXT(opendir)(MachinePath{AT_FDCWD, path});
    const int folder = NEXT(open)(shared.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return folder < 0 ? nullptr : openListing(folder, shared, true);
  }
  int descriptor = -1;
  boardOpens(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, descriptor);
  return descriptor < 0 ? nullptr : openListing(descriptor, opening.path, false);
}

STANDS_IN DIR* fdopendir(int descriptor) {
  const auto file = openFile(descriptor);
  if (file != nullptr && !file->folder.empty()) return openListing(descriptor, file->folder, false);
  const std::string shared = file == nullptr ? sharedPath(descriptor, ".") : std::string{};
  return shared.empty() ? NEXT(fdopendir)(descriptor) : openListing(descriptor, shared, true);
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

namespace {

template <typename Entry>
int readInto(BoardFolder& folder, Entry* entry, Entry** result) {
  const dirent* const read = readEntry(folder);
  if (read != nullptr) std::memcpy(entry, read, sizeof *read);
  *result = read != nullptr ? entry : nullptr;
  return 0;
}

}  // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"  // programs call them all the same
STANDS_IN int readdir_r(DIR* folder, dirent* entry, dirent** result) {
  BoardFolder* const mine = boardFolder(folder);
  return mine != nullptr ? readInto(*mine, entry, result) : NEXT(readdir_r)(folder, entry, result);
}
STANDS_IN int readdir64_r(DIR* folder, dirent64* entry, dirent64** result) {
  BoardFolder* const mine = boardFolder(folder);
  return mine != nullptr ? readInto(*mine, entry, result) : NEXT(readdir64_r)(folder, entry, result);
}
#pragma GCC diagnostic pop

STANDS_IN void rewinddir(DIR* folder) noexcept {
  BoardFolder* const mine = boardFolder(folder);
  if (mine == nullptr) return NEXT(rewinddir)(folder);
  mine->entries = listed(*mine);
  mine->at = 0;
}

STANDS_IN long telldir(DIR* folder) noexcept {
  const BoardFolder* const mine = boardFolder(folder);
  return mine != nullptr ? static_cast<long>(mine->at) : NEXT(telldir)(folder);
}

STANDS_IN void seekdir(DIR* folder, long place) noexcept {
  BoardFolder* const mine = boardFolder(folder);
  if (mine == nullptr) return NEXT(seekdir)(folder, place);
  mine->at = static_cast<std::size_t>(place);
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
int scanBoardFolder(int at, const char* path, Entry*** list, Wants wants, Compare compare) {
  const int descriptor = ::openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* const folder = descriptor >= 0 ? ::fdopendir(descriptor) : nullptr;
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

bool listsBoard(int folder, const char* path) {
  return lookAt(folder, path).mine || !sharedPath(folder, path).empty();
}

}  // namespace

// NOLINTBEGIN(bugprone-macro-parentheses): the arguments are names and a type
#define STANDS_IN_SCAN(name, name_at, Entry)                                                            \
  STANDS_IN int name_at(int folder, const char* path, struct Entry*** list, int (*wants)(const Entry*), \
                        int (*compare)(const Entry**, const Entry**)) {                                 \
    if (listsBoard(folder, path)) return scanBoardFolder(folder, path, list, wants, compare);           \
    return NEXT(name_at)(folder, MachinePath{folder, path}, list, wants, compare);                      \
  }                                                                                                     \
  STANDS_IN int name(const char* path, struct Entry*** list, int (*wants)(const Entry*),                \
                     int (*compare)(const Entry**, const Entry**)) {                                    \
    return name_at(AT_FDCWD, path, list, wants, compare);                                               \
  }
// NOLINTEND(bugprone-macro-parentheses)
STANDS_IN_SCAN(scandir, scandirat, dirent)
STANDS_IN_SCAN(scandir64, scandirat64, dirent64)
