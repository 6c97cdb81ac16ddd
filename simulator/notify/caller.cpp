#include "simulator/notify/caller.h"

#include <fcntl.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "simulator/board/descriptor.h"

namespace simulator {

namespace {

constexpr std::size_t kPage = 4096;  // no architecture has smaller ones

std::string smallFile(const std::string& path) {
  const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
  char text[2048];
  const ssize_t bytes = ::read(file.get(), text, sizeof text);
  return {text, bytes > 0 ? static_cast<std::size_t>(bytes) : 0};
}

// Addresses come as numbers, from the call's arguments.
iovec pieceOf(std::uint64_t address, std::size_t bytes) {
  iovec piece{nullptr, bytes};
  std::memcpy(&piece.iov_base, &address, sizeof address);
  return piece;
}

}  // namespace

bool Caller::isWaiting() const { return ::ioctl(listener_, SECCOMP_IOCTL_NOTIF_ID_VALID, &call_) == 0; }

bool Caller::read(std::uint64_t address, void* target, std::size_t bytes) const {
  const iovec here{target, bytes};
  const iovec there = pieceOf(address, bytes);
  return ::process_vm_readv(thread_, &here, 1, &there, 1, 0) == static_cast<ssize_t>(bytes) && isWaiting();
}

bool Caller::write(std::uint64_t address, const void* source, std::size_t bytes) const {
  const iovec here{const_cast<void*>(source), bytes};
  const iovec there = pieceOf(address, bytes);
  return isWaiting() && ::process_vm_writev(thread_, &here, 1, &there, 1, 0) == static_cast<ssize_t>(bytes);
}

std::optional<std::string> Caller::text(std::uint64_t address) const {
  // Most paths end soon, and the page after that of the text may not be there.
  constexpr std::size_t kUsual = 256;
  std::string text;
  while (text.size() < PATH_MAX) {
    char piece[kUsual];
    const std::uint64_t at = address + text.size();
    const std::size_t bytes = std::min(kUsual, kPage - at % kPage);
    if (!read(at, piece, bytes)) return std::nullopt;
    const std::size_t length = ::strnlen(piece, bytes);
    text.append(piece, length);
    if (length < bytes) break;
  }
  return text;
}

std::string Caller::linkPath(const std::string& name) const {
  return "/proc/" + std::to_string(thread_) + "/" + name;
}

std::string Caller::link(const std::string& name) const {
  char target[PATH_MAX];
  const ssize_t length = ::readlink(linkPath(name).c_str(), target, sizeof target);
  return {target, length > 0 && isWaiting() ? static_cast<std::size_t>(length) : 0};
}

pid_t Caller::process() const {
  constexpr char kGroup[] = "\nTgid:";
  const std::string status = smallFile(linkPath("status"));
  const std::size_t at = status.find(kGroup);
  return at != std::string::npos ? std::atoi(status.c_str() + at + sizeof kGroup - 1) : 0;
}

pid_t parentOf(pid_t process) {
  // 931 (a name) S 412 ..; the name may hold anything, parentheses too
  const std::string stat = smallFile("/proc/" + std::to_string(process) + "/stat");
  const std::size_t end = stat.rfind(") ");
  return end != std::string::npos && end + 4 < stat.size() ? std::atoi(stat.c_str() + end + 4) : 0;
}

}  // namespace simulator
