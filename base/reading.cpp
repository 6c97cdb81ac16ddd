#include "base/reading.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace tessary {

namespace {

constexpr std::size_t kPage = 4096;  // the most that sysfs hands out of an attribute

// The bytes read, 0 at the end of the text or at an error other than an interruption by a signal.
std::size_t readPiece(int descriptor, char* target, std::size_t space) {
  ssize_t count;
  do {
    count = ::read(descriptor, target, space);
  } while (count < 0 && errno == EINTR);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace

Descriptor openForReading(const char* path, int folder) {
  return Descriptor{::openat(folder, path, O_RDONLY | O_CLOEXEC)};
}

Directory openDirectory(const char* path) { return Directory{::opendir(path)}; }

Folder::Folder(const char* path, int parent)
    : folder_{::openat(parent, path, O_PATH | O_DIRECTORY | O_CLOEXEC)}, error_{folder_ ? 0 : errno} {}

CommandStream runCommand(const char* command) { return CommandStream{::popen(command, "re")}; }

std::string_view TextBuffer::readAll(int descriptor) {
  std::size_t length = 0;
  while (length + 1 < space_ || grow()) {
    const std::size_t count = readPiece(descriptor, data_ + length, space_ - 1 - length);
    if (count == 0) break;
    length += count;
  }
  return terminated(length);
}

std::string_view TextBuffer::readLine(int descriptor, std::size_t limit) {
  const std::size_t wanted = std::min(limit, space_ - 1);
  std::size_t length = 0;
  while (length < wanted) {
    const std::size_t count = readPiece(descriptor, data_ + length, wanted - length);
    if (count == 0) break;
    const std::string_view piece{data_ + length, count};
    const std::size_t end = piece.find('\n');
    if (end != std::string_view::npos) return terminated(length + end + 1);
    length += count;
  }
  return terminated(length);
}

std::string_view TextBuffer::readOnce(int descriptor) {
  return terminated(readPiece(descriptor, data_, kPage));
}

bool TextBuffer::grow() {
  if (space_ >= kLongestText) return false;
  std::unique_ptr<char[]> larger{new (std::nothrow) char[space_ * 2]};
  if (!larger) return false;
  std::memcpy(larger.get(), data_, space_);
  heap_ = std::move(larger);
  data_ = heap_.get();
  space_ *= 2;
  return true;
}

std::string_view TextBuffer::terminated(std::size_t length) {
  data_[length] = '\0';
  return {data_, length};
}

}  // namespace tessary
