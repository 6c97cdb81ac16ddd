#include "simulator/board/clock.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <thread>

#include "simulator/board/board.h"

namespace {

using simulator::Board;
using simulator::Clock;

constexpr simulator::Nanoseconds kMillisecond = 1000000;

TEST(BoardClock, RunsSideBySideInThreadsAndMeetsAtTheJoin) {
  Board board;
  ::usleep(1000);
  std::thread shorter{[&] {
    EXPECT_EQ(board.clock().now(), kMillisecond);
    ::usleep(2000);
  }};
  std::thread longer{[] { ::usleep(5000); }};
  EXPECT_EQ(board.clock().now(), kMillisecond);
  shorter.join();
  EXPECT_EQ(board.clock().now(), 3 * kMillisecond);
  longer.join();
  EXPECT_EQ(board.clock().now(), 6 * kMillisecond);
}

// A thread that has waited for a process is where that has ended.
TEST(BoardClock, WakesNobodyIntoThePast) {
  Board board;
  std::mutex mutex;
  std::condition_variable condition;
  bool isLater = false;
  std::thread other{[&] {
    std::unique_lock lock{mutex};
    condition.wait(lock, [&] { return isLater; });
    EXPECT_EQ(board.clock().now(), 5 * kMillisecond);
  }};
  ::usleep(1000);
  board.clock().advanceTo(5 * kMillisecond);
  {
    const std::lock_guard lock{mutex};
    isLater = true;
    condition.notify_one();
  }
  other.join();
}

TEST(BoardClock, StepsOverATimeLimitThatNothingBeats) {
  Board board;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  pollfd file{ends[0], POLLIN, 0};
  EXPECT_EQ(::poll(&file, 1, 40), 0);
  EXPECT_EQ(board.clock().now(), 40 * kMillisecond);
  ASSERT_EQ(::write(ends[1], "x", 1), 1);
  EXPECT_EQ(::poll(&file, 1, 40), 1);
  EXPECT_EQ(board.clock().now(), 40 * kMillisecond);
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST(BoardClock, LetsASignalInterruptARealWait) {
  Board board{std::nullopt, Clock::Mode::kReal};
  struct sigaction noted {};
  noted.sa_handler = [](int) {};
  ::sigaction(SIGALRM, &noted, nullptr);
  // Again and again: the first may come before the wait has begun.
  const itimerval often{{0, 10000}, {0, 10000}};
  ::setitimer(ITIMER_REAL, &often, nullptr);
  const timespec hour{3600, 0};
  timespec left{};
  EXPECT_EQ(::nanosleep(&hour, &left), -1);
  EXPECT_EQ(errno, EINTR);
  const itimerval never{};
  ::setitimer(ITIMER_REAL, &never, nullptr);
  EXPECT_EQ(left.tv_sec, 3599);
}

TEST(BoardClock, AWaitUntilThePastTakesNoTime) {
  Board board;
  ::usleep(5000);
  timespec past{};
  ::clock_gettime(CLOCK_MONOTONIC, &past);
  past.tv_sec -= 1;
  EXPECT_EQ(::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &past, nullptr), 0);
  EXPECT_EQ(board.clock().now(), 5 * kMillisecond);
}

TEST(BoardClock, TakesNoOtherFileForATableOfTimes) {
  const std::string table = simulator::ProcessTimes::create();
  EXPECT_NE(simulator::ProcessTimes::attach(table), nullptr);
  const std::string link = table + ".link";
  ASSERT_EQ(::symlink(table.c_str(), link.c_str()), 0);
  EXPECT_EQ(simulator::ProcessTimes::attach(link), nullptr);
  ::unlink(link.c_str());

  struct stat status {};
  ::stat(table.c_str(), &status);
  ASSERT_EQ(::truncate(table.c_str(), status.st_size - 1), 0);
  EXPECT_EQ(simulator::ProcessTimes::attach(table), nullptr);
  ASSERT_EQ(::truncate(table.c_str(), 0), 0);
  ASSERT_EQ(::truncate(table.c_str(), status.st_size), 0);  // the size alone is not enough
  EXPECT_EQ(simulator::ProcessTimes::attach(table), nullptr);
  ::unlink(table.c_str());
}

TEST(BoardClock, ATableIsRemovedWhenNobodyIsOnItsBoard) {
  const std::string deserted = simulator::ProcessTimes::create();
  simulator::ProcessTimes::attach(deserted)->end(::getpid());
  const std::string lived = simulator::ProcessTimes::create();
  simulator::ProcessTimes::removeDeserted();
  EXPECT_EQ(::access(deserted.c_str(), F_OK), -1);
  EXPECT_EQ(::access(lived.c_str(), F_OK), 0);
  simulator::ProcessTimes::leave(lived);
  EXPECT_EQ(::access(lived.c_str(), F_OK), -1);
}

TEST(BoardClock, GoesOnWhereAChildEnded) {
  const std::string table = simulator::ProcessTimes::create();
  Clock clock{Clock::Mode::kStepped};
  clock.share(simulator::ProcessTimes::attach(table), table);
  ::unlink(table.c_str());
  Board board{clock};
  for (const bool isKilled : {false, true}) {
    const auto start = board.clock().now();
    const pid_t child = ::fork();
    if (child == 0) {
      board.clock().enterProcess();
      ::usleep(7000);
      if (isKilled) ::raise(SIGKILL);
      ::_exit(0);
    }
    ::usleep(2000);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WIFSIGNALED(status), isKilled);
    EXPECT_EQ(board.clock().now() - start, 7 * kMillisecond);
  }
}

}  // namespace
