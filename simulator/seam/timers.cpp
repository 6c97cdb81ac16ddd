// Timers in stepped time: timerfd_create, timerfd_settime, timerfd_gettime; alarm, setitimer and getitimer of
// ITIMER_REAL; timer_create and its kin.
//
// One thread waits for all of them in its turn, before those that wait for the same time, and does what a
// timer does: a timer's file is an eventfd, which counts the times that it has expired, and a signal is sent.

#include "simulator/seam/timers.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "simulator/board/machine.h"
#include "simulator/seam/board_time.h"
#include "simulator/seam/interpose.h"

namespace {

using namespace simulator;

struct Timer {
  clockid_t clock = CLOCK_MONOTONIC;
  Nanoseconds next = kNever;
  Nanoseconds interval = 0;
  std::uint64_t overrun = 0;  // expirations beyond one, at the last time
  std::function<void(std::uint64_t expirations)> expire;
};

class Timers {
 public:
  static Timers& get() {
    static auto* const timers = new Timers;
    return *timers;
  }

  // The key is a descriptor's number, or what stands for another kind of timer.
  void add(std::intptr_t key, Timer timer) {
    const std::lock_guard lock{mutex_};
    timers_[key] = std::move(timer);
  }
  bool remove(std::intptr_t key) {
    const std::lock_guard lock{mutex_};
    return timers_.erase(key) != 0;
  }
  bool has(std::intptr_t key) {
    const std::lock_guard lock{mutex_};
    return timers_.count(key) != 0;
  }

  // False: there is no such timer.
  bool set(std::intptr_t key, bool isAbsolute, const itimerspec& wanted, itimerspec* before) {
    {
      const std::lock_guard lock{mutex_};
      const auto found = timers_.find(key);
      if (found == timers_.end()) return false;
      Timer& timer = found->second;
      if (before != nullptr) *before = settingOf(timer);
      const bool isOff = wanted.it_value.tv_sec == 0 && wanted.it_value.tv_nsec == 0;
      const Nanoseconds limit =
          isAbsolute ? limitAt(timer.clock, wanted.it_value) : limitAfter(wanted.it_value);
      timer.next = isOff ? kNever : std::max(limit, Schedule::now());
      timer.interval = wanted.it_interval.tv_sec * kNanosecondsInSecond + wanted.it_interval.tv_nsec;
      if (!isOff) startThread();
    }
    Schedule::get().notify(this, 1);
    return true;
  }
  bool setting(std::intptr_t key, itimerspec& setting) {
    const std::lock_guard lock{mutex_};
    const auto found = timers_.find(key);
    if (found != timers_.end()) setting = settingOf(found->second);
    return found != timers_.end();
  }
  std::uint64_t overrun(std::intptr_t key) {
    const std::lock_guard lock{mutex_};
    return timers_[key].overrun;
  }

 private:
  Timers() {
    ::pthread_atfork([] { get().mutex_.lock(); }, [] { get().mutex_.unlock(); },
                     [] {
                       get().isRunning_ = false;  // a forked process has none of the threads
                       get().mutex_.unlock();
                     });
  }

  static itimerspec settingOf(const Timer& timer) {
    const Nanoseconds left =
        timer.next == kNever ? 0 : std::max<Nanoseconds>(timer.next - Schedule::now(), 1);
    return {timespecOf(timer.interval), timespecOf(left)};
  }

  void startThread() {
    if (isRunning_) return;
    isRunning_ = true;
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);  // the timers' signals are for the program's threads
    pthread_t thread;
    const auto run = [](void*) -> void* {
      get().run();
      return nullptr;
    };
    if (::pthread_create(&thread, nullptr, run, nullptr) == 0) ::pthread_detach(thread);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  Nanoseconds next() {
    Nanoseconds next = kNever;
    for (const auto& [key, timer] : timers_) next = std::min(next, timer.next);
    return next;
  }

