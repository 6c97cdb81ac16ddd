// Opening and reading the kernel's text nodes, and running shell commands. Everything is opened
// close-on-exec; a failed opening leaves its reason in errno.
#ifndef TESSARY_BASE_READING_H
#define TESSARY_BASE_READING_H

#include <fcntl.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string_view>

#include "base/handle.h"

namespace tessary {

// A relative `path` starts at the folder of the descriptor `folder`.
Descriptor openForReading(const char* path, int folder = AT_FDCWD);

// A folder to list; ::dirfd of it serves as the folder of openForReading.
Directory openDirectory(const char* path);

// A folder whose files are opened one after the other, at the cost of one walk of its own path. When the
// folder cannot be opened, neither can its files: each fails with the folder's errno.
class Folder {
 public:
  explicit Folder(const char* path, int parent = AT_FDCWD);

  Descriptor open(const char* file) const {
    if (folder_) return openForReading(file, folder_.get());
    errno = error_;
    return Descriptor{};
  }
  int descriptor() const { return folder_.get(); }

 private:
  Descriptor folder_;
  int error_;
};

// The standard output of `command`, run by the shell.
CommandStream runCommand(const char* command);

// Holds the text of one node at a time; the next reading overwrites it. The text is followed by a NUL that is
// not part of it. A failing `read` ends the text where it is, as it ends a stdio stream. Texts shorter than
// the inline space cost no allocation; longer ones move to the heap, and one beyond kLongestText is cut
// there, so that a node without an end cannot exhaust the memory.
class TextBuffer {
 public:
  static constexpr std::size_t kInlineSpace = std::size_t{16} << 10;
  static constexpr std::size_t kLongestText = std::size_t{64} << 20;

  TextBuffer() = default;
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  // Reads until `read` returns 0: a /proc text arrives in pieces, however large the buffer is.
  std::string_view readAll(int descriptor);

  // Reads until a line ends, `limit` bytes are there or the text ends, whichever comes first, and returns
  // what fgets would, the end of line included.
  std::string_view readLine(int descriptor, std::size_t limit);

  // One `read`, of at most a page: a sysfs attribute, which arrives whole, or what a pipe holds by now.
  std::string_view readOnce(int descriptor);

 private:
  bool grow();
  std::string_view terminated(std::size_t length);

  char inline_[kInlineSpace];
  std::unique_ptr<char[]> heap_;
  char* data_ = inline_;
  std::size_t space_ = kInlineSpace;
};

}  // namespace tessary

#endif
