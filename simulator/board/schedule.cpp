#include "simulator/board/schedule.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/board/machine.h"

namespace simulator {

namespace {

// Voluntary switches are counted when a thread goes to sleep: one that was asleep with the same count before
// has not run in between.
struct Sleep {
  bool isAsleep = false;
  long switches = 0;
  bool operator==(const Sleep& other) const {
    return isAsleep == other.isAsleep && switches == other.switches;
  }
};

}  // namespace

// What a thread that waits is told: kTurn, that it may pass to the end of its wait; kPassed, that another has
// done that for it, so that it goes on without the schedule's lock, for which all of them would queue.
enum class Schedule::Call : int { kNone, kNotice, kTurn, kPassed };

struct Schedule::Thread {
  std::atomic<Nanoseconds> time{0};
  pid_t id = 0;  // none: it is being created
  pthread_t handle{};
  State state = State::kRunning;
  Nanoseconds limit = kNever;
  std::atomic<Call> call{Call::kNone};  // a futex; it stays until the thread has seen it
  std::atomic<bool> isEntering{false};  // it may be asleep, but only for the schedule's lock
  std::optional<pthread_t> joins;
  bool goesFirst = false;
  bool sleeps = false;  // and waits for no notice
  Sleep seen;           // as it was when it was last found asleep
  bool looks = false;   // again and again whether it is its turn: the next one alone does
};

namespace {

constexpr Nanoseconds kShortestSlice = 100000;
constexpr Nanoseconds kLongestSlice = 5000000;
constexpr int kGrowth = 4;
constexpr Nanoseconds kPatience = kNanosecondsInSecond;  // and the half of it of the processor, after that

thread_local Schedule::Thread* mine = nullptr;

// The text of a file of the thread under /proc; empty when the thread has ended.
std::string textOf(pid_t thread, const char* name) {
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/" + name;
  const auto file = static_cast<int>(machineCall(SYS_openat, AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file < 0) return {};
  char text[4096];
  const long length = machineCall(SYS_read, file, text, sizeof text);
  machineCall(SYS_close, file);
  return {text, static_cast<std::size_t>(std::max(length, 0L))};
}

// State:	S (sleeping)
// voluntary_ctxt_switches:	150
Sleep sleepOf(pid_t thread) {
  constexpr std::string_view kState = "\nState:\t";
  constexpr std::string_view kSwitches = "\nvoluntary_ctxt_switches:";
  const std::string text = textOf(thread, "status");
  if (text.empty()) return {true, 0};
  const std::size_t state = text.find(kState);
  const std::size_t switches = text.find(kSwitches);
  if (state == std::string::npos || switches == std::string::npos) return {};
  return {std::strchr("StTZX", text[state + kState.size()]) != nullptr,
          std::strtol(text.c_str() + switches + kSwitches.size(), nullptr, 10)};
}

// A thread that is about to sleep shows as asleep already, and may be held up for long where it does not
// sleep after all. This waits until it is known.
bool runs(pid_t thread) { return textOf(thread, "syscall") == "running\n"; }

template <typename Word>
void waitWhileNone(std::atomic<Word>& word, Nanoseconds slice) {
  const timespec time = timespecOf(slice);
  machineCall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, 0, &time, nullptr, 0);
}

}  // namespace

// Signals wait while a thread looks after its place in the schedule: one that came between two slices of a
// wait would not interrupt it.
class Schedule::HeldSignals {
 public:
  HeldSignals() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~HeldSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

  // True when one that has a handler has come; it runs at the end. Others do here what they do.
  bool areWaiting() {
    sigset_t waiting;
    ::sigpending(&waiting);
    if (::sigisemptyset(&waiting) == 1) return false;
    bool areAny = false;
    for (int signal = 1; signal < NSIG; ++signal) {
      if (::sigismember(&waiting, signal) != 1 || ::sigismember(&before_, signal) == 1) continue;
      struct sigaction action {};
      ::sigaction(signal, nullptr, &action);
      if (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN) return true;
      areAny = true;
    }
    if (!areAny) return false;
    sigset_t held;
    ::pthread_sigmask(SIG_SETMASK, &before_, &held);
    ::pthread_sigmask(SIG_SETMASK, &held, nullptr);
    return false;
  }

