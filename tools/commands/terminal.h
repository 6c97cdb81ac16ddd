// The terminal as a screen: taken over while the object lives, and as it was on every way out.
#ifndef TESSARY_TOOLS_COMMANDS_TERMINAL_H
#define TESSARY_TOOLS_COMMANDS_TERMINAL_H

#include <termios.h>

#include <cstddef>
#include <string>
#include <vector>

#include "tools/output.h"
#include "tools/views/screen.h"

namespace tool {

enum class Key {
  kNone,
  kEnd,
  kPause,
  kHelp,
  kLonger,
  kShorter,
  kSort,
  kCores,
  kSection,
  kBack,
  kOn,
  kMuchBack,
  kMuchOn,
  kFirst,
  kLast
};

class Terminal {
 public:
  // Keys come from standard input, or, where that is no terminal, from the terminal of the process. Without
  // one there are none.
  explicit Terminal(Sink& out);
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  int keys() const { return keys_; }        // a descriptor that has keys to read; -1: none
  int resizes() const { return resizes_; }  // becomes readable when the size has changed

  Key readKey();
  void forgetResizes();

  // One write: each line, and nothing behind it or below.
  void draw(const std::vector<std::string>& lines);

 private:
  Sink& out_;
  int keys_;
  int resizes_;
  termios before_{};
  bool isRaw_ = false;
};

// The terminal's size, else what COLUMNS and LINES say, else 80 by 24, which a debug bridge leaves unsaid.
ScreenLook lookOf(const Sink& out, bool colour);

}  // namespace tool

#endif
