// The machine's processes beside those of a board.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/klog.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>

#include "simulator/board/board.h"
#include "tests/simulator/board_text.h"

namespace {

using simulator::Board;

[[noreturn]] void sleepUntilKilled() {
  for (;;) ::pause();
}

// One that this program did not start, as far as anyone can tell.
pid_t startStranger() {
  int ends[2];
  if (::pipe(ends) != 0) return -1;
  const pid_t between = ::fork();
  if (between == 0) {
    const pid_t stranger = ::fork();
    if (stranger == 0) sleepUntilKilled();
    const bool told = ::write(ends[1], &stranger, sizeof stranger) == sizeof stranger;
    ::_exit(told ? 0 : 1);
  }
  int status = 0;
  ::waitpid(between, &status, 0);
  pid_t stranger = -1;
  const bool heard = ::read(ends[0], &stranger, sizeof stranger) == sizeof stranger;
  ::close(ends[0]);
  ::close(ends[1]);
  return heard ? stranger : -1;
}

#define EXPECT_REFUSED(call, error) \
  errno = 0;                        \
  EXPECT_EQ(call, -1);              \
  EXPECT_EQ(errno, error)

TEST(Processes, AnIdOfTheBoardsIsNeverTheMachines) {
  const pid_t stranger = startStranger();
  ASSERT_GT(stranger, 0);
  {
    Board board;
    board.folder("/proc");
    EXPECT_REFUSED(::kill(stranger, SIGKILL), ESRCH);
    board.file("/proc/" + std::to_string(stranger) + "/stat", "\n");
    EXPECT_EQ(::kill(stranger, 0), 0);
    EXPECT_REFUSED(::kill(stranger, SIGKILL), EPERM);
    EXPECT_REFUSED(::kill(-stranger, SIGKILL), EPERM);
    EXPECT_REFUSED(::killpg(stranger, SIGKILL), EPERM);
    EXPECT_REFUSED(::kill(-1, SIGKILL), ESRCH);
    EXPECT_REFUSED(::tgkill(stranger, stranger, SIGKILL), EPERM);
    EXPECT_REFUSED(::sigqueue(stranger, SIGKILL, {}), EPERM);
    EXPECT_REFUSED(::syscall(SYS_kill, stranger, SIGKILL), EPERM);
    EXPECT_REFUSED(::syscall(SYS_tkill, stranger, SIGKILL), EPERM);
    EXPECT_REFUSED(::syscall(SYS_pidfd_open, stranger, 0), EPERM);
    const int folder = ::open(("/proc/" + std::to_string(stranger)).c_str(), O_PATH | O_DIRECTORY);
    EXPECT_EQ(::syscall(SYS_pidfd_send_signal, folder, 0, nullptr, 0), 0);
    EXPECT_REFUSED(::syscall(SYS_pidfd_send_signal, folder, SIGKILL, nullptr, 0), EPERM);
    ::close(folder);
    EXPECT_REFUSED(::acct(nullptr), EPERM);
    constexpr int kSizeOfLog = 10;
    EXPECT_REFUSED(::klogctl(kSizeOfLog, nullptr, 0), EPERM);
    EXPECT_REFUSED(::setpriority(PRIO_PROCESS, static_cast<id_t>(stranger), 5), EPERM);
    EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(stranger)), 0);
    board.file("/proc/4999999/stat", "\n");  // which the machine never has
    errno = 0;
    EXPECT_EQ(::getpriority(PRIO_PROCESS, 4999999), 0);
    EXPECT_EQ(errno, 0);
    const rlimit limit{10, 10};
    EXPECT_REFUSED(::prlimit(stranger, RLIMIT_NOFILE, &limit, nullptr), EPERM);
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(0, &cores);
    EXPECT_REFUSED(::sched_setaffinity(stranger, sizeof cores, &cores), EPERM);
    EXPECT_REFUSED(::setpgid(stranger, 0), EPERM);
  }
  // It was there all the time, unchanged: the tests themselves may run at another priority than the usual.
  EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(stranger)), ::getpriority(PRIO_PROCESS, 0));
  EXPECT_EQ(::kill(stranger, SIGKILL), 0);
}

TEST(Processes, AChildIsTheProgramsOwnWhateverItsId) {
  Board board;
  const pid_t child = ::fork();
  if (child == 0) sleepUntilKilled();
  board.file("/proc/" + std::to_string(child) + "/stat", "\n");
  EXPECT_EQ(::setpriority(PRIO_PROCESS, static_cast<id_t>(child), 5), 0);
  EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(child)), 5);
  EXPECT_EQ(::kill(child, SIGTERM), 0);
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
  EXPECT_EQ(::kill(::getpid(), 0), 0);
  board.folder("/proc");
  EXPECT_EQ(::kill(::getppid(), 0), 0);
}

std::atomic<int> signals{0};

TEST(Processes, ASignalToAllIsForTheOthersOnTheBoard) {
  const std::string path = simulator::ProcessTimes::create();
  simulator::ProcessTimes* const table = simulator::ProcessTimes::attach(path);
  simulator::Clock clock{simulator::Clock::Mode::kReal};
  clock.share(table, path);
  Board board{clock};
  board.folder("/proc");
  pid_t children[2];
  for (pid_t& child : children) {
    child = ::fork();
    if (child == 0) sleepUntilKilled();
  }
  table->begin(children[0], 0);
  struct sigaction counted {};
  counted.sa_handler = [](int) { ++signals; };
  struct sigaction before {};
  ::sigaction(SIGUSR2, &counted, &before);
  EXPECT_EQ(::kill(-1, SIGUSR2), 0);
  EXPECT_EQ(signals, 0);
  int status = 0;
  EXPECT_EQ(::waitpid(children[0], &status, 0), children[0]);
  EXPECT_EQ(WTERMSIG(status), SIGUSR2);
  EXPECT_EQ(::waitpid(children[1], &status, WNOHANG), 0) << "of the machine alone";
  ::kill(children[1], SIGKILL);
  EXPECT_EQ(::waitpid(children[1], &status, 0), children[1]);
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
  ::sigaction(SIGUSR2, &before, nullptr);
  ::unlink(path.c_str());
}

// The other thread holds the board's lock while this one forks.
TEST(Processes, AForkWaitsForTheBoardsLocks) {
#ifdef TESSARY_BOARD_OF_HOST
  GTEST_SKIP() << "the emulator fails an assertion of its own in a child that was forked beside a thread";
#endif
  Board board;
  board.file("/sys/a/slow", "1\n");
  board.file("/sys/a/other", "2\n");
  std::atomic<bool> isHeld{false};
  std::atomic<bool> hasForked{false};
  board.change("/sys/a/slow", [&](simulator::Node&) {
    isHeld = true;
    for (int turn = 0; turn < 20000 && !hasForked; ++turn) ::sched_yield();
  });
  std::thread holder{[] { EXPECT_EQ(textOf("/sys/a/slow"), "1\n"); }};
  while (!isHeld) ::sched_yield();
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(20);  // ends one that waits for a thread that it does not have
    ::_exit(textOf("/sys/a/other") == "2\n" ? 0 : 1);
  }
  hasForked = true;
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  holder.join();
}

}  // namespace
