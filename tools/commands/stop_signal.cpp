#include "tools/commands/stop_signal.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <csignal>

#include "tools/recording/source.h"

namespace tool {

namespace {

int stopDescriptor = kNoStop;
volatile std::sig_atomic_t signalled = 0;

void onSignal(int number) {
  const int before = errno;
  if (signalled != 0) {
    // Takes effect when the handler returns: until then the signal is blocked.
    ::signal(number, SIG_DFL);
    ::raise(number);
  }
  signalled = 1;
  ::eventfd_write(stopDescriptor, 1);
  errno = before;
}

}  // namespace

StopSignal::StopSignal() {
  stopDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  struct sigaction action {};
  action.sa_handler = onSignal;
  ::sigaction(SIGINT, &action, nullptr);
  ::sigaction(SIGTERM, &action, nullptr);
  // A program under nohup goes on without its terminal.
  struct sigaction before {};
  if (::sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
    ::sigaction(SIGHUP, &action, nullptr);
  }
}

int StopSignal::descriptor() { return stopDescriptor; }

bool StopSignal::raised() {
  pollfd event{stopDescriptor, POLLIN, 0};
  return ::poll(&event, 1, 0) > 0;
}

}  // namespace tool
