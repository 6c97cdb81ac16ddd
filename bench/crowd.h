#ifndef TESSARY_BENCH_CROWD_H
#define TESSARY_BENCH_CROWD_H

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace bench {

// Processes that do nothing, for as long as the object lives.
class Crowd {
 public:
  explicit Crowd(int size) {
    for (int i = 0; i < size; ++i) {
      const pid_t pid = ::fork();
      if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) ::pause();
      }
      if (pid > 0) pids_.push_back(pid);
    }
  }
  ~Crowd() {
    for (const pid_t pid : pids_) ::kill(pid, SIGKILL);
    for (const pid_t pid : pids_) ::waitpid(pid, nullptr, 0);
  }
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

 private:
  std::vector<pid_t> pids_;
};

}  // namespace bench

#endif