  void run() {
    Schedule::get().goFirst();
    std::unique_lock lock{mutex_};
    for (;;) {
      Schedule::get().waitForNotice(this, next(), [&] { lock.unlock(); });
      lock.lock();
      const Nanoseconds now = Schedule::now();
      for (auto& [key, timer] : timers_) {
        if (timer.next <= now) expire(timer, now);
      }
    }
  }

  static void expire(Timer& timer, Nanoseconds now) {
    std::uint64_t expirations = 1;
    if (timer.interval == 0) {
      timer.next = kNever;
    } else {
      expirations += static_cast<std::uint64_t>((now - timer.next) / timer.interval);
      timer.next += static_cast<Nanoseconds>(expirations) * timer.interval;
    }
    timer.overrun = expirations - 1;
    timer.expire(expirations);
  }

  std::mutex mutex_;
  std::map<std::intptr_t, Timer> timers_;
  bool isRunning_ = false;
};

// Beyond all descriptors.
constexpr std::intptr_t kIntervalTimer = std::intptr_t{1} << 32;
constexpr std::intptr_t kFirstTimer = kIntervalTimer + 1;

void sendSignal(int signal, sigval value) {
  siginfo_t info{};
  info.si_signo = signal;
  info.si_code = SI_TIMER;
  info.si_value = value;
  machineCall(SYS_rt_sigqueueinfo, ::getpid(), signal, &info);
}

}  // namespace

// -- timers with a file

STANDS_IN int timerfd_create(clockid_t clock, int flags) noexcept {
  if (!timeIsStepped()) return NEXT(timerfd_create)(clock, flags);
  static_assert(int{TFD_NONBLOCK} == int{EFD_NONBLOCK} && int{TFD_CLOEXEC} == int{EFD_CLOEXEC});
  const int file = ::eventfd(0, flags);
  if (file < 0) return file;
  Timer timer;
  timer.clock = clock;
  timer.expire = [file](std::uint64_t expirations) { machineCall(SYS_write, file, &expirations, 8UL); };
  Timers::get().add(file, std::move(timer));
  return file;
}

STANDS_IN int timerfd_settime(int file, int flags, const itimerspec* wanted, itimerspec* before) noexcept {
  if (!timeIsStepped() || !Timers::get().has(file)) return NEXT(timerfd_settime)(file, flags, wanted, before);
  if (!isTime(wanted->it_value) || !isTime(wanted->it_interval)) return fail(EINVAL);
  // What has not been read is forgotten.
  const int status = ::fcntl(file, F_GETFL);
  ::fcntl(file, F_SETFL, status | O_NONBLOCK);
  std::uint64_t expirations = 0;
  machineCall(SYS_read, file, &expirations, 8UL);
  ::fcntl(file, F_SETFL, status);
  Timers::get().set(file, (flags & TFD_TIMER_ABSTIME) != 0, *wanted, before);
  return 0;
}

STANDS_IN int timerfd_gettime(int file, itimerspec* setting) noexcept {
  if (!timeIsStepped() || !Timers::get().setting(file, *setting)) return NEXT(timerfd_gettime)(file, setting);
  return 0;
}

namespace simulator {

void forgetTimer(int descriptor) {
  if (timeIsStepped()) Timers::get().remove(descriptor);
}

}  // namespace simulator

// -- timers that send a signal

STANDS_IN int setitimer(__itimer_which_t which, const itimerval* wanted, itimerval* before) noexcept {
  if (!timeIsStepped() || which != ITIMER_REAL) return NEXT(setitimer)(which, wanted, before);
  const itimerspec setting{{wanted->it_interval.tv_sec, wanted->it_interval.tv_usec * 1000},
                           {wanted->it_value.tv_sec, wanted->it_value.tv_usec * 1000}};
  if (!isTime(setting.it_value) || !isTime(setting.it_interval)) return fail(EINVAL);
  Timers& timers = Timers::get();
  if (!timers.has(kIntervalTimer)) {
    Timer timer;
    timer.expire = [](std::uint64_t) { machineCall(SYS_kill, ::getpid(), SIGALRM); };
    timers.add(kIntervalTimer, std::move(timer));
  }
  itimerspec old{};
  timers.set(kIntervalTimer, false, setting, &old);
  if (before != nullptr) {
    *before = {{old.it_interval.tv_sec, old.it_interval.tv_nsec / 1000},
               {old.it_value.tv_sec, old.it_value.tv_nsec / 1000}};
  }
  return 0;
}

