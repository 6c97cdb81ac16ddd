// A machine as a board's file: the texts of its nodes, frame by frame. The first frame has all of them, each
// further one those that changed.
#ifndef TESSARY_TOOLS_RECORDING_CAPTURE_H
#define TESSARY_TOOLS_RECORDING_CAPTURE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tools/sections/sections.h"

namespace tool {

class Capture {
 public:
  // With `scrub` the processes are called process-931.
  Capture(const Selection& sections, bool scrub);

  // The beginning of the file, its frames, each with what lies before it, and its end.
  std::string begin() const;
  std::string frame(double milliseconds);
  std::string end() const { return "\n]}\n"; }

  std::size_t nodes() const { return last_.size(); }

 private:
  std::map<std::string, std::string> read();  // by path: what a frame says of the node
  bool isClosed(const std::string& path) const;

  struct Source {
    Node node;
    bool isCovered;  // a folder whose nodes are sources, too: its list would say nothing more
  };

  std::vector<Source> sources_;
  bool scrub_;
  bool first_ = true;
  std::map<std::string, std::string> last_;
  std::vector<std::string> closed_;  // folders that could not be listed: nobody knows what is in them
};

// 931 (navigation) S 1 ..: the name is all that stands between the first parenthesis and the last.
std::string withoutName(const std::string& stat);

}  // namespace tool

#endif
