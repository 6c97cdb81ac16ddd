// Programs that take the place of another, or are started beside it: execve, execv, execvp, execvpe,
// posix_spawn, posix_spawnp, and what these do before on the board. One that a preloaded library does not reach is handed to the command, which
// knows another way onto the same board, or says that there is none.

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulator/board/descriptor.h"
#include "simulator/board/environment.h"
#include "simulator/board/fork_safe_mutex.h"
#include "simulator/board/program.h"
#include "simulator/board/working_folder.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/open_files.h"

namespace {

using namespace simulator;

// A variable of the started program's environment, which need not be the caller's; null when it has none.
const char* valueOf(const char* name, char* const variables[]) {
  const std::size_t length = std::strlen(name);
  for (; variables != nullptr && *variables != nullptr; ++variables) {
    if (std::strncmp(*variables, name, length) == 0 && (*variables)[length] == '=')
      return *variables + length + 1;
  }
  return nullptr;
}

class Start {
 public:
  // path: the file, as execve has it; the command is called by its first argument otherwise.
  Start(const std::optional<std::string>& path, char* const arguments[], char* const variables[]) {
    const char* const command = valueOf(kCommandVariable, variables);
    const char* const board = valueOf(kBoardVariable, variables);
    const char* const seed = valueOf(kSeedVariable, variables);
    const char* const time = valueOf(kTimeVariable, variables);
    if (!path || command == nullptr || board == nullptr || seed == nullptr || time == nullptr) return;
    const std::optional<Program> program = lookAtProgram(*path);
    if (!program || (program->linking == Linking::kDynamic && !program->gainsPrivileges)) return;
    texts_ = {command, "run", board, "--seed", seed, "--time", time, "--", *path};
    for (std::string& text : texts_) arguments_.push_back(text.data());
    for (char* const* argument = arguments; *argument != nullptr; ++argument) {
      if (argument != arguments) arguments_.push_back(*argument);
    }
    arguments_.push_back(nullptr);
    for (; *variables != nullptr; ++variables) {
      // The command is not on the board itself.
      if (std::strncmp(*variables, kPreload, sizeof kPreload - 1) != 0) variables_.push_back(*variables);
    }
    variables_.push_back(nullptr);
  }

  bool isByCommand() const { return !arguments_.empty(); }
  const char* path() const { return arguments_.front(); }
  char* const* arguments() const { return arguments_.data(); }
  char* const* variables() const { return variables_.data(); }

 private:
  static constexpr char kPreload[] = "LD_PRELOAD=";

  std::vector<std::string> texts_;
  std::vector<char*> arguments_;
  std::vector<char*> variables_;
};

int spawnAs(const Start& start, pid_t* process, const posix_spawn_file_actions_t* actions,
            const posix_spawnattr_t* attributes) {
  return NEXT(posix_spawn)(process, start.path(), actions, attributes, start.arguments(), start.variables());
}

}  // namespace

STANDS_IN int execve(const char* path, char* const arguments[], char* const variables[]) noexcept {
  const Start start{path, arguments, variables};
  return start.isByCommand() ? NEXT(execve)(start.path(), start.arguments(), start.variables())
                             : NEXT(execve)(MachinePath{AT_FDCWD, path}, arguments, variables);
}

STANDS_IN int execv(const char* path, char* const arguments[]) noexcept {
  return ::execve(path, arguments, ::environ);
}

STANDS_IN int execvpe(const char* file, char* const arguments[], char* const variables[]) noexcept {
  const Start start{findProgram(file), arguments, variables};
  return start.isByCommand() ? NEXT(execve)(start.path(), start.arguments(), start.variables())
                             : NEXT(execvpe)(file, arguments, variables);
}

STANDS_IN int execvp(const char* file, char* const arguments[]) noexcept {
  return ::execvpe(file, arguments, ::environ);
}

namespace {

// The arguments of a call that lists them; the list is left behind the null at its end.
std::vector<char*> listed(const char* first, std::va_list& list) {
  std::vector<char*> arguments{const_cast<char*>(first)};
  while (arguments.back() != nullptr) arguments.push_back(va_arg(list, char*));
  return arguments;
}

}  // namespace

STANDS_IN int execl(const char* path, const char* first, ...) noexcept {
  std::va_list list;
  va_start(list, first);
  const std::vector<char*> arguments = listed(first, list);
  va_end(list);
  return ::execv(path, arguments.data());
}

