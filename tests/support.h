// What the tests of several monitors share: the output of the process, the platform log, and wait hooks.
#ifndef TESSARY_TESTS_SUPPORT_H
#define TESSARY_TESTS_SUPPORT_H

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "simulator/board/board.h"

using Lines = std::vector<std::string>;

// -- output

// What is written to a stream of the process, standard output or standard error, while the object lives. What
// nobody has asked for goes on to the stream in the end: a failed check may have said why.
class Captured {
 public:
  explicit Captured(int stream = STDOUT_FILENO)
      : stream_{stream},
        original_{(flush(), ::fcntl(stream, F_DUPFD_CLOEXEC, 0))},
        file_{::memfd_create("captured", MFD_CLOEXEC)} {
    ::dup2(file_, stream_);
  }
  ~Captured() {
    const std::string rest = text();
    ::dup2(original_, stream_);
    ::close(original_);
    ::close(file_);
    std::fputs(rest.c_str(), stream_ == STDERR_FILENO ? stderr : stdout);
  }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  // Since the last call of either.
  std::string text() {
    flush();
    return flushedText();
  }

  // That has left the process: what still stands in a buffer is not there.
  std::string flushedText() {
    std::string all;
    char piece[4096];
    ssize_t count;
    while ((count = ::pread(file_, piece, sizeof piece, seen_)) > 0) {
      all.append(piece, static_cast<std::size_t>(count));
      seen_ += count;
    }
    return all;
  }

 private:
  static void flush() {
    std::cout.flush();
    std::fflush(nullptr);
  }

  int stream_;
  int original_;
  int file_;
  off_t seen_ = 0;
};

inline std::string outputOf(const std::function<void()>& action, int stream = STDOUT_FILENO) {
  Captured output{stream};
  action();
  return output.text();
}

// -- what the process holds

inline int openDescriptors() {
  int count = 0;
  for (int descriptor = 0; descriptor < 4096; ++descriptor) count += ::fcntl(descriptor, F_GETFD) >= 0;
  return count;
}

// -- the platform log

constexpr int kVerbose = 2;
constexpr int kError = 6;

// The last line, of a priority or of all; one without a text when there is none.
inline simulator::LogLine lastLine(const simulator::Board& board) {
  const std::vector<simulator::LogLine> lines = board.log();
  return lines.empty() ? simulator::LogLine{} : lines.back();
}
inline std::string lastLogged(const simulator::Board& board, int priority) {
  const Lines lines = board.logged(priority);
  return lines.empty() ? std::string{} : lines.back();
}

// -- wait hooks

constexpr int kProceed = 110;  // 'n'

// The caller's number that the last hook was given.
inline int hookCaller = 0;

template <int kAnswer>
int hook(int caller) {
  hookCaller = caller;
  return kAnswer;
}

#endif
