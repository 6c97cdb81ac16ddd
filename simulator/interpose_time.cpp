// The calls of the C library in which time passes, or that read it, on the active board's clock: waits,
// clocks, threads, and the processes that a program starts and waits for. See interpose.cpp for the others.
//
//   waits      usleep, nanosleep, clock_nanosleep, sleep, poll, ppoll, select, pselect
//   clocks     gettimeofday, clock_gettime, time
//   threads    pthread_create, pthread_join
//   processes  popen, pclose, wait, waitpid, wait3, wait4, waitid
//
// Not stood in for: condition variables, semaphores, timers and epoll with a time limit keep the machine's
// time.

#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "simulator/board.h"
#include "simulator/environment.h"
#include "simulator/interpose.h"

namespace {

using simulator::Board;
using simulator::Clock;

int fail(int error) {
  errno = error;
  return -1;
}

}  // namespace

// -- waits

namespace {

constexpr std::int64_t kNanosecondsInSecond = 1000000000;
constexpr std::int64_t kMicrosecondsInSecond = 1000000;

std::int64_t microsecondsOf(const timespec& time) {
  return time.tv_sec * kMicrosecondsInSecond + time.tv_nsec / 1000;
}
std::int64_t microsecondsOf(const timeval& time) {
  return time.tv_sec * kMicrosecondsInSecond + time.tv_usec;
}

timespec timeOf(std::int64_t microseconds) {
  return {microseconds / kMicrosecondsInSecond, microseconds % kMicrosecondsInSecond * 1000};
}

timespec boardClock(Board& board, int id) {
  const std::int64_t time = board.clock().read(id);
  return {time / kNanosecondsInSecond, time % kNanosecondsInSecond};
}

bool timeIsStepped() {
  Board* const board = Board::active();
  return board != nullptr && board->clock().mode() == Clock::Mode::kStepped;
}

// Something to wait for, or the time limit: in stepped time, what is not there at once does not come in time.
template <typename Call>
int waitStepped(std::int64_t microseconds, Call callWithoutWaiting) {
  const int ready = callWithoutWaiting();
  if (ready == 0) Board::active()->wait(microseconds);
  return ready;
}

}  // namespace

STANDS_IN int usleep(useconds_t microseconds) {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(usleep)(microseconds);
  return board->wait(microseconds) == 0 ? 0 : fail(EINTR);
}

STANDS_IN unsigned sleep(unsigned seconds) {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(sleep)(seconds);
  const std::int64_t left = board->wait(seconds * kMicrosecondsInSecond);
  return static_cast<unsigned>((left + kMicrosecondsInSecond - 1) / kMicrosecondsInSecond);
}

STANDS_IN int clock_nanosleep(clockid_t id, int flags, const timespec* time, timespec* left) {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(clock_nanosleep)(id, flags, time, left);
  const bool isAbsolute = (flags & TIMER_ABSTIME) != 0;
  const std::int64_t before = isAbsolute ? microsecondsOf(boardClock(*board, id)) : 0;
  const std::int64_t microseconds = board->wait(microsecondsOf(*time) - before);
  if (microseconds == 0) return 0;
  if (left != nullptr && !isAbsolute) *left = timeOf(microseconds);
  return EINTR;
}

STANDS_IN int nanosleep(const timespec* duration, timespec* left) {
  if (Board::active() == nullptr) return NEXT(nanosleep)(duration, left);
  const int error = ::clock_nanosleep(CLOCK_MONOTONIC, 0, duration, left);
  return error == 0 ? 0 : fail(error);
}

STANDS_IN int poll(pollfd* files, nfds_t count, int milliseconds) {
  if (milliseconds <= 0 || !timeIsStepped()) return NEXT(poll)(files, count, milliseconds);
  return waitStepped(milliseconds * std::int64_t{1000}, [=] { return NEXT(poll)(files, count, 0); });
}

STANDS_IN int ppoll(pollfd* files, nfds_t count, const timespec* time, const sigset_t* signals) {
  if (time == nullptr || !timeIsStepped()) return NEXT(ppoll)(files, count, time, signals);
  const timespec none{};
  return waitStepped(microsecondsOf(*time), [&] { return NEXT(ppoll)(files, count, &none, signals); });
}

STANDS_IN int select(int count, fd_set* reads, fd_set* writes, fd_set* others, timeval* time) {
  if (time == nullptr || !timeIsStepped()) return NEXT(select)(count, reads, writes, others, time);
  timeval none{};
  return waitStepped(microsecondsOf(*time),
                     [&] { return NEXT(select)(count, reads, writes, others, &none); });
}

