// A recursive lock that a fork finds free. A child of a program with threads has but the one that forked, and
// nobody in it would ever release what another thread held: so the fork waits until it holds them all itself.
#ifndef TESSARY_SIMULATOR_BOARD_FORK_SAFE_MUTEX_H
#define TESSARY_SIMULATOR_BOARD_FORK_SAFE_MUTEX_H

#include <mutex>

namespace simulator {

class ForkSafeMutex {
 public:
  ForkSafeMutex();
  ~ForkSafeMutex();
  ForkSafeMutex(const ForkSafeMutex&) = delete;
  ForkSafeMutex& operator=(const ForkSafeMutex&) = delete;

  void lock() { mutex_.lock(); }
  bool try_lock() { return mutex_.try_lock(); }
  void unlock() { mutex_.unlock(); }

  // In a child, whose thread is not the one that took the lock: it is as new.
  void renew();

 private:
  std::recursive_mutex mutex_;
};

// The one object of its class, which outlives every static object. Whoever has one names it in a variable of
// its file, too, so that it is made before the program has threads: a fork could find it half made.
template <typename Object>
Object& lasting() {
  static auto* const object = new Object;
  return *object;
}

}  // namespace simulator

#endif
