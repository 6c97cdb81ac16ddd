// terminal COLUMNS ROWS STEP.. -- COMMAND..: runs a command on a terminal of its own, and writes what it wrote.
//
//   see:TEXT     waits until the command has written it, after what the step before has seen
//   type:KEYS    presses them
//   size:CxR     changes the size of the terminal
//   signal:N     sends the command a signal
//   hang up      closes the terminal
//
// Ends as the command ends; with 99 when something was not seen within half a minute, with 98 when the terminal's modes are
// others than before.
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int kNotSeen = 99;
constexpr int kNotGivenBack = 98;
constexpr std::chrono::seconds kPatience{30};

class Terminal {
 public:
  explicit Terminal(const winsize& size) : master_{::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)} {
    if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0) std::exit(kNotSeen);
    resize(size);
    modes_ = modes();
  }

  void resize(const winsize& size) const { ::ioctl(master_, TIOCSWINSZ, &size); }

  void start(char** command) {
    const std::string name = ::ptsname(master_);
    child_ = ::fork();
    if (child_ != 0) return;
    ::signal(SIGHUP, SIG_DFL);
    ::setsid();
    const int slave = ::open(name.c_str(), O_RDWR);  // which becomes the terminal of the session
    for (int standard = 0; standard < 3; ++standard) ::dup2(slave, standard);
    ::close(slave);
    ::execvp(command[0], command);
    std::_Exit(127);
  }

  void type(const std::string& keys) const { static_cast<void>(::write(master_, keys.data(), keys.size())); }
  void signal(int number) const { ::kill(child_, number); }

  void hangUp() {
    ::close(master_);
    master_ = -1;
  }

  bool see(const std::string& text) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < end) {
      const std::size_t found = output.find(text, seen_);
      if (found != std::string::npos) {
        seen_ = found + text.size();
        return true;
      }
      if (!read()) return false;
    }
    return false;
  }

  int finish() {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (master_ >= 0 && read() && std::chrono::steady_clock::now() < end) {
    }
    int status = 0;
    while (std::chrono::steady_clock::now() < end) {
      if (::waitpid(child_, &status, WNOHANG) == child_) {
        if (modes() != modes_) return kNotGivenBack;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      }
      ::poll(nullptr, 0, 10);
    }
    ::kill(child_, SIGKILL);
    return kNotSeen;
  }

  std::string output;

 private:
  // How it takes what is typed; of one that has hung up as it was.
  tcflag_t modes() const {
    termios terminal{};
    return ::tcgetattr(master_, &terminal) == 0 ? terminal.c_lflag : modes_;
  }

  // False when nobody writes any more.
  bool read() {
    pollfd event{master_, POLLIN, 0};
    if (::poll(&event, 1, 100) == 0) return true;
    char bytes[4096];
    const ssize_t length = ::read(master_, bytes, sizeof bytes);
    if (length > 0) output.append(bytes, static_cast<std::size_t>(length));
    return length > 0;
  }

  int master_;
  pid_t child_ = -1;
  std::size_t seen_ = 0;
  tcflag_t modes_ = 0;
};

winsize sizeOf(const char* columns, const char* rows) {
  winsize size{};
  size.ws_col = static_cast<unsigned short>(std::atoi(columns));
  size.ws_row = static_cast<unsigned short>(std::atoi(rows));
  return size;
}

bool isStep(const std::string& step, const char* kind, std::string& rest) {
  const std::string prefix = std::string{kind} + ":";
  if (step.compare(0, prefix.size(), prefix) != 0) return false;
  rest = step.substr(prefix.size());
  return true;
}

bool take(Terminal& terminal, const std::string& step) {
  std::string rest;
  if (isStep(step, "see", rest)) return terminal.see(rest);
  if (isStep(step, "type", rest)) terminal.type(rest);
  if (isStep(step, "signal", rest)) terminal.signal(std::atoi(rest.c_str()));
  if (isStep(step, "size", rest)) {
    const std::size_t cross = rest.find('x');
    terminal.resize(sizeOf(rest.substr(0, cross).c_str(), rest.substr(cross + 1).c_str()));
  }
  if (step == "hang up") terminal.hangUp();
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 5) return kNotSeen;
  ::signal(SIGHUP, SIG_IGN);
  Terminal terminal{sizeOf(arguments[1], arguments[2])};
  int at = 3;
  std::vector<std::string> steps;
  for (; at < count && std::string{arguments[at]} != "--"; ++at) steps.emplace_back(arguments[at]);
  terminal.start(arguments + at + 1);
  for (const std::string& step : steps) {
    if (take(terminal, step)) continue;
    std::fprintf(stderr, "never: %s\n", step.c_str());
    terminal.signal(SIGKILL);
    terminal.finish();
    std::fwrite(terminal.output.data(), 1, terminal.output.size(), stdout);
    return kNotSeen;
  }
  const int result = terminal.finish();
  std::fwrite(terminal.output.data(), 1, terminal.output.size(), stdout);
  return result;
}
