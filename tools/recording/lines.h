// The lines of a file, a FIFO or standard input, compressed or not, one that is still being written too.
// Memory is that of the longest line.
#ifndef TESSARY_TOOLS_RECORDING_LINES_H
#define TESSARY_TOOLS_RECORDING_LINES_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "tools/recording/descriptor.h"
#include "tools/recording/line_splitter.h"
#include "tools/recording/source.h"

namespace tool {

class Lines {
 public:
  // Following, the end of a regular file is no end: what is appended is waited for, and a file that was
  // emptied is read from its start again.
  Lines(std::string name, Descriptor descriptor, bool follow);

  // The next line, valid until the next call; none at the end or when `stop` became readable. The last line
  // of all may lack its end.
  std::optional<std::string_view> next(int stop = kNoStop);

  const std::string& name() const { return name_; }
  std::size_t number() const { return number_; }            // of the line that next() gave last, from 1
  bool isCut() const { return cut_; }                       // that line had no end
  bool isDamaged() const { return splitter_.isDamaged(); }  // the compressed bytes behind it cannot be read

 private:
  enum Filled { kMore, kEnd, kStopped };

  Filled fill(int stop);
  Filled waitForMore(int stop);
  void startAgain();

  std::string name_;
  Descriptor descriptor_;
  bool follow_;
  LineSplitter splitter_;
  std::size_t number_ = 0;
  bool cut_ = false;
};

}  // namespace tool

#endif
