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

// No sample is as long; what is has no line ends, and is dropped piece by piece.
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
    : name_{std::move(name)}, descriptor_{std::move(descriptor)}, follow_{follow} {
  struct stat status {};
  follow_ = follow_ && ::fstat(descriptor_.number(), &status) == 0 && S_ISREG(status.st_mode);
}

std::optional<std::string_view> Lines::next(int stop) {
  while (true) {
    const std::size_t end = text_.find('\n', searched_);
    if (end != std::string::npos) {
      const std::string_view line{text_.data() + begin_, end - begin_};
      begin_ = searched_ = end + 1;
      ++number_;
      return line;
    }
    if (text_.size() - begin_ > kLongestLine) begin_ = text_.size();
    text_.erase(0, begin_);
    begin_ = 0;
    searched_ = text_.size();
    const Filled filled = fill(stop);
    if (filled == kStopped) return std::nullopt;
    if (filled == kEnd) break;
  }
  if (text_.empty() || cut_) return std::nullopt;
  cut_ = true;
  ++number_;
  return text_;
}

Lines::Filled Lines::fill(int stop) {
  std::array<char, kChunk> chunk;
  while (!damaged_) {
    if (!isReadable(descriptor_.number(), stop)) return kStopped;
    const ssize_t count = ::read(descriptor_.number(), chunk.data(), chunk.size());
    if (count > 0) {
      take({chunk.data(), static_cast<std::size_t>(count)});
      return kMore;
    }
    if (count < 0 && errno != EINTR) throw Failure{name_ + ": " + std::strerror(errno)};
    if (count == 0 && !follow_) return kEnd;
    if (count == 0 && waitForMore(stop) == kStopped) return kStopped;
  }
  return kEnd;
}

void Lines::take(std::string_view bytes) {
  if (!any_ && Decompressor::isCompressed(bytes)) decompressor_ = std::make_unique<Decompressor>();
  any_ = true;
  if (decompressor_) {
    damaged_ = !decompressor_->add(bytes, text_);
  } else {
    text_ += bytes;
  }
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
  decompressor_.reset();
  any_ = false;
  text_.clear();
  searched_ = 0;
  number_ = 0;
}

}  // namespace tool
