#include "simulator/notify/launch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <utility>

#include "simulator/board/descriptor.h"
#include "simulator/notify/supervisor.h"

namespace simulator {

namespace {

constexpr int kCannotRun = 126;  // as a shell has it
constexpr int kNotFound = 127;

// What the supervisor tells of the program.
struct News {
  enum class Kind { kStarted, kStopped, kEnded, kFailed };
  Kind kind;
  int value;  // the process id, the status as wait has it, or errno
};

[[noreturn]] void fail(const char* what) {
  throw std::runtime_error{std::string{what} + ": " + std::strerror(errno)};
}

std::pair<Descriptor, Descriptor> socketPair() {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) fail("socketpair");
  return {Descriptor{ends[0]}, Descriptor{ends[1]}};
}

void tell(int end, News news) { ::send(end, &news, sizeof news, MSG_NOSIGNAL); }

std::optional<News> hear(int end) {
  News news{};
  ssize_t bytes;
  do {
    bytes = ::recv(end, &news, sizeof news, 0);
  } while (bytes < 0 && errno == EINTR);
  return bytes == sizeof news ? std::optional{news} : std::nullopt;
}

union DescriptorMessage {
  cmsghdr header;
  char space[CMSG_SPACE(sizeof(int))];
};

msghdr messageWith(DescriptorMessage& message, iovec& data) {
  msghdr header{};
  header.msg_iov = &data;
  header.msg_iovlen = 1;
  header.msg_control = message.space;
  header.msg_controllen = sizeof message.space;
  return header;
}

void sendDescriptor(int end, int descriptor) {
  char byte = 0;
  iovec data{&byte, 1};
  DescriptorMessage message{};
  const msghdr header = messageWith(message, data);
  message.header.cmsg_level = SOL_SOCKET;
  message.header.cmsg_type = SCM_RIGHTS;
  message.header.cmsg_len = CMSG_LEN(sizeof descriptor);
  std::memcpy(CMSG_DATA(&message.header), &descriptor, sizeof descriptor);
  ::sendmsg(end, &header, MSG_NOSIGNAL);
}

Descriptor receiveDescriptor(int end) {
  char byte = 0;
  iovec data{&byte, 1};
  DescriptorMessage message{};
  msghdr header = messageWith(message, data);
  int descriptor = -1;
  const bool came = ::recvmsg(end, &header, MSG_CMSG_CLOEXEC) == 1 && header.msg_controllen > 0;
  if (came) std::memcpy(&descriptor, CMSG_DATA(&message.header), sizeof descriptor);
  return Descriptor{descriptor};
}

// Signals that are read from a descriptor instead of ending this process; the mask from before comes back
// with it.
class Signals {
 public:
  Signals(std::initializer_list<int> numbers) {
    sigset_t set;
    ::sigemptyset(&set);
    for (const int number : numbers) ::sigaddset(&set, number);
    ::sigprocmask(SIG_BLOCK, &set, &before_);
    descriptor_ = Descriptor{::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK)};
  }

  int descriptor() const { return descriptor_.get(); }
  void restore() const { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

  std::optional<signalfd_siginfo> next() const {
    signalfd_siginfo info{};
    const bool came = ::read(descriptor_.get(), &info, sizeof info) == sizeof info;
    return came ? std::optional{info} : std::nullopt;
  }

 private:
  sigset_t before_{};
  Descriptor descriptor_;
};

// -- the program

[[noreturn]] void becomeProgram(int supervisor, const FilterOptions& filter,
                                std::vector<std::string>& command) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  {
    const Descriptor listener{installFilter(filter)};
    if (listener.get() < 0) ::_exit(kCannotRun);
    sendDescriptor(supervisor, listener.get());
  }
  ::execvp(arguments[0], arguments.data());
  const int error = errno;
  std::fprintf(stderr, "tessary-board: %s: %s\n", arguments[0], std::strerror(error));
  ::_exit(error == ENOENT ? kNotFound : kCannotRun);
}

// -- the supervisor

class Service {
 public:
  Service(const Board& board, Descriptor listener, int front, pid_t program)
      : supervisor_{board, std::move(listener)}, front_{front}, program_{program} {}

