#include "simulator/board/process_times.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "simulator/board/clock.h"

namespace simulator {

namespace {

constexpr char kMark[] = "tessary-board process times 1";
constexpr char kTablePrefix[] = "tessary-board-times-";

// In memory where the machine has a place for that.
std::string tableFolder() {
  constexpr char kMemory[] = "/dev/shm";
  if (::access(kMemory, W_OK | X_OK) == 0) return kMemory;
  const char* const folder = std::getenv("TMPDIR");
  return folder != nullptr && folder[0] == '/' ? folder : "/tmp";
}

bool isLiving(pid_t process) { return ::kill(process, 0) == 0 || errno == EPERM; }

}  // namespace

std::string ProcessTimes::create() {
  removeDeserted();
  std::string path = tableFolder() + "/" + kTablePrefix + "XXXXXX";
  const int descriptor = ::mkostemp(path.data(), O_CLOEXEC);
  if (descriptor < 0) throw std::system_error{errno, std::generic_category(), path};
  Header header{};
  std::memcpy(header.mark, kMark, sizeof kMark);
  header.origin = Clock::bootTime();
  header.date = Clock::date();
  const bool isWritten = ::ftruncate(descriptor, sizeof(ProcessTimes)) == 0 &&
                         ::pwrite(descriptor, &header, sizeof header, 0) == sizeof header;
  const int error = errno;
  ::close(descriptor);
  ProcessTimes* const table = isWritten ? attach(path) : nullptr;
  if (table == nullptr) {
    ::unlink(path.c_str());
    throw std::system_error{error, std::generic_category(), path};
  }
  table->begin(::getpid(), 0);
  return path;
}

int ProcessTimes::open(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return -1;
  struct stat status {};
  Header header{};
  const bool isTable = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
                       status.st_uid == ::geteuid() &&
                       status.st_size == static_cast<off_t>(sizeof(ProcessTimes)) &&
                       ::pread(descriptor, &header, sizeof header, 0) == sizeof header &&
                       std::memcmp(header.mark, kMark, sizeof kMark) == 0;
  if (isTable) return descriptor;
  ::close(descriptor);
  return -1;
}

ProcessTimes* ProcessTimes::attach(const std::string& path) {
  const int descriptor = open(path);
  if (descriptor < 0) return nullptr;
  void* const table =
      ::mmap(nullptr, sizeof(ProcessTimes), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  ::close(descriptor);
  return table != MAP_FAILED ? static_cast<ProcessTimes*>(table) : nullptr;
}

std::vector<pid_t> ProcessTimes::livingProcesses(const std::string& path) {
  std::vector<pid_t> processes;
  const int descriptor = open(path);
  if (descriptor < 0) return processes;
  // Only what has been written to: a mapped hole would take memory as soon as it is looked at.
  constexpr std::size_t kAtOnce = 512;
  std::array<Nanoseconds, kAtOnce> times;
  constexpr auto kFirst = static_cast<off_t>(sizeof(Header));
  for (off_t at = kFirst; (at = ::lseek(descriptor, at, SEEK_DATA)) >= 0;) {
    at = std::max(at - (at - kFirst) % static_cast<off_t>(sizeof(Nanoseconds)), kFirst);
    const ssize_t read = ::pread(descriptor, times.data(), sizeof times, at);
    if (read <= 0) break;
    for (std::size_t i = 0; i < static_cast<std::size_t>(read) / sizeof(Nanoseconds); ++i) {
      const auto process =
          static_cast<pid_t>((at - kFirst) / static_cast<off_t>(sizeof(Nanoseconds))) + static_cast<pid_t>(i);
      if (times[i] != 0 && isLiving(process)) processes.push_back(process);
    }
    at += read;
  }
  ::close(descriptor);
  return processes;
}

void ProcessTimes::leave(const std::string& path) {
  // A child may be about to start, and find its parent's table then.
  siginfo_t child{};
  const bool hasChildren = ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
  if (hasChildren || path.empty()) return;
  const std::vector<pid_t> living = livingProcesses(path);
  if (living == std::vector<pid_t>{::getpid()}) remove(path);
}

void ProcessTimes::remove(const std::string& path) {
  ::unlink(boardBeside(path).c_str());
  ::unlink(path.c_str());
}

void ProcessTimes::removeDeserted() {
  const std::string folder = tableFolder();
  DIR* const entries = ::opendir(folder.c_str());
  if (entries == nullptr) return;
  while (const dirent* const entry = ::readdir(entries)) {
    if (std::strncmp(entry->d_name, kTablePrefix, sizeof kTablePrefix - 1) != 0) continue;
    const std::string path = folder + "/" + entry->d_name;
    const int table = open(path);
    if (table < 0) continue;
    ::close(table);
    if (livingProcesses(path).empty()) remove(path);
  }
  ::closedir(entries);
}

std::optional<Nanoseconds> ProcessTimes::of(pid_t process) const {
  const Nanoseconds kept = entry(process);
  return kept != 0 ? std::optional{kept - 1} : std::nullopt;
}

void ProcessTimes::begin(pid_t process, Nanoseconds time) { entry(process) = time + 1; }

void ProcessTimes::advance(pid_t process, Nanoseconds time) {
  Time& kept = entry(process);
  Nanoseconds earlier = kept;
  while (earlier < time + 1 && !kept.compare_exchange_weak(earlier, time + 1)) {
  }
}

std::optional<Nanoseconds> ProcessTimes::end(pid_t process) {
  const Nanoseconds kept = entry(process).exchange(0);
  return kept != 0 ? std::optional{kept - 1} : std::nullopt;
}

}  // namespace simulator
