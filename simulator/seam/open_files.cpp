#include "simulator/seam/open_files.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <climits>
#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

#include "simulator/board/fork_safe_mutex.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/working_folder.h"

namespace simulator {

namespace {

constexpr int kTrackedDescriptors = 65536;

std::array<std::atomic<bool>, kTrackedDescriptors> tracked;

constexpr std::size_t kUsualDescriptors = 1024;  // the limit that most programs have

struct OpenTable {
  ForkSafeMutex mutex;
  std::vector<std::shared_ptr<OpenFile>> files;  // by descriptor; null: not the board's

  OpenTable() { files.reserve(kUsualDescriptors); }
};

struct TableOwner {
  std::atomic<pid_t> process{::getpid()};

  TableOwner() {
    ::pthread_atfork(nullptr, nullptr, [] { lasting<TableOwner>().process = ::getpid(); });
  }
};

[[maybe_unused]] const auto& earlyOwner = lasting<TableOwner>();

OpenTable& openTable() { return lasting<OpenTable>(); }
[[maybe_unused]] const auto& earlyOpenTable = openTable();

ForkSafeMutex& renderMutex() { return lasting<ForkSafeMutex>(); }
[[maybe_unused]] const auto& earlyRenderMutex = renderMutex();

// A read that follows the opening at once takes what was rendered then.
constexpr Nanoseconds kFreshFor = 1000000;

// What /proc/self/fd says of a file in memory before its name, and how much of the name is sure to be there.
constexpr const char* kMemoryName = "/memfd:";
constexpr std::size_t kLongestName = 200;

// What the kernel says that a descriptor stands for: a path, or a name without a slash before it.
std::string machinePathOf(int descriptor) {
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  std::array<char, PATH_MAX> target;
  const ssize_t length = NEXT(readlink)(link.c_str(), target.data(), target.size());
  return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

// Whether the descriptor is still the file in memory that was made for the node, which is named after it. A
// call that is not seen here may have closed it, and its number be a file of the program's own now.
bool isStillOf(const OpenFile& file, int descriptor) {
  const std::string name = kMemoryName + file.path;
  return machinePathOf(descriptor).substr(0, std::min(name.size(), kLongestName)) ==
         name.substr(0, kLongestName);
}

bool writeText(int descriptor, const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count =
        ::pwrite(descriptor, text.data() + written, text.size() - written, static_cast<off_t>(written));
    if (count <= 0) return false;
    written += static_cast<std::size_t>(count);
  }
  return true;
}

int openPlaceholder(int flags, std::shared_ptr<OpenFile> file) {
  const int descriptor = NEXT(open)("/dev/null", O_RDWR | (flags & O_CLOEXEC));
  track(descriptor, std::move(file));
  return descriptor;
}

int openText(Board& board, std::shared_ptr<OpenFile> file, int flags) {
  const int descriptor = ::memfd_create(file->path.c_str(), (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0U);
  if (descriptor < 0) return descriptor;
  file->isText = true;
  file->rendered = board.clock().now();
  writeText(descriptor, file->node.text ? file->node.text() : std::string{});
  track(descriptor, std::move(file));
  return descriptor;
}

// What the kernel says of an open node whose process has ended, or whose device is gone.
int errorOfGone(const std::string& path) {
  constexpr std::size_t kName = sizeof "/proc/" - 1;
  const bool isOfProcess = path.compare(0, kName, "/proc/") == 0 && path.size() > kName &&
                           std::isdigit(static_cast<unsigned char>(path[kName])) != 0;
  return isOfProcess ? ESRCH : ENODEV;
}

// Wherever a process with the same descriptor has read to since: this one reads on there.
bool isFresh(Board& board, OpenFile& file) {
  return std::exchange(file.isUnread, false) && board.clock().now() - file.rendered < kFreshFor;
}

// The error number of a read that finds nothing more to render; 0 otherwise.
int renderAnew(Board& board, OpenFile& file, int descriptor) {
  if (!isStillOf(file, descriptor)) {
    untrack(descriptor);
    return 0;
  }
  Board::Opening opening = board.look(file.path);
  if (!opening.mine) return 0;
  if (opening.error == ENOENT) return errorOfGone(file.path);
  file.node = std::move(opening.node);
  const std::string text = file.node.text ? file.node.text() : std::string{};
  // The text that is there is never cut before the new one stands.
  return writeText(descriptor, text) && ::ftruncate(descriptor, static_cast<off_t>(text.size())) == 0 ? 0
                                                                                                      : EIO;
}

}  // namespace

bool isOurTable() { return lasting<TableOwner>().process == ::getpid(); }

bool isTracked(int descriptor) {
  return descriptor >= 0 && descriptor < kTrackedDescriptors && tracked[static_cast<std::size_t>(descriptor)];
}

void track(int descriptor, std::shared_ptr<OpenFile> file) {
  if (descriptor < 0 || descriptor >= kTrackedDescriptors) return;
  const auto index = static_cast<std::size_t>(descriptor);
  OpenTable& table = openTable();
  const std::lock_guard lock{table.mutex};
  if (table.files.size() <= index) table.files.resize(index + 1);
  table.files[index] = std::move(file);
  tracked[index] = true;
}

void untrackFrom(int first, int last) {
  if (!isOurTable()) return;
  OpenTable& table = openTable();
  const std::lock_guard lock{table.mutex};
  const std::size_t end = std::min(table.files.size(), static_cast<std::size_t>(last) + 1);
  for (auto index = static_cast<std::size_t>(std::max(first, 0)); index < end; ++index) {
    tracked[index] = false;
    table.files[index].reset();
  }
}

void untrack(int descriptor) {
  if (isTracked(descriptor)) untrackFrom(descriptor, descriptor);
}

std::shared_ptr<OpenFile> openFile(int descriptor) {
  if (!isTracked(descriptor)) return nullptr;
  OpenTable& table = openTable();
  const std::lock_guard lock{table.mutex};
  const auto index = static_cast<std::size_t>(descriptor);
  return index < table.files.size() ? table.files[index] : nullptr;
}

std::string absolutePath(int folder, const char* path) {
  if (path == nullptr) return {};
  if (path[0] == '/') return path;
  if (folder == AT_FDCWD) return path[0] != '\0' ? workingFolder() + "/" + path : std::string{};
  if (path[0] == '\0' || folder < 0) return {};
  const auto base = openFile(folder);
  std::string start = base != nullptr ? base->folder : machinePathOf(folder);
  if (start.empty() || start.front() != '/') return {};
  return start.append("/").append(path);
}

MachinePath::MachinePath(int folder, const char* path) : path_{path} {
  const bool isRelative = path != nullptr && path[0] != '/' && path[0] != '\0';
  if (!isRelative || Board::active() == nullptr) return;
  if (folder == AT_FDCWD ? !isWorkingOnBoard() : !isTracked(folder)) return;
  // Without the folders on the way, which are not the machine's.
  absolute_ = std::filesystem::path{absolutePath(folder, path)}.lexically_normal();
}

Board::Opening lookAt(int folder, const char* path) {
  Board* const board = Board::active();
  if (board == nullptr) return {};
  const std::string absolute = absolutePath(folder, path);
  return absolute.empty() ? Board::Opening{} : board->look(absolute);
}

bool boardOpens(int folder, const char* path, int flags, int& descriptor) {
  Board* const board = Board::active();
  if (board == nullptr) return false;
  const std::string absolute = absolutePath(folder, path);
  if (absolute.empty()) return false;
  Board::Opening opening = board->open(absolute);
  if (!opening.mine) return false;
  if (opening.error != 0 || (!opening.isFolder && (flags & O_DIRECTORY) != 0)) {
    descriptor = fail(opening.error != 0 ? opening.error : ENOTDIR);
    return true;
  }
  auto file = std::make_shared<OpenFile>();
  file->path = std::move(opening.path);
  file->node = std::move(opening.node);
  if (opening.isFolder) file->folder = file->path;
  const bool isText = !opening.isFolder && !file->node.ioctl;
  descriptor = isText ? openText(*board, std::move(file), flags) : openPlaceholder(flags, std::move(file));
  return true;
}

ssize_t readableBytes(OpenFile& file, int descriptor, off_t offset, std::size_t bytes) {
  if (!file.isText) return static_cast<ssize_t>(bytes);
  const std::lock_guard lock{renderMutex()};
  Board* const board = Board::active();
  if (board != nullptr && !isFresh(*board, file)) {
    const off_t start = offset == kAtPosition ? NEXT(lseek)(descriptor, 0, SEEK_CUR) : offset;
    const int error = start == 0 ? renderAnew(*board, file, descriptor) : 0;
    if (error != 0) return fail(error);
  }
  if (file.node.readError != 0) return fail(file.node.readError);
  if (file.node.readLimit != 0) bytes = std::min(bytes, file.node.readLimit);
  return static_cast<ssize_t>(bytes);
}

}  // namespace simulator
