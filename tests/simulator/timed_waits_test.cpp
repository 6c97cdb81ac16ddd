// Waits with a time limit in stepped time, each with somebody who ends it and without.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <mqueue.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <ctime>
#include <functional>
#include <future>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include "simulator/board/board.h"

namespace {

using namespace std::chrono_literals;
using simulator::Board;

constexpr simulator::Nanoseconds kNanosecondsInMillisecond = 1000000;
constexpr auto kLimit = 50ms;

std::int64_t millisecondsOf(const Board& board) { return board.clock().now() / kNanosecondsInMillisecond; }

timespec dateIn(clockid_t clock, std::chrono::milliseconds duration) {
  timespec time{};
  ::clock_gettime(clock, &time);
  time.tv_nsec += duration.count() * kNanosecondsInMillisecond;
  time.tv_sec += time.tv_nsec / 1000000000;
  time.tv_nsec %= 1000000000;
  return time;
}

// A wait of up to kLimit for something that end() brings about; true when it came in time.
struct TimedWait {
  std::function<bool()> wait;
  std::function<void()> end;
};

// Nobody: all of the time passes. Somebody, 20 ms later: the wait ends then. Somebody too late: at the limit,
// although who comes too late has nothing else to do.
void expectAllEndings(const TimedWait& wait) {
  {
    Board board;
    EXPECT_FALSE(wait.wait());
    EXPECT_EQ(millisecondsOf(board), 50);
  }
  for (const auto& [delay, isInTime] : {std::pair{20, true}, std::pair{70, false}}) {
    Board board;
    std::thread other{[&, delay = delay] {
      ::usleep(static_cast<useconds_t>(delay) * 1000);
      wait.end();
    }};
    EXPECT_EQ(wait.wait(), isInTime);
    EXPECT_EQ(millisecondsOf(board), isInTime ? 20 : 50);
    other.join();
    EXPECT_EQ(millisecondsOf(board), delay);
    EXPECT_EQ(isInTime || wait.wait(), true) << "what came late is there";
    EXPECT_EQ(millisecondsOf(board), delay);
  }
}

TEST(TimedWait, OfAConditionVariable) {
  std::mutex mutex;
  std::condition_variable condition;
  bool isThere = false;
  expectAllEndings({[&] {
                      std::unique_lock lock{mutex};
                      const bool inTime = condition.wait_for(lock, kLimit, [&] { return isThere; });
                      isThere = false;
                      return inTime;
                    },
                    [&] {
                      const std::lock_guard lock{mutex};
                      isThere = true;
                      condition.notify_one();
                    }});
}

TEST(TimedWait, OfAConditionVariableOnItsOwnClock) {
  for (const clockid_t clock : {CLOCK_REALTIME, CLOCK_MONOTONIC}) {
    pthread_condattr_t attributes;
    ::pthread_condattr_init(&attributes);
    ::pthread_condattr_setclock(&attributes, clock);
    pthread_cond_t condition;
    ::pthread_cond_init(&condition, &attributes);
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    Board board;
    ::pthread_mutex_lock(&mutex);
    const timespec limit = dateIn(clock, kLimit);
    EXPECT_EQ(::pthread_cond_timedwait(&condition, &mutex, &limit), ETIMEDOUT);
    EXPECT_EQ(millisecondsOf(board), 50);
    ::pthread_cond_destroy(&condition);
    // Another one at its place, which nobody has told of a clock, has that of the date.
    condition = PTHREAD_COND_INITIALIZER;
    const timespec date = dateIn(CLOCK_REALTIME, kLimit);
    EXPECT_EQ(::pthread_cond_timedwait(&condition, &mutex, &date), ETIMEDOUT);
    EXPECT_EQ(millisecondsOf(board), 100);
    ::pthread_mutex_unlock(&mutex);
  }
}

TEST(TimedWait, OfAFuture) {
  for (const bool isDated : {false, true}) {
    std::promise<int> promise;
    std::future<int> future = promise.get_future();
    expectAllEndings({[&] {
                        const auto status = isDated
                                                ? future.wait_until(std::chrono::system_clock::now() + kLimit)
                                                : future.wait_for(kLimit);
                        const bool inTime = status == std::future_status::ready;
                        if (inTime) {
                          promise = {};
                          future = promise.get_future();
                        }
                        return inTime;
                      },
                      [&] { promise.set_value(1); }});
  }
}

TEST(TimedWait, OfASemaphore) {
  sem_t semaphore;
  ::sem_init(&semaphore, 0, 0);
  for (const clockid_t clock : {CLOCK_REALTIME, CLOCK_MONOTONIC}) {
    expectAllEndings({[&] {
                        const timespec limit = dateIn(clock, kLimit);
                        const int result = clock == CLOCK_REALTIME
                                               ? ::sem_timedwait(&semaphore, &limit)
                                               : ::sem_clockwait(&semaphore, clock, &limit);
                        EXPECT_TRUE(result == 0 || errno == ETIMEDOUT);
                        return result == 0;
                      },
                      [&] { ::sem_post(&semaphore); }});
  }
  ::sem_destroy(&semaphore);
}

// Held by another thread, which lets it go after the delay.
template <typename Lock, typename TryFor>
void expectLockEndings(TryFor tryFor) {
  for (const auto& [delay, isInTime] : {std::pair{20, true}, std::pair{70, false}}) {
    Board board;
    Lock lock;
    std::atomic<bool> isHeld{false};
    std::thread other{[&, delay = delay] {
      lock.lock();
      isHeld = true;
      ::usleep(static_cast<useconds_t>(delay) * 1000);
      lock.unlock();
    }};
    while (!isHeld) std::this_thread::yield();
    EXPECT_EQ(tryFor(lock), isInTime);
    EXPECT_EQ(millisecondsOf(board), isInTime ? 20 : 50);
    other.join();
  }
}

TEST(TimedWait, OfALock) {
  expectLockEndings<std::timed_mutex>([](auto& lock) {
    const bool isMine = lock.try_lock_for(kLimit);
    if (isMine) lock.unlock();
    return isMine;
  });
  expectLockEndings<std::shared_timed_mutex>([](auto& lock) {
    const bool isMine = lock.try_lock_shared_for(kLimit);
    if (isMine) lock.unlock_shared();
    return isMine;
  });
}

TEST(TimedWait, OfAMessageQueue) {
  const std::string name = "/tessary-test-" + std::to_string(::getpid());
  mq_attr attributes{};
  attributes.mq_maxmsg = 1;
  attributes.mq_msgsize = 1;
  const mqd_t queue = ::mq_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600, &attributes);
  ASSERT_GE(queue, 0) << "a kernel without message queues";
  ::mq_unlink(name.c_str());
  char text = 0;
  expectAllEndings({[&] {
                      const timespec limit = dateIn(CLOCK_REALTIME, kLimit);
                      return ::mq_timedreceive(queue, &text, 1, nullptr, &limit) == 1;
                    },
                    [&] { ::mq_send(queue, "x", 1, 0); }});
  ::mq_send(queue, "x", 1, 0);
  expectAllEndings({[&] {
                      const timespec limit = dateIn(CLOCK_REALTIME, kLimit);
                      return ::mq_timedsend(queue, "y", 1, 0, &limit) == 0;
                    },
                    [&] { ::mq_receive(queue, &text, 1, nullptr); }});
  ::mq_close(queue);
}

