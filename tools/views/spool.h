// Texts that grow side by side and are wanted one after the other: what does not fit into a few kilobytes a
// text lies in one temporary file.
#ifndef TESSARY_TOOLS_VIEWS_SPOOL_H
#define TESSARY_TOOLS_VIEWS_SPOOL_H

#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

class Spool {
 public:
  using Id = std::size_t;

  // A new text, empty at first.
  Id add();

  // Failure when the temporary file cannot take it.
  void append(Id id, std::string_view text);

  // The pieces of the text, in order: cut anywhere.
  void read(Id id, const std::function<void(std::string_view)>& take);

 private:
  struct Text {
    std::string tail;
    std::vector<long> pieces;  // offsets in the file, of kPiece bytes each
  };
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::FILE* file();
  void put(Text& text);

  std::vector<Text> texts_;
  std::unique_ptr<std::FILE, Close> file_;
  long end_ = 0;
};

}  // namespace tool

#endif
