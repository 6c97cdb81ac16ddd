#include "simulator/command/unpack.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

#ifdef TESSARY_BOARD_ZLIB
#include <zlib.h>

#include <memory>
#endif

namespace simulator {

namespace {

bool isCompressed(const std::string& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  std::array<char, 2> start{};
  return std::ifstream{file, std::ios::binary}.read(start.data(), start.size()) && start[0] == '\x1f' &&
         start[1] == '\x8b';
}

#ifdef TESSARY_BOARD_ZLIB

// A recording that was not ended is unpacked as far as it goes.
void unpack(const std::string& file, int target) {
  constexpr std::size_t kMost = (std::size_t{64} << 20) + 1;  // more than a board's file may have
  const std::unique_ptr<gzFile_s, int (*)(gzFile)> source{::gzopen(file.c_str(), "rb"), ::gzclose};
  if (source == nullptr) throw std::system_error{errno, std::generic_category(), file};
  std::array<char, 65536> chunk;
  std::size_t total = 0;
  for (int length = 0; total < kMost; total += static_cast<std::size_t>(length)) {
    length = ::gzread(source.get(), chunk.data(), chunk.size());
    if (length <= 0) break;
    if (::write(target, chunk.data(), static_cast<std::size_t>(length)) != length)
      throw std::system_error{errno, std::generic_category(), file};
  }
  int error = Z_OK;
  const char* const message = ::gzerror(source.get(), &error);
  if (error != Z_OK && error != Z_BUF_ERROR) throw std::runtime_error{file + ": " + message};
}

#else

void unpack(const std::string& file, int) {
  throw std::runtime_error{file + ": is compressed, and this was built without zlib: unpack it with gunzip"};
}

#endif

}  // namespace

ReadableBoard::ReadableBoard(const std::string& file) : path_{file} {
  if (!isCompressed(file)) return;
  text_ = Descriptor{::memfd_create("board", MFD_CLOEXEC)};
  if (text_.get() < 0) throw std::system_error{errno, std::generic_category(), file};
  unpack(file, text_.get());
  path_ = "/proc/self/fd/" + std::to_string(text_.get());
}

void ReadableBoard::copyTo(const std::string& file) const {
  const Descriptor target{::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR)};
  struct stat status {};
  off_t at = 0;
  bool isCopied = target.get() >= 0 && ::fstat(text_.get(), &status) == 0;
  while (isCopied && at < status.st_size)
    isCopied = ::sendfile(target.get(), text_.get(), &at, static_cast<std::size_t>(status.st_size - at)) > 0;
  if (!isCopied) throw std::system_error{errno, std::generic_category(), file};
}

}  // namespace simulator
