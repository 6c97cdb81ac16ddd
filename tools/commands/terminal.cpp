#include "tools/commands/terminal.h"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "tools/recording/source.h"

namespace tool {

namespace {

constexpr char kTakeOver[] = "\033[?1049h\033[?25l";  // another screen, no cursor
constexpr char kGiveBack[] = "\033[?25h\033[?1049l";
constexpr char kHome[] = "\033[H";
constexpr char kRestOfLine[] = "\033[K";
constexpr char kRestOfScreen[] = "\033[J";

int resized = kNoStop;

std::size_t numberIn(const char* variable, std::size_t otherwise) {
  const char* const text = std::getenv(variable);
  const long number = text != nullptr ? std::strtol(text, nullptr, 10) : 0;
  constexpr long kLargest = 10000;
  return number > 0 && number <= kLargest ? static_cast<std::size_t>(number) : otherwise;
}

struct KeyBytes {
  const char* bytes;
  Key key;
};
constexpr KeyBytes kKeys[] = {
    {"q", Key::kEnd},           {" ", Key::kPause},       {"p", Key::kPause},      {"h", Key::kHelp},
    {"?", Key::kHelp},          {"+", Key::kLonger},      {"-", Key::kShorter},    {"s", Key::kSort},
    {"1", Key::kCores},         {"\t", Key::kSection},    {"\033[D", Key::kBack},  {"\033[C", Key::kOn},
    {"\033[A", Key::kMuchBack}, {"\033[B", Key::kMuchOn}, {"\033[H", Key::kFirst}, {"\033[F", Key::kLast},
    {"\033[1~", Key::kFirst},   {"\033[4~", Key::kLast},  {"\033OD", Key::kBack},  {"\033OC", Key::kOn},
    {"\033OA", Key::kMuchBack}, {"\033OB", Key::kMuchOn}, {"\033OH", Key::kFirst}, {"\033OF", Key::kLast},
};

}  // namespace

Terminal::Terminal(Sink& out)
    : out_{out}, keys_{kNoStop}, resizes_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)} {
  keys_ = ::isatty(STDIN_FILENO) != 0 ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)
                                      : ::open("/dev/tty", O_RDONLY | O_CLOEXEC);
  if (keys_ >= 0 && ::tcgetattr(keys_, &before_) == 0) {
    termios raw = before_;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    isRaw_ = ::tcsetattr(keys_, TCSANOW, &raw) == 0;
  }
  resized = resizes_;
  struct sigaction action {};
  action.sa_handler = [](int) {
    const int before = errno;
    ::eventfd_write(resized, 1);
    errno = before;
  };
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGWINCH, &action, nullptr);
  out_.write(kTakeOver);
}

Terminal::~Terminal() {
  try {
    out_.write(kGiveBack);
  } catch (...) {  // it is gone
  }
  if (isRaw_) ::tcsetattr(keys_, TCSANOW, &before_);
  ::signal(SIGWINCH, SIG_DFL);
  if (keys_ >= 0) ::close(keys_);
  ::close(resizes_);
}

Key Terminal::readKey() {
  char bytes[8] = {};
  const ssize_t length = ::read(keys_, bytes, sizeof bytes - 1);
  if (length <= 0) {
    // The terminal has gone: it would stay readable for ever.
    ::close(keys_);
    keys_ = kNoStop;
    isRaw_ = false;
    return Key::kNone;
  }
  for (const KeyBytes& known : kKeys) {
    if (std::strncmp(bytes, known.bytes, std::strlen(known.bytes)) == 0) return known.key;
  }
  return Key::kNone;
}

void Terminal::forgetResizes() {
  eventfd_t count = 0;
  ::eventfd_read(resizes_, &count);
}

void Terminal::draw(const std::vector<std::string>& lines) {
  std::string frame = kHome;
  for (const std::string& line : lines) {
    // A line end behind the last line would scroll the screen.
    if (&line != lines.data()) frame += "\r\n";
    frame += line + kRestOfLine;
  }
  out_.write(frame + kRestOfScreen);
}

ScreenLook lookOf(const Sink& out, bool colour) {
  constexpr std::size_t kUsualColumns = 80;
  constexpr std::size_t kUsualRows = 24;
  const Sink::Size size = out.size();
  const bool isKnown = size.columns != 0 && size.rows != 0;
  return {isKnown ? size.columns : numberIn("COLUMNS", kUsualColumns),
          isKnown ? size.rows : numberIn("LINES", kUsualRows), colour,
          std::strcmp(::nl_langinfo(CODESET), "UTF-8") == 0};
}

}  // namespace tool
