// The thread of a program that waits in a system call: its memory and what its descriptors stand for. When it
// has been killed meanwhile, its id may be another's: nothing is taken from it then, nor written.
#ifndef TESSARY_SIMULATOR_NOTIFY_CALLER_H
#define TESSARY_SIMULATOR_NOTIFY_CALLER_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace simulator {

class Caller {
 public:
  // call: its number on the descriptor of the filter.
  Caller(pid_t thread, int listener, std::uint64_t call)
      : thread_{thread}, listener_{listener}, call_{call} {}

  // False: the address is not the program's, or it is gone.
  bool read(std::uint64_t address, void* target, std::size_t bytes) const;
  bool write(std::uint64_t address, const void* source, std::size_t bytes) const;

  // A text of at most PATH_MAX with its end. Read once: what another thread may write there later is never
  // looked at.
  std::optional<std::string> text(std::uint64_t address) const;

  // What a link in its folder under /proc stands for ("cwd", "fd/3"); empty when there is none.
  std::string link(const std::string& name) const;
  std::string linkPath(const std::string& name) const;

  pid_t thread() const { return thread_; }
  pid_t process() const;  // 0 when it has ended

 private:
  bool isWaiting() const;

  pid_t thread_;
  int listener_;
  std::uint64_t call_;
};

// The parent of a process or of a thread's process; 0 when there is none.
pid_t parentOf(pid_t process);

}  // namespace simulator

#endif
