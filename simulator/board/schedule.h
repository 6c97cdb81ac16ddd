// Whose turn it is in stepped time. Each thread has a time of its own, and may pass to the end of a wait only
// when no other thread could still act before then: the others wait as well, for something or for later, or
// are ahead. So what one thread sets off at 10 ms ends another's wait at 10 ms, whatever the machine's
// scheduler does, and a wait that nothing ends takes its whole time at once.
//
// Three ways of waiting are told apart. A thread that waits here is known to wait until it is told. A thread
// that waits in the kernel for what comes from there waits in short slices of the machine's time, so that it
// may be asked for its time limit. Any other thread waits when the kernel says so, twice, without having run
// in between: it may be in a read, an accept, or a lock.
//
// A thread that runs without waiting for a second of the machine's time, and then for half a second of the processor's,
// holds the others up no longer.
#ifndef TESSARY_SIMULATOR_BOARD_SCHEDULE_H
#define TESSARY_SIMULATOR_BOARD_SCHEDULE_H

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <functional>
#include <limits>
#include <list>
#include <map>
#include <mutex>
#include <vector>

#include "simulator/board/time_units.h"

namespace simulator {

constexpr Nanoseconds kNever = std::numeric_limits<Nanoseconds>::max();

class Schedule {
 public:
  enum class End { kInTime, kAtLimit, kInterrupted };

  // Waits in the kernel no longer than `slice` of the machine's time; true when that ended the wait.
  using Attempt = std::function<bool(Nanoseconds slice)>;

  struct Thread;

  static Schedule& get();

  // -- the calling thread's

  static Nanoseconds now();
  void startAt(Nanoseconds time);  // a board
  void advanceTo(Nanoseconds time);

  End sleepUntil(Nanoseconds limit);

  // For notify() of the same key. `release` runs when no notice can be missed any more.
  End waitForNotice(const void* key, Nanoseconds limit, const std::function<void()>& release);
  int notify(const void* key, int most);  // how many were waiting, at most `most`

  bool waitInKernel(Nanoseconds limit, const Attempt& attempt);  // false: the limit was reached

  // While it is away, others pass it, and leave it the time that it had.
  void setAway(bool isAway);

  // -- threads

  // A thread that is about to be created counts from then on.
  Thread* prepare(Nanoseconds time);
  void goFirst();  // of those that wait for the same time, the calling thread goes before the others
  void noteCreated(const Thread* thread, pthread_t handle);
  void discard(Thread* thread);  // it was not created
  void enter(Thread* thread);    // on the new thread
  int join(pthread_t thread, const std::function<int()>& machineJoin);
  // The same, but ETIMEDOUT when it has not ended by then.
  int joinUntil(pthread_t thread, Nanoseconds limit, const std::function<int()>& machineJoin);

 private:
  enum class State { kRunning, kWaiting, kInKernel, kAway };

  Schedule();
  // Held for moments, and wanted by all threads at once: a thread looks for a while before it sleeps.
  class Mutex {
   public:
    Mutex() {
      pthread_mutexattr_t attributes;
      ::pthread_mutexattr_init(&attributes);
      ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ADAPTIVE_NP);
      ::pthread_mutex_init(&mutex_, &attributes);
      ::pthread_mutexattr_destroy(&attributes);
    }
    void lock() { ::pthread_mutex_lock(&mutex_); }
    void unlock() { ::pthread_mutex_unlock(&mutex_); }

   private:
    pthread_mutex_t mutex_{};
  };
  using Lock = std::unique_lock<Mutex>;
  class HeldSignals;
  enum class Call : int;

  static Thread& current();
  Lock enterLocked(Thread& self);
  void leave(Thread& thread);
  void drop(Thread& thread);
  End waitForCall(Lock& lock, Thread& self, HeldSignals* signals);
  void setState(Thread& thread, State state, Nanoseconds limit = kNever);
  enum class Asking { kOfAll, kOfKnownSleepers };
  bool isTurn(const Thread& next, Asking asking);
  bool isPatienceOver();
  bool areAsleep(const std::vector<Thread*>& threads) const;
  void tell(Thread& thread, Call call);
  static void wake(Thread& thread);
  void pass(Thread& self);
  Thread* next();
  void callNext(Asking asking = Asking::kOfKnownSleepers);
  int finishJoin(pthread_t thread, const std::function<int()>& machineJoin);
  void onlyCurrentIsLeft();

  Mutex mutex_;
  std::list<Thread*> threads_;
  std::multimap<const void*, Thread*> waiting_;  // for notice, first come first
  std::map<pthread_t, Nanoseconds> ended_;       // of threads that nobody has joined
  Nanoseconds lastChange_ = 0;                   // the machine's time
  Nanoseconds impatientSince_ = -1;              // the last change when it was a second ago
  Nanoseconds usedThen_ = 0;                     // of the processor, by the process

  friend struct ThreadEnd;
};

}  // namespace simulator

#endif