STANDS_IN int getitimer(__itimer_which_t which, itimerval* setting) noexcept {
  if (!timeIsStepped() || which != ITIMER_REAL) return NEXT(getitimer)(which, setting);
  itimerspec found{};
  Timers::get().setting(kIntervalTimer, found);
  *setting = {{found.it_interval.tv_sec, found.it_interval.tv_nsec / 1000},
              {found.it_value.tv_sec, found.it_value.tv_nsec / 1000}};
  return 0;
}

STANDS_IN unsigned alarm(unsigned seconds) noexcept {
  if (!timeIsStepped()) return NEXT(alarm)(seconds);
  const itimerval wanted{{0, 0}, {static_cast<time_t>(seconds), 0}};
  itimerval before{};
  ::setitimer(ITIMER_REAL, &wanted, &before);
  return static_cast<unsigned>(before.it_value.tv_sec + (before.it_value.tv_usec != 0 ? 1 : 0));
}

STANDS_IN int timer_create(clockid_t clock, sigevent* event, timer_t* id) noexcept {
  const bool isOfProcessor = clock == CLOCK_PROCESS_CPUTIME_ID || clock == CLOCK_THREAD_CPUTIME_ID;
  if (!timeIsStepped() || isOfProcessor) return NEXT(timer_create)(clock, event, id);
  static std::atomic<std::intptr_t> nextKey{kFirstTimer};
  const std::intptr_t key = nextKey++;
  Timer timer;
  timer.clock = clock;
  sigval own{};
  own.sival_ptr = reinterpret_cast<void*>(key);  // NOLINT(performance-no-int-to-ptr)
  const int kind = event != nullptr ? event->sigev_notify : SIGEV_SIGNAL;
  const int signal = event != nullptr ? event->sigev_signo : SIGALRM;
  const sigval value = event != nullptr ? event->sigev_value : own;
  if (kind == SIGEV_NONE) {
    timer.expire = [](std::uint64_t) {};
  } else if (kind == SIGEV_THREAD) {
    timer.expire = [function = event->sigev_notify_function, value](std::uint64_t) {
      std::thread{[=] { function(value); }}.detach();  // it may set its own timer
    };
  } else {
    timer.expire = [signal, value](std::uint64_t) { sendSignal(signal, value); };
  }
  Timers::get().add(key, std::move(timer));
  *id = reinterpret_cast<timer_t>(key);  // NOLINT(performance-no-int-to-ptr)
  return 0;
}

STANDS_IN int timer_settime(timer_t id, int flags, const itimerspec* wanted, itimerspec* before) noexcept {
  const auto key = reinterpret_cast<std::intptr_t>(id);
  if (!timeIsStepped() || !Timers::get().has(key)) return NEXT(timer_settime)(id, flags, wanted, before);
  if (!isTime(wanted->it_value) || !isTime(wanted->it_interval)) return fail(EINVAL);
  Timers::get().set(key, (flags & TIMER_ABSTIME) != 0, *wanted, before);
  return 0;
}

STANDS_IN int timer_gettime(timer_t id, itimerspec* setting) noexcept {
  if (!timeIsStepped() || !Timers::get().setting(reinterpret_cast<std::intptr_t>(id), *setting))
    return NEXT(timer_gettime)(id, setting);
  return 0;
}

STANDS_IN int timer_getoverrun(timer_t id) noexcept {
  const auto key = reinterpret_cast<std::intptr_t>(id);
  if (!timeIsStepped() || !Timers::get().has(key)) return NEXT(timer_getoverrun)(id);
  return static_cast<int>(Timers::get().overrun(key));
}

STANDS_IN int timer_delete(timer_t id) noexcept {
  const bool isMine = timeIsStepped() && Timers::get().remove(reinterpret_cast<std::intptr_t>(id));
  return isMine ? 0 : NEXT(timer_delete)(id);
}
