#include "simulator/seam/open_files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <map>
#include <mutex>

#include "simulator/seam/interpose.h"

namespace simulator {

namespace {

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

// The absolute path of `path` relative to `folder`; empty when it is the machine's business: a relative path
// from the working folder or from a folder that is not the board's.
std::string absolutePath(int folder, const char* path) {
  if (path == nullptr) return {};
  if (path[0] == '/') return path;
  const std::string base = isTracked(folder) ? openFile(folder).folder : std::string{};
  return base.empty() ? base : base + "/" + path;
}

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

}  // namespace

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

}  // namespace simulator
