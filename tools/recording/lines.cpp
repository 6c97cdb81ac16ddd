#include "tools/recording/lines.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "tools/output.h"

namespace tool {

namespace {

constexpr std::size_t kChunk = 65536;
constexpr int kLookAgainMs = 100;  // for what was appended to a file

// No sample is as long.
constexpr std::size_t kLongestLine = std::size_t{64} << 20U;

// Waits until it is, or `stop` is instead.
bool isReadable(int descriptor, int stop) {
  std::array<pollfd, 2> events{{{descriptor, POLLIN, 0}, {stop, POLLIN, 0}}};
  while (::poll(events.data(), events.size(), -1) < 0 && errno == EINTR) {
  }
  return events[1].revents == 0;
}

}  // namespace

Lines::Lines(std::string name, Descriptor descriptor, bool follow)
    : name_{std::move(name)}, descriptor_{std::move(descriptor)}, follow_{follow}, splitter_{kLongestLine} {
  struct stat status {};
  follow_ = follow_ && ::fstat(descriptor_.number(), &status) == 0 && S_ISREG(status.st_mode);
}

std::optional<std::string_view> Lines::next(int stop) {
  while (true) {
    if (const std::optional<std::string_view> line = splitter_.next()) {
      ++number_;
      return line;
    }
    const Filled filled = fill(stop);
    if (filled == kStopped) return std::nullopt;
    if (filled == kEnd) break;
  }
  if (splitter_.rest().empty() || cut_) return std::nullopt;
  cut_ = true;
  ++number_;
  return splitter_.rest();
}

Lines::Filled Lines::fill(int stop) {
  std::array<char, kChunk> chunk;
  while (!splitter_.isDamaged()) {
    if (!isReadable(descriptor_.number(), stop)) return kStopped;
    const ssize_t count = ::read(descriptor_.number(), chunk.data(), chunk.size());
    if (count > 0) {
      splitter_.add({chunk.data(), static_cast<std::size_t>(count)});
      return kMore;
    }
    if (count < 0 && errno != EINTR) throw Failure{name_ + ": " + std::strerror(errno)};
    if (count == 0 && !follow_) return kEnd;
    if (count == 0 && waitForMore(stop) == kStopped) return kStopped;
  }
  return kEnd;
}

Lines::Filled Lines::waitForMore(int stop) {
  pollfd event{stop, POLLIN, 0};
  if (::poll(&event, 1, kLookAgainMs) > 0) return kStopped;
  struct stat status {};
  const off_t position = ::lseek(descriptor_.number(), 0, SEEK_CUR);
  if (::fstat(descriptor_.number(), &status) == 0 && status.st_size < position) startAgain();
  return kMore;
}

void Lines::startAgain() {
  ::lseek(descriptor_.number(), 0, SEEK_SET);
  splitter_.reset();
  number_ = 0;
}

}  // namespace tool