 private:
  sigset_t before_{};
};

// Runs when a thread ends, by whatever way.
struct ThreadEnd {
  ~ThreadEnd() {
    if (mine == nullptr) return;
    Schedule::get().leave(*mine);
    mine = nullptr;
  }
};

Schedule::Schedule() {
  ::pthread_atfork([] { get().mutex_.lock(); }, [] { get().mutex_.unlock(); },
                   [] { get().onlyCurrentIsLeft(); });
}

Schedule& Schedule::get() {
  static auto* const schedule = new Schedule;  // outlives the threads that end after main
  return *schedule;
}

Schedule::Thread& Schedule::current() {
  if (mine == nullptr) {
    Schedule& schedule = get();
    schedule.enter(schedule.prepare(0));
  }
  return *mine;
}

Nanoseconds Schedule::now() { return current().time; }

void Schedule::startAt(Nanoseconds time) {
  Thread& self = current();
  const Lock lock = enterLocked(self);
  for (Thread* const thread : threads_) thread->time = time;
  ended_.clear();
}

void Schedule::advanceTo(Nanoseconds time) {
  Thread& self = current();
  if (self.time >= time) return;
  const Lock lock = enterLocked(self);
  self.time = time;
  callNext();
}

void Schedule::setState(Thread& thread, State state, Nanoseconds limit) {
  thread.state = state;
  thread.limit = limit;
  lastChange_ = machineClock(CLOCK_MONOTONIC);
}

// Each has to be seen asleep twice, and all of them once before any of them for the second time. What was seen
// at an earlier turn counts for as long as the thread has not run since.
bool Schedule::areAsleep(const std::vector<Thread*>& threads) const {
  const auto isSeen = [](Thread& thread) {
    const bool isKnown = thread.seen.isAsleep || thread.id == 0;
    if (!isKnown && !runs(thread.id)) thread.seen = sleepOf(thread.id);
    return thread.seen.isAsleep;
  };
  // Last of all whether it is on its way: while the lock is held here, that does not end.
  const auto isSeenAgain = [](Thread& thread) {
    const Sleep before = thread.seen;
    const bool isOnItsWay = runs(thread.id);
    thread.seen = sleepOf(thread.id);
    return !isOnItsWay && thread.seen == before && !thread.isEntering && thread.call == Call::kNone;
  };
  constexpr int kAttempts = 2;  // one has run since its turn before
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    bool areSure = true;
    for (Thread* const thread : threads) {
      if (!isSeen(*thread)) return false;
    }
    for (Thread* const thread : threads) areSure = isSeenAgain(*thread) && areSure;
    if (areSure) return true;
  }
  return false;
}

// No other thread can act before the thread's limit. The kernel's word on a thread that was never found asleep is
// mostly that it runs, and not cheap: whoever has only just begun to wait leaves that question to the one that
// looks again and again.
bool Schedule::isTurn(const Thread& next, Asking asking) {
  std::vector<Thread*> unsure;
  for (auto place = threads_.rbegin(); place != threads_.rend(); ++place) {  // the youngest are the busiest
    Thread* const thread = *place;
    if (thread == &next || thread->state == State::kAway) continue;
    if (thread->isEntering) return false;  // it looks for itself once it has the lock
    const bool waits = thread->state == State::kWaiting || thread->state == State::kInKernel;
    const bool isBefore =
        thread->limit < next.limit || (thread->limit == next.limit && thread->goesFirst && !next.goesFirst);
    if (waits && isBefore) return false;
    if (thread->state == State::kWaiting || thread->time >= next.limit) continue;
    if (asking == Asking::kOfKnownSleepers && !thread->seen.isAsleep) return false;
    unsure.push_back(thread);
  }
  return unsure.empty() || areAsleep(unsure) || isPatienceOver();
}

// On a machine that is busy otherwise the thread may have come to nothing in that second.
bool Schedule::isPatienceOver() {
  if (machineClock(CLOCK_MONOTONIC) - lastChange_ <= kPatience) return false;
  const Nanoseconds used = machineClock(CLOCK_PROCESS_CPUTIME_ID);
  if (impatientSince_ != lastChange_) {
    impatientSince_ = lastChange_;
    usedThen_ = used;
  }
  return used - usedThen_ > kPatience / 2;
}

void Schedule::tell(Thread& thread, Call call) {
  if (call == Call::kNotice || call == Call::kPassed) setState(thread, State::kRunning);
  thread.call = call;
  if (&thread != mine) wake(thread);
}