STANDS_IN int pselect(int count, fd_set* reads, fd_set* writes, fd_set* others, const timespec* time,
                      const sigset_t* signals) {
  if (time == nullptr || !timeIsStepped()) return NEXT(pselect)(count, reads, writes, others, time, signals);
  const timespec none{};
  return waitStepped(microsecondsOf(*time),
                     [&] { return NEXT(pselect)(count, reads, writes, others, &none, signals); });
}

// -- clocks

STANDS_IN int clock_gettime(clockid_t id, timespec* time) noexcept {
  Board* const board = Board::active();
  const bool ofProcess = id == CLOCK_PROCESS_CPUTIME_ID || id == CLOCK_THREAD_CPUTIME_ID || id < 0;
  if (board == nullptr || ofProcess) return NEXT(clock_gettime)(id, time);
  *time = boardClock(*board, id);
  return 0;
}

STANDS_IN int gettimeofday(timeval* time, void* zone) noexcept {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(gettimeofday)(time, zone);
  const timespec now = boardClock(*board, CLOCK_REALTIME);
  *time = {now.tv_sec, now.tv_nsec / 1000};
  return 0;
}

STANDS_IN time_t time(time_t* target) noexcept {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(time)(target);
  const time_t now = boardClock(*board, CLOCK_REALTIME).tv_sec;
  if (target != nullptr) *target = now;
  return now;
}

// -- threads

namespace {

struct ThreadStart {
  void* (*function)(void*);
  void* argument;
  std::int64_t time;
};

struct ThreadTimes {
  std::mutex mutex;
  std::map<pthread_t, std::int64_t> ended;
};

ThreadTimes& threadTimes() {
  static auto* const times = new ThreadTimes;
  return *times;
}

void* runThread(void* argument) {
  const ThreadStart start = *std::unique_ptr<ThreadStart>{static_cast<ThreadStart*>(argument)};
  if (Board* const board = Board::active()) board->clock().advanceTo(start.time);
  void* const result = start.function(start.argument);
  if (Board* const board = Board::active()) {
    const std::lock_guard lock{threadTimes().mutex};
    threadTimes().ended[::pthread_self()] = board->clock().now();
  }
  return result;
}

}  // namespace

STANDS_IN int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                             void* argument) noexcept {
  Board* const board = Board::active();
  if (board == nullptr) return NEXT(pthread_create)(thread, attributes, function, argument);
  auto start = std::make_unique<ThreadStart>(ThreadStart{function, argument, board->clock().now()});
  const int result = NEXT(pthread_create)(thread, attributes, runThread, start.get());
  if (result == 0) static_cast<void>(start.release());  // the thread's own now
  return result;
}

STANDS_IN int pthread_join(pthread_t thread, void** value) {
  const int result = NEXT(pthread_join)(thread, value);
  Board* const board = Board::active();
  if (result != 0 || board == nullptr) return result;
  const std::lock_guard lock{threadTimes().mutex};
  const auto ended = threadTimes().ended.find(thread);
  if (ended == threadTimes().ended.end()) return result;
  board->clock().advanceTo(ended->second);
  threadTimes().ended.erase(ended);
  return result;
}

// -- processes

namespace {

struct CommandStreams {
  std::mutex mutex;
  std::map<std::FILE*, pid_t> shells;
};

CommandStreams& commandStreams() {
  static auto* const streams = new CommandStreams;
  return *streams;
}

pid_t joined(pid_t process, int status) {
  Board* const board = Board::active();
  const bool hasEnded = process > 0 && (WIFEXITED(status) || WIFSIGNALED(status));
  if (board != nullptr && hasEnded) board->clock().joinProcess(process);
  return process;
}

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

STANDS_IN pid_t wait4(pid_t process, int* status, int options, rusage* usage) noexcept {
  int own = 0;
  int& target = status != nullptr ? *status : own;
  return joined(NEXT(wait4)(process, &target, options, usage), target);
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
  const int result = NEXT(waitid)(type, id, &target, options);
  const bool hasEnded =
      target.si_code == CLD_EXITED || target.si_code == CLD_KILLED || target.si_code == CLD_DUMPED;
  if (result == 0 && hasEnded && (options & WNOWAIT) == 0) joined(target.si_pid, 0);
  return result;
}
