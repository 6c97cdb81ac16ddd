#include "simulator/board/fork_safe_mutex.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <new>
#include <vector>

namespace simulator {

namespace {

// Everyone there is, and a lock on the list of them. Both outlive every static object.
struct Registry {
  std::mutex mutex;
  std::vector<ForkSafeMutex*> mutexes;
};

Registry& registry();

// None waits while it holds another: the threads take them in whatever order they need.
bool tryAll(const std::vector<ForkSafeMutex*>& mutexes) {
  for (std::size_t i = 0; i < mutexes.size(); ++i) {
    if (mutexes[i]->try_lock()) continue;
    while (i > 0) mutexes[--i]->unlock();
    return false;
  }
  return true;
}

void holdAll() {
  registry().mutex.lock();
  while (!tryAll(registry().mutexes)) ::sched_yield();
}

void releaseAll() {
  for (ForkSafeMutex* const mutex : registry().mutexes) mutex->unlock();
  registry().mutex.unlock();
}

void renewAll() {
  for (ForkSafeMutex* const mutex : registry().mutexes) mutex->renew();
  registry().mutex.unlock();
}

Registry& registry() {
  static Registry* const all = [] {
    ::pthread_atfork(holdAll, releaseAll, renewAll);
    return new Registry;
  }();
  return *all;
}

}  // namespace

ForkSafeMutex::ForkSafeMutex() {
  const std::lock_guard lock{registry().mutex};
  registry().mutexes.push_back(this);
}

ForkSafeMutex::~ForkSafeMutex() {
  const std::lock_guard lock{registry().mutex};
  auto& all = registry().mutexes;
  all.erase(std::find(all.begin(), all.end(), this));
}

// A recursive lock remembers its owner by thread id, which the fork has changed.
void ForkSafeMutex::renew() { new (&mutex_) std::recursive_mutex; }

}  // namespace simulator
