// What the tests of the boards of files read on them.
#ifndef TESSARY_TESTS_SIMULATOR_BOARD_TEXT_H
#define TESSARY_TESTS_SIMULATOR_BOARD_TEXT_H

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

// The node's text, or the name of the error.
inline std::string textOf(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return ::strerrorname_np(errno);
  std::string text(1 << 16, '\0');
  const ssize_t length = ::read(file, text.data(), text.size());
  const int error = errno;
  ::close(file);
  if (length < 0) return ::strerrorname_np(error);
  text.resize(static_cast<std::size_t>(length));
  return text;
}

// The file of one of the boards in simulator/boards.
std::string boardPath(const std::string& name);

// What is said of a board's text, or nothing.
std::string mistakeIn(const std::string& text);

constexpr useconds_t kMicrosecondsInSecond = 1000000;

#endif
