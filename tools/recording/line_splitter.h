// Bytes as they come, compressed or not, as the lines that they hold. Memory is that of the longest line.
#ifndef TESSARY_TOOLS_RECORDING_LINE_SPLITTER_H
#define TESSARY_TOOLS_RECORDING_LINE_SPLITTER_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/recording/gzip.h"

namespace tool {

class LineSplitter {
 public:
  // A line that is longer has no line ends, and is dropped piece by piece.
  explicit LineSplitter(std::size_t longest) : longest_{longest} {}

  // The first bytes tell whether they are compressed. What comes behind damaged ones is lost.
  void add(std::string_view bytes);

  // The next whole line, valid until the next call.
  std::optional<std::string_view> next();

  // What stands behind the last line end.
  std::string_view rest() const { return std::string_view{text_}.substr(begin_); }

  bool isDamaged() const { return damaged_; }  // compressed bytes that cannot be read

  // As if nothing had come.
  void reset();

 private:
  std::size_t longest_;
  std::unique_ptr<Decompressor> decompressor_;
  bool any_ = false;
  bool damaged_ = false;
  std::string text_;  // what came and was not yet given, from begin_ on
  std::size_t begin_ = 0;
  std::size_t searched_ = 0;  // there is no line end in front of it
};

}  // namespace tool

#endif
