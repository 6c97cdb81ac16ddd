// Programs that take the place of another, or are started beside it: execve, execv, execvp, execvpe,
// posix_spawn, posix_spawnp. One that a preloaded library does not reach is handed to the command, which
// knows another way onto the same board, or says that there is none.

#include <spawn.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "simulator/board/environment.h"
#include "simulator/board/program.h"
#include "simulator/seam/interpose.h"

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
                             : NEXT(execve)(path, arguments, variables);
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

STANDS_IN int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                          const posix_spawnattr_t* attributes, char* const arguments[],
                          char* const variables[]) {
  const Start start{path, arguments, variables};
  return start.isByCommand() ? spawnAs(start, process, actions, attributes)
                             : NEXT(posix_spawn)(process, path, actions, attributes, arguments, variables);
}

STANDS_IN int posix_spawnp(pid_t* process, const char* file, const posix_spawn_file_actions_t* actions,
                           const posix_spawnattr_t* attributes, char* const arguments[],
                           char* const variables[]) {
  const Start start{findProgram(file), arguments, variables};
  return start.isByCommand() ? spawnAs(start, process, actions, attributes)
                             : NEXT(posix_spawnp)(process, file, actions, attributes, arguments, variables);
}
