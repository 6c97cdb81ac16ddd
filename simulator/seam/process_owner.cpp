#include "simulator/seam/process_owner.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/seam/interpose.h"

namespace simulator {

namespace {

// Of the machine's process or thread: the process that it belongs to, and its parent. 0 where there is none.
struct Kin {
  pid_t process = 0;
  pid_t parent = 0;
};

pid_t numberAfter(const char* text, const char* label) {
  const char* const line = std::strstr(text, label);
  return line != nullptr ? static_cast<pid_t>(std::strtol(line + std::strlen(label), nullptr, 10)) : 0;
}

// By the system's own calls: /proc is the board's.
Kin kinOf(pid_t process) {
  const std::string path = "/proc/" + std::to_string(process) + "/status";
  const int file = NEXT(open)(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return {};
  std::array<char, 1024> text;
  const ssize_t length = NEXT(read)(file, text.data(), text.size() - 1);
  NEXT(close)(file);
  if (length <= 0) return {};
  text[static_cast<std::size_t>(length)] = '\0';
  return {numberAfter(text.data(), "\nTgid:"), numberAfter(text.data(), "\nPPid:")};
}

// The caller, a program of the board, or started by one of them.
bool isOfProgram(const Clock& clock, pid_t process) {
  const pid_t self = ::getpid();
  if (process == 0 || process == self) return true;
  constexpr int kGenerations = 64;
  for (int generation = 0; generation < kGenerations && process > 1; ++generation) {
    if (process == self || clock.isOnBoard(process)) return true;
    const Kin kin = kinOf(process);
    if (kin.process == self || clock.isOnBoard(kin.process)) return true;
    process = kin.parent;
  }
  return false;
}

// Some answers are told from errors by the error number alone.
class KeptError {
 public:
  KeptError() = default;
  ~KeptError() { errno = error_; }
  KeptError(const KeptError&) = delete;
  KeptError& operator=(const KeptError&) = delete;

 private:
  const int error_ = errno;
};

ProcessOwner ownerOnBoard(const Board& board, pid_t process) {
  const Board::Opening opening = board.look("/proc/" + std::to_string(process));
  return opening.mine && opening.error != ENOENT ? ProcessOwner::kBoard : ProcessOwner::kNobody;
}

}  // namespace

bool hasProcesses() {
  const Board* const board = Board::active();
  return board != nullptr && board->look("/proc").mine;
}

ProcessOwner ownerOf(pid_t process) {
  const KeptError kept;
  if (process == 0 || process == ::getpid() || !hasProcesses()) return ProcessOwner::kProgram;
  const Board& board = *Board::active();
  if (isOfProgram(board.clock(), process)) return ProcessOwner::kProgram;
  const ProcessOwner owner = ownerOnBoard(board, process);
  // The one process outside that a program knows by right.
  return owner == ProcessOwner::kNobody && process == ::getppid() ? ProcessOwner::kProgram : owner;
}

ProcessOwner ownerOfGroup(pid_t group) {
  if (group == ::getpgrp()) return ProcessOwner::kProgram;
  const ProcessOwner owner = ownerOf(group);
  if (owner == ProcessOwner::kProgram) return owner;
  // Its first process may have ended before the others.
  const std::vector<pid_t> programs = Board::active()->clock().processesOnBoard();
  const bool hasPrograms = std::any_of(programs.begin(), programs.end(),
                                       [group](pid_t program) { return NEXT(getpgid)(program) == group; });
  return hasPrograms ? ProcessOwner::kProgram : owner;
}

int refusalFor(ProcessOwner owner) {
  switch (owner) {
    case ProcessOwner::kProgram:
      return 0;
    case ProcessOwner::kBoard:
      return EPERM;
    case ProcessOwner::kNobody:
      return ESRCH;
  }
  return 0;
}

}  // namespace simulator
