#include "simulator/notify/places.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "simulator/board/descriptor.h"
#include "simulator/board/working_folder.h"

namespace simulator {

namespace {

// How the kernel names an anonymous file: /memfd:NAME (deleted)
constexpr char kAnonymousFile[] = "/memfd:";
constexpr char kDeleted[] = " (deleted)";
constexpr char kTextName[] = "tessary-board:";

constexpr int kMostLinks = 40;  // as the kernel has it

bool startsWith(const std::string& text, const std::string& start) { return text.rfind(start, 0) == 0; }

bool isAt(const std::string& path, const std::string& folder) {
  return startsWith(path, folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// /proc/./12/../12//stat -> /proc/12/stat
std::string normalized(const std::string& path) {
  const bool isNormal = path.size() > 1 && path.back() != '/' && path.find("//") == std::string::npos &&
                        path.find("/.") == std::string::npos;
  if (isNormal) return path;
  std::string normal = std::filesystem::path{path}.lexically_normal();
  if (normal.size() > 1 && normal.back() == '/') normal.pop_back();
  return normal;
}

// Of a path of the machine, what is there in the end, beyond all links; empty when there is nothing.
std::string canonical(const std::string& path, bool follows) {
  const Descriptor place{::open(path.c_str(), O_PATH | O_CLOEXEC | (follows ? 0 : O_NOFOLLOW))};
  if (place.get() < 0) return {};
  char target[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(place.get());
  const ssize_t length = ::readlink(link.c_str(), target, sizeof target);
  return {target, length > 0 ? static_cast<std::size_t>(length) : 0};
}

}  // namespace

std::string Places::nameOfText(const std::string& path) { return kTextName + path; }

std::optional<std::string> Places::boardPath(const std::string& link) const {
  static const std::string start = std::string{kAnonymousFile} + kTextName;
  if (auto folder = boardFolderOf(link)) return folder;  // of a preloaded program, which started this one
  if (!startsWith(link, start)) return skeleton_.boardPath(link);
  std::string path = link.substr(start.size());
  const std::size_t end = path.rfind(kDeleted);
  if (end != std::string::npos) path.erase(end);
  return path;
}

std::optional<std::string> Places::openedPath(const Caller& caller, int descriptor) const {
  return boardPath(caller.link(descriptor == AT_FDCWD ? "cwd" : "fd/" + std::to_string(descriptor)));
}

std::string Places::absolute(const Caller& caller, int folder, const std::string& path) const {
  if (!path.empty() && path.front() == '/') return path;
  std::string base = caller.link(folder == AT_FDCWD ? "cwd" : "fd/" + std::to_string(folder));
  if (base.empty() || base.front() != '/') return {};
  base = boardPath(base).value_or(base);
  return path.empty() ? base : base + "/" + path;
}

std::optional<std::string> Places::ownEntry(const Caller& caller, const std::string& path) const {
  constexpr char kProcesses[] = "/proc/";
  if (!startsWith(path, kProcesses)) return std::nullopt;
  const std::size_t at = sizeof kProcesses - 1;
  const std::size_t end = std::min(path.find('/', at), path.size());
  const std::string name = path.substr(at, end - at);
  bool isOwn = name == "self" || name == "thread-self";
  const bool isNumber = !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
  if (isNumber && board_.look(path.substr(0, end)).error == ENOENT) {
    // The board's own process of that number goes first.
    const int process = std::atoi(name.c_str());
    isOwn = process == caller.thread() || process == caller.process();
  }
  if (!isOwn) return std::nullopt;
  return end == path.size() ? std::string{} : path.substr(end + 1);
}

// /proc/self/cwd/x leads wherever the working folder is, and so do its root and the folders that it has open.
std::string Places::withoutOwnLinks(const Caller& caller, std::string path, bool follows) const {
  for (int links = 0; links < kMostLinks; ++links) {
    const std::optional<std::string> own = ownEntry(caller, path);
    if (!own) return path;
    // The network's nodes are the same for all programs, /proc/net is what they are known by.
    if (isAt(*own, "net")) return "/proc/" + *own;
    const std::size_t name = startsWith(*own, "fd/") ? 3 : 0;
    if (name == 0 && !isAt(*own, "cwd") && !isAt(*own, "root")) return path;
    const std::size_t end = std::min(own->find('/', name), own->size());
    if (end == own->size() && !follows) return path;
    const std::string target = caller.link(own->substr(0, end));
    if (target.empty() || target.front() != '/') return path;
    const std::string rest = own->substr(end);
    const std::optional<std::string> boards = boardPath(target);
    path = normalized(boards.value_or(target == "/" ? "" : target) + rest);
  }
  return path;
}

Board::Opening Places::lookUp(const std::string& path) const {
  Board::Opening opening = board_.look(path);
  // What is left of /proc to the program are its own entries; the simulator's are not there.
  if (opening.mine || !isAt(path, "/proc") || path == "/proc") return opening;
  opening.mine = true;
  opening.path = path;
  opening.error = ENOENT;
  return opening;
}

Places::Place Places::find(const Caller& caller, int folder, const std::string& path, bool follows) const {
  std::string whole = absolute(caller, folder, path);
  if (whole.empty()) return {};
  whole = withoutOwnLinks(caller, normalized(whole), follows);
  if (const auto inSkeleton = skeleton_.boardPath(whole)) whole = *inSkeleton;
  if (const auto own = ownEntry(caller, whole)) {
    Board::Opening opening = board_.look("/proc/self/" + *own);  // what is mounted is the board's there, too
    return {opening.mine ? opening.path : whole, std::move(opening)};
  }
  Board::Opening opening = lookUp(whole);
  if (opening.mine) return {whole, std::move(opening)};
  // A link of the machine's that leads onto the board.
  const std::string target = canonical(whole, follows);
  if (!target.empty() && target != whole && target.front() == '/') {
    const std::string own = "/proc/" + std::to_string(::getpid());  // where /proc/self leads here
    if (!isAt(target, own)) opening = lookUp(target);
  }
  return {whole, std::move(opening)};
}

}  // namespace simulator
