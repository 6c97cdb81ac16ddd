// The processes that a program starts and waits for, and its own end: popen, pclose, wait, waitpid, wait3,
// wait4, waitid, _exit.

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

#include "simulator/board/board.h"
#include "simulator/board/environment.h"
#include "simulator/board/fork_safe_mutex.h"
#include "simulator/seam/board_time.h"
#include "simulator/seam/interpose.h"

namespace {

using simulator::Board;

struct CommandStreams {
  simulator::ForkSafeMutex mutex;
  std::map<std::FILE*, pid_t> shells;
};

CommandStreams& commandStreams() { return simulator::lasting<CommandStreams>(); }
[[maybe_unused]] const auto& earlyCommandStreams = commandStreams();

pid_t joined(pid_t process, int status) {
  Board* const board = Board::active();
  const bool hasEnded = process > 0 && (WIFEXITED(status) || WIFSIGNALED(status));
  if (board != nullptr && hasEnded) board->clock().joinProcess(process);
  return process;
}

// A process has its own time while it runs: whoever waits for it gets that, and no other.
class Away {
 public:
  Away() {
    if (simulator::timeIsStepped()) simulator::Schedule::get().setAway(true);
  }
  ~Away() {
    if (simulator::timeIsStepped()) simulator::Schedule::get().setAway(false);
  }
  Away(const Away&) = delete;
  Away& operator=(const Away&) = delete;
};

// The C library's, but with an environment of its own for the command: none of the caller's is touched, which
// other threads may be reading.
std::FILE* startShell(const char* command, const char* type, const simulator::Environment& environment) {
  const bool reads = type[0] == 'r';
  int ends[2];
  if ((!reads && type[0] != 'w') || ::pipe2(ends, O_CLOEXEC) != 0) return nullptr;
  const int ours = ends[reads ? 0 : 1];
  const int theirs = ends[reads ? 1 : 0];

  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, theirs, reads ? STDOUT_FILENO : STDIN_FILENO);
  std::string texts[] = {"sh", "-c", command};
  char* const arguments[] = {texts[0].data(), texts[1].data(), texts[2].data(), nullptr};
  pid_t shell = -1;
  const int error = ::posix_spawn(&shell, "/bin/sh", &actions, nullptr, arguments, environment.variables());
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(theirs);
  std::FILE* const stream = error == 0 ? ::fdopen(ours, reads ? "r" : "w") : nullptr;
  if (stream == nullptr) {
    ::close(ours);
    if (error != 0) errno = error;
    return nullptr;
  }
  const std::lock_guard lock{commandStreams().mutex};
  commandStreams().shells[stream] = shell;
  return stream;
}

// A board that no other process can lay out: the command gets it as it stands.
std::FILE* startShellOnFrozenBoard(const Board& board, const char* command, const char* type) {
  const int frozen = ::memfd_create("board", 0U);
  if (frozen < 0) return nullptr;
  const std::string text = board.freeze();
  std::FILE* stream = nullptr;
  if (::write(frozen, text.data(), text.size()) == static_cast<ssize_t>(text.size())) {
    simulator::Environment environment;
    environment.set("LD_PRELOAD", TESSARY_BOARD_LIBRARY);
    environment.set(simulator::kFrozenBoardVariable, "/proc/self/fd/" + std::to_string(frozen));
    environment.prependCommands(TESSARY_BOARD_COMMANDS);
    stream = startShell(command, type, environment);
  }
  ::close(frozen);
  return stream;
}

}  // namespace

STANDS_IN std::FILE* popen(const char* command, const char* type) {
  Board* const board = Board::active();
  if (board == nullptr || std::getenv(simulator::kFrozenBoardVariable) != nullptr)
    return NEXT(popen)(command, type);
  if (board->commandError() != 0) {
    errno = board->commandError();
    return nullptr;
  }
  if (std::getenv(simulator::kBoardVariable) == nullptr)
    return startShellOnFrozenBoard(*board, command, type);
  simulator::Environment environment;
  environment.set(simulator::kStartVariable, simulator::startOfChild(board->clock().now()));
#ifdef TESSARY_BOARD_OF_HOST
  // Under an emulator the shells are the build machine's.
  environment.set("LD_PRELOAD", TESSARY_BOARD_LIBRARY);
#endif
  return startShell(command, type, environment);
}

STANDS_IN int pclose(std::FILE* stream) {
  pid_t shell = -1;
  {
    const std::lock_guard lock{commandStreams().mutex};
    const auto found = commandStreams().shells.find(stream);
    if (found == commandStreams().shells.end()) return NEXT(pclose)(stream);
    shell = found->second;
    commandStreams().shells.erase(found);
  }
  std::fclose(stream);
  int status = 0;
  pid_t ended;
  do {
    ended = ::waitpid(shell, &status, 0);
  } while (ended < 0 && errno == EINTR);
  return ended == shell ? status : -1;
}

// A shell's way to end: without its destructors.
STANDS_IN void _exit(int status) {
  if (const Board* const board = Board::active()) board->clock().leaveProcess();
  for (;;) ::syscall(SYS_exit_group, status);
}
STANDS_IN void _Exit(int status) noexcept { ::_exit(status); }

STANDS_IN pid_t wait4(pid_t process, int* status, int options, rusage* usage) noexcept {
  int own = 0;
  int& target = status != nullptr ? *status : own;
  const Away away;
  const pid_t ended = NEXT(wait4)(process, &target, options, usage);
  return joined(ended, target);
}

STANDS_IN pid_t wait3(int* status, int options, rusage* usage) noexcept {
  return ::wait4(-1, status, options, usage);
}
STANDS_IN pid_t waitpid(pid_t process, int* status, int options) {
  return ::wait4(process, status, options, nullptr);
}
STANDS_IN pid_t wait(int* status) { return ::wait4(-1, status, 0, nullptr); }

STANDS_IN int waitid(idtype_t type, id_t id, siginfo_t* info, int options) {
  siginfo_t own{};
  siginfo_t& target = info != nullptr ? *info : own;
  const Away away;
  const int result = NEXT(waitid)(type, id, &target, options);
  const bool hasEnded =
      target.si_code == CLD_EXITED || target.si_code == CLD_KILLED || target.si_code == CLD_DUMPED;
  if (result == 0 && hasEnded && (options & WNOWAIT) == 0) joined(target.si_pid, 0);
  return result;
}