STANDS_IN int execlp(const char* file, const char* first, ...) noexcept {
  std::va_list list;
  va_start(list, first);
  const std::vector<char*> arguments = listed(first, list);
  va_end(list);
  return ::execvp(file, arguments.data());
}

STANDS_IN int execle(const char* path, const char* first, ...) noexcept {
  std::va_list list;
  va_start(list, first);
  const std::vector<char*> arguments = listed(first, list);
  char* const* const variables = va_arg(list, char* const*);
  va_end(list);
  return ::execve(path, arguments.data(), variables);
}

// -- what posix_spawn does by calls within the C library: an opening becomes a duplicate of a file that is open
// already, with the text of the moment in which it was asked for, and a folder of the board is entered by its
// descriptor

namespace {

// Descriptors that are open for a list of actions, until that is destroyed.
struct SpawnFiles {
  ForkSafeMutex mutex;
  std::multimap<const posix_spawn_file_actions_t*, Descriptor> files;
};

SpawnFiles& spawnFiles() { return lasting<SpawnFiles>(); }
[[maybe_unused]] const auto& earlySpawnFiles = spawnFiles();

int keep(const posix_spawn_file_actions_t* actions, int descriptor) {
  const std::lock_guard lock{spawnFiles().mutex};
  spawnFiles().files.emplace(actions, Descriptor{descriptor});
  return descriptor;
}

int enterAt(posix_spawn_file_actions_t* actions, const std::string& boardPath) {
  const int folder = openFolder(boardPath);
  return folder >= 0 ? NEXT(posix_spawn_file_actions_addfchdir_np)(actions, keep(actions, folder)) : errno;
}

}  // namespace

STANDS_IN int posix_spawn_file_actions_addopen(posix_spawn_file_actions_t* actions, int target,
                                               const char* path, int flags, mode_t mode) noexcept {
  int file = -1;
  if (!boardOpens(AT_FDCWD, path, flags | O_CLOEXEC, file))
    return NEXT(posix_spawn_file_actions_addopen)(actions, target, MachinePath{AT_FDCWD, path}, flags, mode);
  return file >= 0 ? NEXT(posix_spawn_file_actions_adddup2)(actions, keep(actions, file), target) : errno;
}

STANDS_IN int posix_spawn_file_actions_addchdir_np(posix_spawn_file_actions_t* actions,
                                                   const char* path) noexcept {
  const Board::Opening opening = lookAt(AT_FDCWD, path);
  if (!opening.mine) return NEXT(posix_spawn_file_actions_addchdir_np)(actions, MachinePath{AT_FDCWD, path});
  if (opening.error != 0) return opening.error;
  return opening.isFolder ? enterAt(actions, opening.path) : ENOTDIR;
}

STANDS_IN int posix_spawn_file_actions_addfchdir_np(posix_spawn_file_actions_t* actions,
                                                    int descriptor) noexcept {
  const auto file = openFile(descriptor);
  if (file == nullptr) return NEXT(posix_spawn_file_actions_addfchdir_np)(actions, descriptor);
  return file->folder.empty() ? ENOTDIR : enterAt(actions, file->folder);
}

STANDS_IN int posix_spawn_file_actions_destroy(posix_spawn_file_actions_t* actions) noexcept {
  {
    const std::lock_guard lock{spawnFiles().mutex};
    spawnFiles().files.erase(actions);
  }
  return NEXT(posix_spawn_file_actions_destroy)(actions);
}

STANDS_IN int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                          const posix_spawnattr_t* attributes, char* const arguments[],
                          char* const variables[]) {
  const Start start{path, arguments, variables};
  return start.isByCommand() ? spawnAs(start, process, actions, attributes)
                             : NEXT(posix_spawn)(process, MachinePath{AT_FDCWD, path}, actions, attributes,
                                                 arguments, variables);
}

STANDS_IN int posix_spawnp(pid_t* process, const char* file, const posix_spawn_file_actions_t* actions,
                           const posix_spawnattr_t* attributes, char* const arguments[],
                           char* const variables[]) {
  const Start start{findProgram(file), arguments, variables};
  return start.isByCommand() ? spawnAs(start, process, actions, attributes)
                             : NEXT(posix_spawnp)(process, file, actions, attributes, arguments, variables);
}
