#include "tools/output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "tools/recording/descriptor.h"

namespace tool {

namespace {

int copyOf(int descriptor) { return ::fcntl(descriptor, F_DUPFD_CLOEXEC, kAboveStandard); }

}  // namespace

Sink::~Sink() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

Sink::Sink(Sink&& other) noexcept
    : name_{std::move(other.name_)},
      descriptor_{std::exchange(other.descriptor_, -1)},
      written_{other.written_} {}

Sink Sink::file(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor < 0) throw Failure{path + ": " + std::strerror(errno)};
  return Sink{path, descriptor};
}

void Sink::write(std::string_view text) {
  for (std::string_view left = text; !left.empty();) {
    const ssize_t count = ::write(descriptor_, left.data(), left.size());
    if (count >= 0) {
      left.remove_prefix(static_cast<std::size_t>(count));
      continue;
    }
    const int error = errno;
    if (error == EINTR) continue;
    cutOff(text.size() - left.size());
    if (error == EPIPE) throw ClosedPipe{};
    throw Failure{name_ + ": " + std::strerror(error)};
  }
  written_ += text.size();
}

// Not a file's end that somebody else wrote.
void Sink::cutOff(std::size_t bytes) const {
  const off_t end = ::lseek(descriptor_, 0, SEEK_CUR);
  struct stat status {};
  if (bytes == 0 || end < 0 || ::fstat(descriptor_, &status) != 0 || status.st_size != end) return;
  static_cast<void>(::ftruncate(descriptor_, end - static_cast<off_t>(bytes)));
}

bool Sink::isTerminal() const { return ::isatty(descriptor_) != 0; }

Sink::Size Sink::size() const {
  winsize size{};
  return ::ioctl(descriptor_, TIOCGWINSZ, &size) == 0 ? Size{size.ws_col, size.ws_row} : Size{};
}

Streams::Streams()
    : out{"standard output", copyOf(STDOUT_FILENO)}, error{"standard error", copyOf(STDERR_FILENO)} {
  // What was closed must not be taken by a file that is opened later.
  while (true) {
    const int descriptor = ::open("/dev/null", O_RDWR);
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
      ::close(descriptor);
      return;
    }
  }
}

// A stream that stays where it is would mix the library's lines with the tool's own.
void Streams::divertLibrary(bool diagnostics) {
  const auto check = [](int result) {
    if (result < 0)
      throw Failure{std::string{"standard output cannot be set aside: "} + std::strerror(errno)};
  };
  if (diagnostics) {
    ::setenv("ANDROID_LOG_TAGS", "*:V", 0);
    check(::dup2(STDERR_FILENO, STDOUT_FILENO));
    return;
  }
  const Sink nowhere{"/dev/null", ::open("/dev/null", O_WRONLY | O_CLOEXEC)};
  check(nowhere.descriptor());
  check(::dup2(nowhere.descriptor(), STDOUT_FILENO));
  check(::dup2(nowhere.descriptor(), STDERR_FILENO));
}

}  // namespace tool
