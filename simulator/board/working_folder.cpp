#include "simulator/board/working_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "simulator/board/machine.h"

namespace simulator {

namespace {

// /dev/shm/tessary-board-folder-Ab3xYz/=sys=class=net (deleted)
constexpr char kFolderPrefix[] = "tessary-board-folder-";
constexpr char kDeleted[] = " (deleted)";
constexpr char kSlash = '=';
constexpr char kEscape = '%';  // before a sign that stands for itself

std::string linkName(const std::string& boardPath) {
  std::string name;
  for (const char sign : boardPath) {
    if (sign == kSlash || sign == kEscape) name += kEscape;
    name += sign == '/' ? kSlash : sign;
  }
  return name;
}

}  // namespace

int openFolder(const std::string& boardPath) {
  const std::string name = linkName(boardPath);
  if (name.size() > NAME_MAX) {
    errno = ENAMETOOLONG;
    return -1;
  }
  long descriptor = -1;
  const char* const told = std::getenv("TMPDIR");
  for (const std::string& place :
       {std::string{"/dev/shm"}, std::string{told != nullptr ? told : ""}, std::string{"/tmp"}}) {
    std::string parent = place;
    parent.append("/").append(kFolderPrefix).append("XXXXXX");
    if (place.empty() || place.front() != '/' || ::mkdtemp(parent.data()) == nullptr) continue;
    std::string folder = parent;
    folder.append("/").append(name);
    if (::mkdir(folder.c_str(), S_IRWXU) == 0)
      descriptor = machineCall(SYS_openat, AT_FDCWD, folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0);
    const int error = errno;
    ::rmdir(folder.c_str());
    ::rmdir(parent.c_str());
    errno = error;
    if (descriptor >= 0) break;
  }
  return static_cast<int>(descriptor);
}

int enterFolder(const std::string& boardPath) {
  const int descriptor = openFolder(boardPath);
  if (descriptor < 0) return errno;
  const int error = machineCall(SYS_fchdir, descriptor) == 0 ? 0 : errno;
  machineCall(SYS_close, descriptor);
  return error;
}

std::optional<std::string> boardFolderOf(const std::string& link) {
  constexpr std::size_t kEnd = sizeof kDeleted - 1;
  const std::size_t prefix = link.find(std::string{"/"} + kFolderPrefix);
  const std::size_t slash = link.rfind('/');
  const bool isMark = prefix != std::string::npos && slash > prefix && link.size() > slash + 1 + kEnd &&
                      link.compare(link.size() - kEnd, kEnd, kDeleted) == 0;
  if (!isMark) return std::nullopt;
  std::string path;
  for (std::size_t at = slash + 1; at < link.size() - kEnd; ++at) {
    if (link[at] == kEscape) {
      path += link[++at];
    } else {
      path += link[at] == kSlash ? '/' : link[at];
    }
  }
  return path;
}

}  // namespace simulator