TEST(TimedWait, OfASignal) {
  sigset_t wanted;
  ::sigemptyset(&wanted);
  ::sigaddset(&wanted, SIGUSR2);
  sigset_t before;
  ::pthread_sigmask(SIG_BLOCK, &wanted, &before);
  const pthread_t waiter = ::pthread_self();
  expectAllEndings({[&] {
                      const timespec limit{0, 50 * kNanosecondsInMillisecond};
                      const int signal = ::sigtimedwait(&wanted, nullptr, &limit);
                      EXPECT_TRUE(signal == SIGUSR2 || errno == EAGAIN);
                      return signal == SIGUSR2;
                    },
                    [&] { ::pthread_kill(waiter, SIGUSR2); }});
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(TimedWait, OfAThreadThatEnds) {
  const auto sleep = [](void* delay) -> void* {
    ::usleep(*static_cast<const useconds_t*>(delay));
    return delay;
  };
  for (useconds_t delay : {20000U, 70000U}) {
    const bool isInTime = delay < 50000;
    Board board;
    pthread_t thread{};
    ASSERT_EQ(::pthread_create(&thread, nullptr, sleep, &delay), 0);
    EXPECT_EQ(::pthread_tryjoin_np(thread, nullptr), EBUSY);
    const timespec limit = dateIn(CLOCK_MONOTONIC, kLimit);
    void* value = nullptr;
    EXPECT_EQ(::pthread_clockjoin_np(thread, &value, CLOCK_MONOTONIC, &limit), isInTime ? 0 : ETIMEDOUT);
    EXPECT_EQ(millisecondsOf(board), isInTime ? 20 : 50);
    const timespec later = dateIn(CLOCK_REALTIME, kLimit);
    if (!isInTime) {
      EXPECT_EQ(::pthread_timedjoin_np(thread, &value, &later), 0);
    }
    EXPECT_EQ(millisecondsOf(board), isInTime ? 20 : 70);
    EXPECT_EQ(value, &delay);
  }
}

// A condition variable that processes share is notified by one of whose threads the waiter knows nothing.
TEST(TimedWait, OfAConditionVariableOfTwoProcesses) {
  struct Shared {
    pthread_mutex_t mutex;
    pthread_cond_t condition;
    bool isThere;
  };
  void* const memory =
      ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  auto& shared = *static_cast<Shared*>(memory);
  pthread_mutexattr_t ofMutex;
  ::pthread_mutexattr_init(&ofMutex);
  ::pthread_mutexattr_setpshared(&ofMutex, PTHREAD_PROCESS_SHARED);
  ::pthread_mutex_init(&shared.mutex, &ofMutex);
  pthread_condattr_t ofCondition;
  ::pthread_condattr_init(&ofCondition);
  ::pthread_condattr_setpshared(&ofCondition, PTHREAD_PROCESS_SHARED);
  ::pthread_cond_init(&shared.condition, &ofCondition);

  Board board;
  ::pthread_mutex_lock(&shared.mutex);
  const timespec limit = dateIn(CLOCK_REALTIME, kLimit);
  EXPECT_EQ(::pthread_cond_timedwait(&shared.condition, &shared.mutex, &limit), ETIMEDOUT);
  EXPECT_EQ(millisecondsOf(board), 50);
  const pid_t child = ::fork();
  if (child == 0) {
    ::pthread_mutex_lock(&shared.mutex);
    shared.isThere = true;
    ::pthread_cond_signal(&shared.condition);
    ::pthread_mutex_unlock(&shared.mutex);
    ::_exit(0);
  }
  while (!shared.isThere) ::pthread_cond_wait(&shared.condition, &shared.mutex);
  ::pthread_mutex_unlock(&shared.mutex);
  EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  ::munmap(memory, sizeof(Shared));
}

TEST(TimedWait, OfAFile) {
  const int file = ::eventfd(0, EFD_NONBLOCK);
  const int set = ::epoll_create1(0);
  epoll_event wanted{EPOLLIN, {}};
  ::epoll_ctl(set, EPOLL_CTL_ADD, file, &wanted);
  const std::function<int()> waits[] = {
      [&] {
        pollfd polled{file, POLLIN, 0};
        return ::poll(&polled, 1, 50);
      },
      [&] {
        fd_set read;
        FD_ZERO(&read);
        FD_SET(file, &read);
        timeval limit{0, 50000};
        const std::int64_t start = Board::active()->clock().now() / 1000;
        const int ready = ::select(file + 1, &read, nullptr, nullptr, &limit);
        EXPECT_EQ(FD_ISSET(file, &read), ready == 1);
        EXPECT_EQ(limit.tv_usec, start + 50000 - Board::active()->clock().now() / 1000) << "what is left";
        return ready;
      },
      [&] {
        epoll_event event{};
        return ::epoll_wait(set, &event, 1, 50);
      }};
  for (const auto& wait : waits) {
    expectAllEndings({[&] {
                        const bool inTime = wait() == 1;
                        eventfd_t count = 0;
                        if (inTime) ::eventfd_read(file, &count);
                        return inTime;
                      },
                      [&] { ::eventfd_write(file, 1); }});
  }
  ::close(set);
  ::close(file);
}

// Two that work for each other, each with a worker's usual wait: what comes out is the same each time.
TEST(TimedWait, OfTwoThatTakeTurns) {
  for (int run = 0; run < 20; ++run) {
    Board board;
    std::mutex mutex;
    std::condition_variable changed;
    bool isStopped = false;
    std::vector<std::int64_t> ticks;
    std::thread worker{[&] {
      std::unique_lock lock{mutex};
      while (!changed.wait_for(lock, 10ms, [&] { return isStopped; })) ticks.push_back(millisecondsOf(board));
    }};
    ::usleep(35000);
    {
      const std::lock_guard lock{mutex};
      isStopped = true;
    }
    changed.notify_all();
    worker.join();
    EXPECT_EQ(ticks, (std::vector<std::int64_t>{10, 20, 30}));
    EXPECT_EQ(millisecondsOf(board), 35);
  }
}

// A thread that waits without a limit, in a way that nobody stands in for, goes on when it is woken.
TEST(TimedWait, LetsNobodyPassWhoIsNeeded) {
  Board board;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  std::promise<std::int64_t> answered;
  std::future<std::int64_t> answer = answered.get_future();
  std::thread server{[&] {
    char request = 0;
    EXPECT_EQ(::read(ends[0], &request, 1), 1);
    ::usleep(5000);
    answered.set_value(millisecondsOf(board));
  }};
  ::usleep(10000);
  EXPECT_EQ(::write(ends[1], "x", 1), 1);
  EXPECT_EQ(answer.wait_for(kLimit), std::future_status::ready);
  EXPECT_EQ(answer.get(), 15);
  server.join();
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST(TimedWait, EndsWithASignalThatHasAHandler) {
  Board board;
  struct sigaction noted {};
  noted.sa_handler = [](int) {};
  struct sigaction before {};
  ::sigaction(SIGUSR1, &noted, &before);
  const pthread_t sleeper = ::pthread_self();
  std::thread other{[&] {
    ::usleep(20000);
    ::pthread_kill(sleeper, SIGUSR1);
  }};
  const timespec duration{0, 50 * kNanosecondsInMillisecond};
  timespec left{};
  EXPECT_EQ(::nanosleep(&duration, &left), -1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(left.tv_nsec, 30 * kNanosecondsInMillisecond);
  other.join();
  ::sigaction(SIGUSR1, &before, nullptr);
}

TEST(TimedWait, IsNotEndedByASignalThatNobodyHandles) {
  Board board;
  struct sigaction ignored {};
  ignored.sa_handler = SIG_IGN;
  struct sigaction before {};
  ::sigaction(SIGUSR1, &ignored, &before);
  const pthread_t sleeper = ::pthread_self();
  for (const int signal : {SIGUSR1, SIGCHLD}) {  // a child that ends sends the other one
    std::thread other{[&] {
      ::usleep(20000);
      ::pthread_kill(sleeper, signal);
      ::usleep(10000);
    }};
    const std::int64_t start = millisecondsOf(board);
    EXPECT_EQ(::usleep(50000), 0);
    EXPECT_EQ(millisecondsOf(board), start + 50);
    other.join();
  }
  ::sigaction(SIGUSR1, &before, nullptr);
}

TEST(TimedWait, OfATimerWithAFile) {
  Board board;
  const int timer = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  const itimerspec everyTen{{0, 10 * kNanosecondsInMillisecond}, {0, 25 * kNanosecondsInMillisecond}};
  ASSERT_EQ(::timerfd_settime(timer, 0, &everyTen, nullptr), 0);
  ::usleep(5000);
  itimerspec left{};
  EXPECT_EQ(::timerfd_gettime(timer, &left), 0);
  EXPECT_EQ(left.it_value.tv_nsec, 20 * kNanosecondsInMillisecond);

  pollfd polled{timer, POLLIN, 0};
  EXPECT_EQ(::poll(&polled, 1, 5), 0);
  EXPECT_EQ(::poll(&polled, 1, 1000), 1);
  EXPECT_EQ(millisecondsOf(board), 25);
  std::uint64_t expirations = 0;
  EXPECT_EQ(::read(timer, &expirations, sizeof expirations), 8);
  EXPECT_EQ(expirations, 1U);

  EXPECT_EQ(::read(timer, &expirations, sizeof expirations), 8) << "waits for the next";
  EXPECT_EQ(millisecondsOf(board), 35);
  ::usleep(30000);
  EXPECT_EQ(::read(timer, &expirations, sizeof expirations), 8);
  EXPECT_EQ(expirations, 3U);

  // However the threads are held up, the timer does not expire again before the one that it has woken has run.
  for (int times = 1; times <= 200; ++times) {
    ASSERT_EQ(::poll(&polled, 1, 1000), 1);
    ASSERT_EQ(::read(timer, &expirations, sizeof expirations), 8);
    ASSERT_EQ(expirations, 1U) << times;
  }
  EXPECT_EQ(millisecondsOf(board), 65 + 200 * 10);

  ::usleep(20000);
  ASSERT_EQ(::timerfd_settime(timer, 0, &everyTen, nullptr), 0);
  EXPECT_EQ(::poll(&polled, 1, 0), 0) << "what was not read is forgotten";
  ::close(timer);
}

std::atomic<int> alarms{0};

TEST(TimedWait, OfATimerThatSendsASignal) {
  Board board;
  alarms = 0;
  struct sigaction noted {};
  noted.sa_handler = [](int) { ++alarms; };
  struct sigaction before {};
  ::sigaction(SIGALRM, &noted, &before);
  EXPECT_EQ(::alarm(3), 0U);
  EXPECT_EQ(::sleep(1), 0U);
  EXPECT_EQ(::alarm(3), 2U);
  EXPECT_EQ(::sleep(10), 7U);
  EXPECT_EQ(alarms, 1);
  EXPECT_EQ(millisecondsOf(board), 4000);

  // Blocked in what nobody stands in for.
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ::alarm(2);
  char byte = 0;
  EXPECT_EQ(::read(ends[0], &byte, 1), -1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(millisecondsOf(board), 6000);

  timer_t timer{};
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGALRM;
  ASSERT_EQ(::timer_create(CLOCK_REALTIME, &event, &timer), 0);
  const itimerspec once{{0, 0}, {0, 5 * kNanosecondsInMillisecond}};
  ASSERT_EQ(::timer_settime(timer, 0, &once, nullptr), 0);
  EXPECT_EQ(::usleep(100000), -1);
  EXPECT_EQ(millisecondsOf(board), 6005);
  EXPECT_EQ(::timer_getoverrun(timer), 0);
  ::timer_delete(timer);
  ::sigaction(SIGALRM, &before, nullptr);
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST(TimedWait, OfTheTimeThatClocksShow) {
  Board board;
  const auto secondsOf = [](clockid_t clock) {
    timespec time{};
    EXPECT_EQ(::clock_gettime(clock, &time), 0);
    return time.tv_sec;
  };
  for (const clockid_t clock : {CLOCK_REALTIME, CLOCK_REALTIME_COARSE, CLOCK_TAI})
    EXPECT_EQ(secondsOf(clock), 1704067200) << clock;
  for (const clockid_t clock : {CLOCK_MONOTONIC, CLOCK_MONOTONIC_COARSE, CLOCK_MONOTONIC_RAW, CLOCK_BOOTTIME})
    EXPECT_EQ(secondsOf(clock), 3600) << clock;
}

}  // namespace