  // Until the last process with the filter has ended, or somebody ends this one: without answers no program
  // can go on. How the program has ended.
  int run(const Signals& signals) {
    while (goesOn_) {
      pollfd polled[] = {
          {supervisor_.listener(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}, {front_, POLLIN, 0}};
      if (::poll(polled, front_ >= 0 ? 3 : 2, -1) < 0) continue;
      if ((polled[0].revents & POLLIN) != 0) supervisor_.answerNext();
      if (polled[0].revents == POLLHUP) break;
      if ((polled[1].revents & POLLIN) != 0) takeSignals(signals);
      if (front_ >= 0 && polled[2].revents != 0) front_ = leftAlone();
      if (ended_ && front_ >= 0 && !isLastOne()) front_ = report();
    }
    if (!goesOn_ && !ended_) ::kill(program_, SIGKILL);
    int status = 0;
    if (!ended_ && ::waitpid(program_, &status, 0) == program_) ended_ = status;
    return ended_.value_or(0);
  }

 private:
  // The process that stands for the program was killed: so is the program.
  int leftAlone() const {
    if (!ended_) ::kill(program_, SIGKILL);
    return -1;
  }

  // The program has ended, others go on that it has started.
  int report() const {
    tell(front_, {News::Kind::kEnded, *ended_});
    return -1;
  }

  bool isLastOne() const {
    pollfd polled{supervisor_.listener(), POLLIN, 0};
    return ::poll(&polled, 1, 0) == 1 && polled.revents == POLLHUP;
  }

  void takeSignals(const Signals& signals) {
    while (const auto signal = signals.next()) {
      if (signal->ssi_signo != SIGCHLD) goesOn_ = false;
    }
    int status = 0;
    while (const pid_t child = ::waitpid(-1, &status, WNOHANG | WUNTRACED)) {
      if (child < 0) break;
      if (child != program_) continue;
      if (WIFSTOPPED(status)) {
        tell(front_, {News::Kind::kStopped, status});
      } else {
        ended_ = status;
      }
    }
  }

  Supervisor supervisor_;
  int front_;
  pid_t program_;
  std::optional<int> ended_;
  bool goesOn_ = true;
};

// What the program's reader waits for is not to be held open here.
void letGoOfStreams(const std::vector<int>& kept) {
  const Descriptor nothing{::open("/dev/null", O_RDWR | O_CLOEXEC)};
  ::dup2(nothing.get(), STDIN_FILENO);
  ::dup2(nothing.get(), STDOUT_FILENO);
  for (int descriptor = STDERR_FILENO + 1; descriptor < 1024; ++descriptor) {
    if (std::find(kept.begin(), kept.end(), descriptor) == kept.end()) ::close(descriptor);
  }
}

int supervise(const Board& board, const FilterOptions& filter, std::vector<std::string>& command,
              Descriptor front, const Signals& frontSignals) {
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);  // whatever the program starts stays a child of this process
  auto [ours, theirs] = socketPair();
  const pid_t program = ::fork();
  if (program < 0) {
    tell(front.get(), {News::Kind::kFailed, errno});
    return EXIT_FAILURE;
  }
  if (program == 0) {
    frontSignals.restore();
    becomeProgram(theirs.get(), filter, command);
  }
  theirs = Descriptor{};
  std::signal(SIGCHLD, SIG_DFL);  // whoever started the command may not want to know
  ::setsid();                     // the terminal's signals are the program's
  const Signals signals{SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGQUIT};
  Descriptor listener = receiveDescriptor(ours.get());
  if (listener.get() < 0) {
    tell(front.get(), {News::Kind::kFailed, EPERM});
    return EXIT_FAILURE;
  }
  ours = Descriptor{};
  tell(front.get(), {News::Kind::kStarted, program});
  letGoOfStreams({listener.get(), front.get(), signals.descriptor()});
  const int status = Service{board, std::move(listener), front.get(), program}.run(signals);
  // By now nothing of the temporary folder is left.
  tell(front.get(), {News::Kind::kEnded, status});
  return EXIT_SUCCESS;
}

// -- what stands for the program

[[noreturn]] void endBySignal(int number) {
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);  // the program has left its own
  std::signal(number, SIG_DFL);
  sigset_t set;
  ::sigemptyset(&set);
  ::sigaddset(&set, number);
  ::raise(number);
  ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
  ::_exit(128 + number);
}

void passOn(const Signals& signals, pid_t program) {
  while (const auto signal = signals.next()) {
    // The terminal has sent its own to the program, too.
    if (signal->ssi_code != SI_KERNEL) ::kill(program, static_cast<int>(signal->ssi_signo));
  }
}

int standFor(int supervisor, const Signals& signals) {
  pid_t program = 0;
  while (true) {
    // A signal that comes before the program is there waits for it.
    pollfd polled[] = {{supervisor, POLLIN, 0}, {signals.descriptor(), POLLIN, 0}};
    if (::poll(polled, program != 0 ? 2 : 1, -1) < 0) continue;
    if (program != 0 && polled[1].revents != 0) passOn(signals, program);
    if (polled[0].revents == 0) continue;
    const std::optional<News> news = hear(supervisor);
    if (!news) throw std::runtime_error{"the simulator has ended before the program"};
    switch (news->kind) {
      case News::Kind::kStarted:
        program = news->value;
        break;
      case News::Kind::kStopped:
        ::raise(SIGSTOP);
        ::kill(program, SIGCONT);
        break;
      case News::Kind::kEnded:
        if (WIFSIGNALED(news->value)) endBySignal(WTERMSIG(news->value));
        return WEXITSTATUS(news->value);
      case News::Kind::kFailed:
        errno = news->value;
        fail("system calls cannot be answered here");
    }
  }
}

}  // namespace

int runSupervised(const Board& board, const FilterOptions& filter, std::vector<std::string> command) {
  const Signals signals{SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGTSTP, SIGWINCH};
  auto [ours, theirs] = socketPair();
  const pid_t supervisor = ::fork();
  if (supervisor < 0) fail("fork");
  if (supervisor == 0) {
    ours = Descriptor{};
    int status = EXIT_FAILURE;
    try {
      status = supervise(board, filter, command, std::move(theirs), signals);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "tessary-board: %s\n", error.what());
    }
    ::_exit(status);
  }
  theirs = Descriptor{};
  return standFor(ours.get(), signals);
}

}  // namespace simulator
