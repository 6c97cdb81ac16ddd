// A JSON text, taken from front to back: each call reads what stands next, and nothing is built that is not
// asked for. A general parser takes four times as long, and a recording has thousands of long lines.
//
//   JsonText text{R"({"boot_time_ns":5,"cpu":{..}})"};
//   text.object([&](std::string_view key) { return key == "interval_ms" ? text.scalar(ms) : text.skip(); });
//
// Every call tells whether the text was as it should be. Once it was not, no call succeeds.
#ifndef TESSARY_TOOLS_RECORDING_JSON_TEXT_H
#define TESSARY_TOOLS_RECORDING_JSON_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tools/figures/value.h"

namespace tool {

class JsonText {
 public:
  explicit JsonText(std::string_view text) : text_{text} {}

  // The character that the next value begins with: one of {["-0..9tfn, or 0 at the end of the text.
  char next();

  // Calls member(key) at the value of each member, which has to read it. A key is valid until the next call.
  template <typename Member>
  bool object(Member member) {
    if (!take('{')) return false;
    if (next() == '}') return take('}');
    do {
      std::string_view key;
      if (!string(key) || !take(':') || !member(key)) return false;
    } while (next() == ',' && take(','));
    return take('}');
  }

  // Calls item() at each item, which has to read it.
  template <typename Item>
  bool array(Item item) {
    if (!take('[')) return false;
    if (next() == ']') return take(']');
    do {
      if (!item()) return false;
    } while (next() == ',' && take(','));
    return take(']');
  }

  // Valid until the next call.
  bool string(std::string_view& value);

  // A number, a string, true or false; null is none.
  bool scalar(Value& value);

  // Any value.
  bool skip();

  // Nothing is left but white space.
  bool end() { return next() == '\0' && at_ == text_.size(); }

  std::size_t at() const { return at_; }

 private:
  bool take(char expected);
  bool word(std::string_view expected);
  bool number(Value& value);
  bool escape();
  bool unicode();
  bool fourDigits(std::uint32_t& value);
  bool fail() {
    failed_ = true;
    return false;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  bool failed_ = false;
  int depth_ = 0;        // of what is skipped
  std::string decoded_;  // of a string with escapes
};

}  // namespace tool

#endif
