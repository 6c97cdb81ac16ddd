// Streams on the board's files: fopen, setmntent, fdopen, fileno, rewind, fseek, fseeko, fsetpos. The C library's own
// would read the descriptor by calls that are not seen here; these read it through those that are.

#include <fcntl.h>
#include <mntent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "simulator/board/fork_safe_mutex.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/open_files.h"

namespace {

using namespace simulator;

struct StreamTable {
  ForkSafeMutex mutex;
  std::map<const std::FILE*, int> descriptors;
};

StreamTable& streamTable() { return lasting<StreamTable>(); }
[[maybe_unused]] const auto& earlyStreamTable = streamTable();

// -1 where the stream is not the board's.
int descriptorOf(const std::FILE* stream) {
  const std::lock_guard lock{streamTable().mutex};
  const auto found = streamTable().descriptors.find(stream);
  return found != streamTable().descriptors.end() ? found->second : -1;
}

struct BoardStream {
  int descriptor;
  std::FILE* stream = nullptr;
};

ssize_t readStream(void* cookie, char* target, std::size_t bytes) {
  return ::read(static_cast<const BoardStream*>(cookie)->descriptor, target, bytes);
}

ssize_t writeStream(void* cookie, const char* source, std::size_t bytes) {
  return ::write(static_cast<const BoardStream*>(cookie)->descriptor, source, bytes);
}

int seekStream(void* cookie, off64_t* offset, int whence) {
  const off64_t position = ::lseek64(static_cast<const BoardStream*>(cookie)->descriptor, *offset, whence);
  if (position < 0) return -1;
  *offset = position;
  return 0;
}

int closeStream(void* cookie) {
  const std::unique_ptr<BoardStream> owned{static_cast<BoardStream*>(cookie)};
  {
    const std::lock_guard lock{streamTable().mutex};
    streamTable().descriptors.erase(owned->stream);
  }
  return ::close(owned->descriptor);
}

std::FILE* makeStream(int descriptor, const char* mode) {
  auto owned = std::make_unique<BoardStream>(BoardStream{descriptor});
  std::FILE* const stream =
      ::fopencookie(owned.get(), mode, {readStream, writeStream, seekStream, closeStream});
  if (stream == nullptr) return nullptr;
  owned->stream = stream;
  static_cast<void>(owned.release());  // the stream's own now
  const std::lock_guard lock{streamTable().mutex};
  streamTable().descriptors[stream] = descriptor;
  return stream;
}

std::FILE* openStream(const char* path, const char* mode) {
  int flags = std::strchr(mode, '+') != nullptr ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY;
  if (std::strchr(mode, 'e') != nullptr) flags |= O_CLOEXEC;
  int descriptor = -1;
  if (!boardOpens(AT_FDCWD, path, flags, descriptor)) return NEXT(fopen64)(MachinePath{AT_FDCWD, path}, mode);
  if (descriptor < 0) return nullptr;
  std::FILE* const stream = makeStream(descriptor, mode);
  if (stream == nullptr) ::close(descriptor);
  return stream;
}

// A stream that moves within what it has read would not read the node again.
void dropWhatWasRead(std::FILE* stream) {
  if (descriptorOf(stream) >= 0) std::fflush(stream);
}

}  // namespace

STANDS_IN std::FILE* fopen(const char* path, const char* mode) { return openStream(path, mode); }
STANDS_IN std::FILE* fopen64(const char* path, const char* mode) { return openStream(path, mode); }

// The table of what is mounted: the library opens it by a call within itself.
STANDS_IN std::FILE* setmntent(const char* path, const char* mode) noexcept {
  return lookAt(AT_FDCWD, path).mine ? ::fopen(path, mode) : NEXT(setmntent)(path, mode);
}

STANDS_IN std::FILE* fdopen(int descriptor, const char* mode) noexcept {
  const auto file = openFile(descriptor);
  return file != nullptr && file->isText ? makeStream(descriptor, mode) : NEXT(fdopen)(descriptor, mode);
}

STANDS_IN int fileno(std::FILE* stream) noexcept {
  const int mine = descriptorOf(stream);
  return mine >= 0 ? mine : NEXT(fileno)(stream);
}
STANDS_IN int fileno_unlocked(std::FILE* stream) noexcept {
  const int mine = descriptorOf(stream);
  return mine >= 0 ? mine : NEXT(fileno_unlocked)(stream);
}

STANDS_IN void rewind(std::FILE* stream) {
  dropWhatWasRead(stream);
  NEXT(rewind)(stream);
}
STANDS_IN int fseek(std::FILE* stream, long offset, int whence) {
  dropWhatWasRead(stream);
  return NEXT(fseek)(stream, offset, whence);
}
STANDS_IN int fseeko(std::FILE* stream, off_t offset, int whence) {
  dropWhatWasRead(stream);
  return NEXT(fseeko)(stream, offset, whence);
}
STANDS_IN int fseeko64(std::FILE* stream, off64_t offset, int whence) {
  dropWhatWasRead(stream);
  return NEXT(fseeko64)(stream, offset, whence);
}
STANDS_IN int fsetpos(std::FILE* stream, const fpos_t* position) {
  dropWhatWasRead(stream);
  return NEXT(fsetpos)(stream, position);
}
STANDS_IN int fsetpos64(std::FILE* stream, const fpos64_t* position) {
  dropWhatWasRead(stream);
  return NEXT(fsetpos64)(stream, position);
}