void Schedule::wake(Thread& thread) {
  machineCall(SYS_futex, &thread.call, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

// Time passes for all that wait, to the thread's limit, and it is the turn of those, too, that wait for the
// same.
void Schedule::pass(Thread& self) {
  const Nanoseconds limit = self.limit;
  setState(self, State::kRunning);
  for (Thread* const thread : threads_) {
    if (thread->state == State::kAway) continue;
    if (thread->time < limit) thread->time = limit;
    const bool isDue = thread->state == State::kWaiting && thread->limit <= limit && !self.goesFirst;
    if (isDue && thread->call == Call::kNone) tell(*thread, thread->sleeps ? Call::kPassed : Call::kTurn);
  }
}

Schedule::Thread* Schedule::next() {
  Thread* next = nullptr;
  for (Thread* const thread : threads_) {
    if (thread->limit == kNever) continue;
    const bool isBefore = next == nullptr || thread->limit < next->limit ||
                          (thread->limit == next->limit && thread->goesFirst && !next->goesFirst);
    if (isBefore) next = thread;
  }
  return next;
}

// Something has changed: it may be the next one's turn. One that waits in the kernel looks for itself.
void Schedule::callNext(Asking asking) {
  Thread* const thread = next();
  if (thread == nullptr || thread->state != State::kWaiting || thread->call != Call::kNone) return;
  if (isTurn(*thread, asking)) {
    tell(*thread, Call::kTurn);
  } else if (thread != mine && !thread->looks) {
    wake(*thread);  // to look for itself from now on
  }
}

Schedule::End Schedule::waitForCall(Lock& lock, Thread& self, HeldSignals* signals) {
  Nanoseconds slice = kShortestSlice;
  callNext();
  while (self.call != Call::kNotice) {
    // What came before the limit goes before it.
    if (signals != nullptr && signals->areWaiting()) {
      setState(self, State::kRunning);
      self.call = Call::kNone;
      lock.unlock();
      return End::kInterrupted;
    }
    if (self.call == Call::kTurn || self.call == Call::kPassed) {
      if (self.call == Call::kTurn) pass(self);
      self.call = Call::kNone;
      return End::kAtLimit;
    }
    self.looks = next() == &self;
    if (!self.looks) slice = kLongestSlice;
    lock.unlock();
    waitWhileNone(self.call, slice);
    if (self.call == Call::kPassed) {
      const bool isInterrupted = signals->areWaiting();
      self.call = Call::kNone;
      return isInterrupted ? End::kInterrupted : End::kAtLimit;
    }
    lock.lock();
    slice = self.looks ? std::min(kGrowth * slice, kLongestSlice) : kShortestSlice;
    // The others may have begun to wait without a word.
    if (self.call == Call::kNone && next() == &self) callNext(Asking::kOfAll);
  }
  self.call = Call::kNone;
  return End::kInTime;
}

Schedule::Lock Schedule::enterLocked(Thread& self) {
  self.isEntering = true;
  Lock lock{mutex_};
  self.isEntering = false;
  return lock;
}

Schedule::End Schedule::sleepUntil(Nanoseconds limit) {
  Thread& self = current();
  HeldSignals signals;
  Lock lock = enterLocked(self);
  setState(self, State::kWaiting, std::max<Nanoseconds>(limit, self.time));
  self.sleeps = true;
  const End end = waitForCall(lock, self, &signals);
  self.sleeps = false;
  return end;
}

Schedule::End Schedule::waitForNotice(const void* key, Nanoseconds limit,
                                      const std::function<void()>& release) {
  Thread& self = current();
  Lock lock = enterLocked(self);
  const auto place = waiting_.emplace(key, &self);
  setState(self, State::kWaiting, limit == kNever ? limit : std::max<Nanoseconds>(limit, self.time));
  release();
  const End end = waitForCall(lock, self, nullptr);
  if (end == End::kAtLimit) waiting_.erase(place);
  return end;
}

int Schedule::notify(const void* key, int most) {
  Thread& self = current();
  const Lock lock = enterLocked(self);
  int count = 0;
  auto place = waiting_.lower_bound(key);
  for (; count < most && place != waiting_.end() && place->first == key; ++count) {
    Thread& thread = *place->second;
    if (thread.time < self.time) thread.time = self.time.load();
    tell(thread, Call::kNotice);
    place = waiting_.erase(place);
  }
  return count;
}

bool Schedule::waitInKernel(Nanoseconds limit, const Attempt& attempt) {
  Thread& self = current();
  self.isEntering = true;
  if (attempt(0)) {
    self.isEntering = false;
    return true;
  }
  Lock lock = enterLocked(self);
  setState(self, State::kInKernel, limit == kNever ? limit : std::max<Nanoseconds>(limit, self.time));
  callNext();
  bool hasEnded = false;
  for (Nanoseconds slice = kShortestSlice; !hasEnded; slice = std::min(kGrowth * slice, kLongestSlice)) {
    if (limit != kNever && isTurn(self, Asking::kOfAll)) {
      // Nobody else runs: what was to come in time is here.
      hasEnded = attempt(0);
      if (!hasEnded) pass(self);
      break;
    }
    lock.unlock();
    hasEnded = attempt(slice);
    self.isEntering = true;
    lock.lock();
    self.isEntering = false;
  }
  setState(self, State::kRunning);
  return hasEnded;
}

void Schedule::setAway(bool isAway) {
  Thread& self = current();
  const Lock lock = enterLocked(self);
  setState(self, isAway ? State::kAway : State::kRunning);
  if (isAway) callNext();
}

Schedule::Thread* Schedule::prepare(Nanoseconds time) {
  auto* const thread = new Thread;
  thread->time = time;
  const Lock lock = mine != nullptr ? enterLocked(*mine) : Lock{mutex_};
  threads_.push_back(thread);
  return thread;
}

void Schedule::goFirst() {
  Thread& self = current();
  const Lock lock = enterLocked(self);
  self.goesFirst = true;
}

void Schedule::noteCreated(const Thread* thread, pthread_t handle) {
  const Lock lock = enterLocked(current());
  // The handle may have been that of a thread that nobody joined.
  if (std::find(threads_.begin(), threads_.end(), thread) != threads_.end()) ended_.erase(handle);
}

void Schedule::drop(Thread& thread) {
  threads_.remove(&thread);
  delete &thread;
}

void Schedule::discard(Thread* thread) {
  const Lock lock = enterLocked(current());
  drop(*thread);
}

void Schedule::enter(Thread* thread) {
  static thread_local ThreadEnd end;
  static_cast<void>(&end);
  const std::lock_guard lock{mutex_};
  thread->id = static_cast<pid_t>(machineCall(SYS_gettid));
  thread->handle = ::pthread_self();
  mine = thread;
}

void Schedule::leave(Thread& thread) {
  const Lock lock = enterLocked(thread);
  const Nanoseconds time = thread.time;
  ended_[thread.handle] = time;
  for (Thread* const other : threads_) {
    if (!other->joins || ::pthread_equal(*other->joins, thread.handle) == 0) continue;
    if (other->time < time) other->time = time;
    tell(*other, Call::kNotice);
  }
  drop(thread);
  mine = nullptr;
  callNext();
}

int Schedule::join(pthread_t thread, const std::function<int()>& machineJoin) {
  Thread& self = current();
  {
    const Lock lock = enterLocked(self);
    if (ended_.count(thread) != 0) {
      self.isEntering = true;  // it has ended, but for the last steps
    } else {
      self.joins = thread;
      setState(self, State::kWaiting);
      callNext();
    }
  }
  return finishJoin(thread, machineJoin);
}

int Schedule::joinUntil(pthread_t thread, Nanoseconds limit, const std::function<int()>& machineJoin) {
  Thread& self = current();
  {
    Lock lock = enterLocked(self);
    if (ended_.count(thread) == 0) {
      self.joins = thread;
      setState(self, State::kWaiting, limit == kNever ? limit : std::max<Nanoseconds>(limit, self.time));
      const End end = waitForCall(lock, self, nullptr);
      self.joins.reset();
      if (end == End::kAtLimit) return ETIMEDOUT;
    }
    self.isEntering = true;  // it has ended, but for the last steps
  }
  return finishJoin(thread, machineJoin);
}

int Schedule::finishJoin(pthread_t thread, const std::function<int()>& machineJoin) {
  Thread& self = current();
  const int result = machineJoin();
  const Lock lock = enterLocked(self);
  self.joins.reset();
  self.call = Call::kNone;
  setState(self, State::kRunning);
  const auto ended = ended_.find(thread);
  if (result == 0 && ended != ended_.end()) {
    if (self.time < ended->second) self.time = ended->second;
    ended_.erase(ended);
  }
  return result;
}

void Schedule::onlyCurrentIsLeft() {
  // The forked process has no other thread; their records stay where their owners' stacks may point to them.
  threads_.clear();
  waiting_.clear();
  if (mine != nullptr) {
    threads_.push_back(mine);
    mine->id = static_cast<pid_t>(machineCall(SYS_gettid));
  }
  mutex_.unlock();
}

}  // namespace simulator
