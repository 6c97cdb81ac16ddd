#include "simulator/notify/skeleton.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <vector>

namespace simulator {

namespace {

namespace fs = std::filesystem;

bool isNavigation(const std::string& name) { return name == "." || name == ".."; }

}  // namespace

Skeleton::Skeleton(const Board& board) : board_{board} {
  const char* const parent = std::getenv("TMPDIR");
  std::string pattern =
      std::string{parent != nullptr && *parent == '/' ? parent : "/tmp"} + "/tessary-board-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error{pattern + ": " + std::strerror(errno)};
  ::chmod(pattern.c_str(), 0755);  // the program may have given up its rights
  char real[PATH_MAX];             // as the kernel names what is open there
  root_ = ::realpath(pattern.c_str(), real) != nullptr ? real : pattern;
}

Skeleton::~Skeleton() {
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

Descriptor Skeleton::open(const std::string& boardPath, int flags) {
  bringUpToDate(boardPath);
  return Descriptor{
      ::open((root_ + boardPath).c_str(), (flags & O_PATH) | O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
}

std::optional<std::string> Skeleton::boardPath(const std::string& path) const {
  if (path.rfind(root_, 0) != 0) return std::nullopt;
  std::string below = path.substr(root_.size());
  if (!below.empty() && below.front() != '/') return std::nullopt;
  // A folder that has gone from the board while the program has it open.
  constexpr char kRemoved[] = " (deleted)";
  const std::size_t end = below.size() - std::min(below.size(), sizeof kRemoved - 1);
  if (below.compare(end, std::string::npos, kRemoved) == 0) below.erase(end);
  return below.empty() ? "/" : below;
}

void Skeleton::bringUpToDate(const std::string& boardPath) {
  std::error_code ignored;
  if (entries_.count(boardPath) == 0) fs::create_directories(root_ + boardPath, ignored);
  std::set<std::string> present;
  for (const std::string& name : board_.list(boardPath)) {
    if (!isNavigation(name)) present.insert(name);
  }
  std::set<std::string>& known = entries_[boardPath];
  if (known == present) return;
  const std::string folder = boardPath + "/";
  for (const std::string& name : known) {
    if (present.count(name) == 0) remove(folder + name);
  }
  for (const std::string& name : present) {
    if (known.count(name) == 0) add(folder + name);
  }
  known = std::move(present);
}

void Skeleton::remove(const std::string& boardPath) {
  std::error_code ignored;
  fs::remove_all(root_ + boardPath, ignored);
  entries_.erase(boardPath);
  const std::string below = boardPath + "/";
  auto it = entries_.lower_bound(below);
  while (it != entries_.end() && it->first.rfind(below, 0) == 0) it = entries_.erase(it);
}

void Skeleton::add(const std::string& boardPath) {
  const std::string path = root_ + boardPath;
  if (board_.look(boardPath).isFolder) {
    ::mkdir(path.c_str(), 0755);
  } else {
    const Descriptor file{::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0444)};
  }
}

}  // namespace simulator
