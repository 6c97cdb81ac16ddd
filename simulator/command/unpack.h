// A board's file as it is read: a recording may be compressed by gzip.
#ifndef TESSARY_SIMULATOR_COMMAND_UNPACK_H
#define TESSARY_SIMULATOR_COMMAND_UNPACK_H

#include <string>

#include "simulator/board/descriptor.h"

namespace simulator {

class ReadableBoard {
 public:
  // Throws std::runtime_error when it is compressed and cannot be unpacked.
  explicit ReadableBoard(const std::string& file);

  // Of the file, or of its text in this process's memory.
  const std::string& path() const { return path_; }
  bool isUnpacked() const { return text_.get() >= 0; }

  void copyTo(const std::string& file) const;  // of the text, which other processes are to read, too

 private:
  Descriptor text_;
  std::string path_;
};

}  // namespace simulator

#endif
