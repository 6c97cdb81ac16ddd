#include "tools/serve/boards/input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>

#include "tools/figures/time_units.h"
#include "tools/views/json.h"

namespace tool {

namespace {

constexpr std::size_t kReadAtOnce = 65536;
constexpr std::size_t kLongestSample = std::size_t{4} << 20U;
constexpr int kReadsInATurn = 8;  // of a file, before the others have their turn
constexpr int kFileLookMs = 100;
constexpr int kNameLookMs = 1000;

bool isSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

StreamInput::StreamInput(std::string path, Schemas known, Board::Tell tell)
    : path_{std::move(path)},
      name_{path_ == "-" ? "standard input" : path_},
      known_{std::move(known)},
      tell_{std::move(tell)},
      splitter_{kLongestSample} {}

int StreamInput::descriptor() const { return isFile_ ? -1 : file_.number(); }

// Whether it was replaced shows slowly enough by the name.
int StreamInput::lookAfterMs() const {
  if (over_ || (path_ == "-" && !isFile_)) return 0;
  return isFile_ ? kFileLookMs : kNameLookMs;
}

// A FIFO that is opened without a writer reports no end until one has come and gone.
void StreamInput::open(Board& board) {
  Descriptor opened{path_ == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, kAboveStandard)
                                 : ::open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY)};
  struct stat status {};
  if (opened.number() < 0 || ::fstat(opened.number(), &status) != 0) return fail(std::strerror(errno));
  if (S_ISDIR(status.st_mode)) return fail(std::strerror(EISDIR));
  // The old one is closed behind this: a FIFO has a reader throughout.
  file_ = std::move(opened);
  isFile_ = S_ISREG(status.st_mode);
  reason_.clear();
  splitter_.reset();
  board.forgive();
}

void StreamInput::fail(const std::string& reason) {
  file_ = Descriptor{};
  isFile_ = false;
  if (reason == reason_) return;
  reason_ = reason;
  tell_(name_ + ": " + reason + (over_ ? "" : "; it is looked for again"));
}

bool StreamInput::read(Board& board, std::int64_t now) {
  if (over_) return false;
  if (file_.number() < 0) {
    if (lookedNs_ != 0 && now - lookedNs_ < kNanosecondsInSecond) return false;
    lookedNs_ = now;
    open(board);
    if (file_.number() < 0) return false;
  }
  try {
    return isFile_ ? readFile(board, now) : readStream(board, now);
  } catch (const std::exception& exception) {  // the other boards go on
    fail(exception.what());
    return false;
  }
}

bool StreamInput::readFile(Board& board, std::int64_t now) {
  std::array<char, kReadAtOnce> chunk;
  const std::int64_t arrived = now - age();
  for (int round = 0; round < kReadsInATurn; ++round) {
    const ssize_t count = ::read(file_.number(), chunk.data(), chunk.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      fail(std::strerror(errno));
      return false;
    }
    if (count == 0) {
      lookForAnother(board, now);
      if (!isEmptied()) return false;
      ::lseek(file_.number(), 0, SEEK_SET);
      splitter_.reset();
      board.forgive();
      continue;
    }
    give(board, {chunk.data(), static_cast<std::size_t>(count)}, arrived);
  }
  return true;
}

// How long ago a file was written to: what is read from an old one is no news.
std::int64_t StreamInput::age() const {
  struct stat status {};
  timespec time{};
  if (::fstat(file_.number(), &status) != 0 || ::clock_gettime(CLOCK_REALTIME, &time) != 0) return 0;
  const std::int64_t age =
      (time.tv_sec - status.st_mtim.tv_sec) * kNanosecondsInSecond + time.tv_nsec - status.st_mtim.tv_nsec;
  return std::max<std::int64_t>(0, age);
}

bool StreamInput::isEmptied() const {
  struct stat status {};
  return ::fstat(file_.number(), &status) == 0 && status.st_size < ::lseek(file_.number(), 0, SEEK_CUR);
}

// What took its name is read from then on.
void StreamInput::lookForAnother(Board& board, std::int64_t now) {
  if (path_ == "-" || now - lookedNs_ < kNanosecondsInSecond) return;
  lookedNs_ = now;
  struct stat status {};
  struct stat named {};
  const bool isThere = ::fstat(file_.number(), &status) == 0 && ::stat(path_.c_str(), &named) == 0;
  if (isThere && !isSame(status, named)) open(board);
}

// One read, since it is told that one does not wait: standard input is others' too, and stays as it is.
bool StreamInput::readStream(Board& board, std::int64_t now) {
  pollfd event{file_.number(), POLLIN, 0};
  if (::poll(&event, 1, 0) <= 0) {
    lookForAnother(board, now);
    return false;
  }
  std::array<char, kReadAtOnce> chunk;
  const ssize_t count = ::read(file_.number(), chunk.data(), chunk.size());
  if (count > 0) {
    give(board, {chunk.data(), static_cast<std::size_t>(count)}, now);
    return false;  // the descriptor tells
  }
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return false;
  board.end();
  if (path_ == "-" || count < 0) {
    over_ = path_ == "-";
    file_ = Descriptor{};
    return false;
  }
  open(board);
  return false;
}

void StreamInput::give(Board& board, std::string_view bytes, std::int64_t arrived) {
  const bool wasDamaged = splitter_.isDamaged();
  splitter_.add(bytes);
  while (const std::optional<std::string_view> line = splitter_.next()) board.line(*line, known_, arrived);
  if (splitter_.isDamaged() && !wasDamaged) tell_(name_ + ": the compressed data is damaged");
}

bool LiveInput::read(Board& board, std::int64_t now) {
  Feed::News news = feed_.take();
  ended_ = news.ended;
  if (!begun_ && !news.reports.empty()) {
    std::string header = recordHeader(news.origin);
    header.pop_back();
    board.begin(news.origin, std::move(header));
    begun_ = true;
  }
  for (Report& report : news.reports) {
    std::string line = recordLine(report);
    line.pop_back();
    board.add(std::move(report), line, now);
  }
  if (ended_) board.end();
  return false;
}

}  // namespace tool
