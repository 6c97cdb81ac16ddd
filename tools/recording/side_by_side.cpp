#include "tools/recording/side_by_side.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <system_error>
#include <thread>

namespace tool {

namespace {

// Interrupts a sleep, and does nothing else.
constexpr int kWake = SIGUSR1;
constexpr int kWakeAgainMs = 20;  // a thread may have been on its way to sleep

void installWake() {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ::sigaction(kWake, &action, nullptr);
}

class Threads {
 public:
  Threads() : done_{::eventfd(0, EFD_CLOEXEC)} {
    if (done_ < 0) throw std::system_error{errno, std::generic_category(), "eventfd"};
  }
  ~Threads() {
    for (std::thread& thread : threads_) thread.join();
    ::close(done_);
  }
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;

  void start(const std::function<void()>& task) {
    threads_.emplace_back([this, &task] {
      task();
      ::eventfd_write(done_, 1);
    });
  }

  bool waitFor(int stop) {
    bool stopped = false;
    for (std::uint64_t ended = 0; ended < threads_.size();) {
      std::array<pollfd, 2> events{{{done_, POLLIN, 0}, {stopped ? kNoStop : stop, POLLIN, 0}}};
      if (::poll(events.data(), events.size(), stopped ? kWakeAgainMs : -1) > 0) {
        eventfd_t more = 0;
        if ((events[0].revents & POLLIN) != 0 && ::eventfd_read(done_, &more) == 0) ended += more;
        stopped = stopped || events[1].revents != 0;
      }
      if (!stopped) continue;
      for (std::thread& thread : threads_) ::pthread_kill(thread.native_handle(), kWake);
    }
    return !stopped;
  }

 private:
  int done_;
  std::vector<std::thread> threads_;
};

}  // namespace

bool runSideBySide(const std::vector<std::function<void()>>& tasks, int stop) {
  installWake();
  Threads threads;
  for (const std::function<void()>& task : tasks) threads.start(task);
  return threads.waitFor(stop);
}

}  // namespace tool
