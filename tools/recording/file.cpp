#include "tools/recording/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/recording/descriptor.h"

namespace tool {

namespace {

bool isRegular(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

// The kernel gives the lock back with the descriptor, however the recording ends. A file system without locks
// is no reason not to record.
void lock(int descriptor, const std::string& name) {
  if (!isRegular(descriptor) || ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
  throw Failure{name + ": another recording is being written to it"};
}

// What is in the file is dropped only once it is ours.
Sink openAlone(const std::string& path, int flags) {
  Descriptor file{::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0666)};
  if (file.number() < 0) throw Failure{path + ": " + std::strerror(errno)};
  lock(file.number(), path);
  if (isRegular(file.number()) && ::ftruncate(file.number(), 0) != 0) {
    throw Failure{path + ": " + std::strerror(errno)};
  }
  return Sink{path, file.release()};
}

std::vector<std::string> neighboursOf(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path{path}.parent_path();
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator at{folder.empty() ? "." : folder, error}, end; !error && at != end;
       at.increment(error)) {
    names.push_back((folder / at->path().filename()).string());
  }
  return names;
}

}  // namespace

RecordingFile::RecordingFile(FilePlan plan, std::int64_t now, Header header, Tell tell)
    : plan_{std::move(plan)}, header_{std::move(header)}, tell_{std::move(tell)} {
  if (plan_.rotation.wanted()) part_ = nextPart(plan_.path, neighboursOf(plan_.path));
  syncedAt_ = now;
  open();
  begin(now);
}

RecordingFile::RecordingFile(FilePlan plan, Sink stream, std::int64_t now, Header header)
    : plan_{std::move(plan)}, header_{std::move(header)}, sink_{std::move(stream)} {
  lock(sink_->descriptor(), sink_->name());
  syncedAt_ = now;
  begin(now);
}

void RecordingFile::add(std::string_view line, std::int64_t now) {
  if (finished_) {
    open();
    begin(now);
  } else if (isRemoved()) {
    tell_(sink_->name() + ": was removed; the recording goes on in a new file");
    open(O_EXCL);  // what took its name is not ours to empty
    begin(now);
  }
  put(line);
  if (now - syncedAt_ >= plan_.syncNs) {
    sync();
    syncedAt_ = now;
  }
  if (isFull(now)) finish();
}

void RecordingFile::finish() {
  if (std::exchange(finished_, true)) return;
  if (compressor_) sink_->write(compressor_->finish());
  sync();
}

void RecordingFile::open(int flags) {
  const std::string name = part_ != 0 ? partName(plan_.path, part_++) : plan_.path;
  if (sink_) before_ += sink_->written();
  sink_.emplace(openAlone(name, flags));
}

void RecordingFile::begin(std::int64_t now) {
  finished_ = false;
  begunAt_ = now;
  if (plan_.compress) compressor_ = std::make_unique<Compressor>();
  put(header_());
}

// One write a line, so that a reader who follows never sees half of one for long.
void RecordingFile::put(std::string_view text) {
  if (compressor_) {
    sink_->write(compressor_->add(text));
  } else {
    sink_->write(text);
  }
}

// A full disk may show only here. What cannot be synchronized, as a pipe, needs no care.
void RecordingFile::sync() {
  if (::fdatasync(sink_->descriptor()) == 0 || errno == EINVAL || errno == EROFS || errno == EINTR) return;
  throw Failure{sink_->name() + ": " + std::strerror(errno)};
}

bool RecordingFile::isRemoved() const {
  struct stat status {};
  return tell_ && ::fstat(sink_->descriptor(), &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_nlink == 0;
}

bool RecordingFile::isFull(std::int64_t now) const {
  const Rotation& limit = plan_.rotation;
  return (limit.bytes != 0 && sink_->written() >= limit.bytes) ||
         (limit.nanoseconds != 0 && now - begunAt_ >= limit.nanoseconds);
}

}  // namespace tool
