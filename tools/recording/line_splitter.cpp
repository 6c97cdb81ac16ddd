#include "tools/recording/line_splitter.h"

namespace tool {

void LineSplitter::add(std::string_view bytes) {
  if (damaged_) return;
  if (!any_ && Decompressor::isCompressed(bytes)) decompressor_ = std::make_unique<Decompressor>();
  any_ = true;
  text_.erase(0, begin_);
  searched_ -= begin_;
  begin_ = 0;
  if (decompressor_) {
    damaged_ = !decompressor_->add(bytes, text_);
  } else {
    text_ += bytes;
  }
}

std::optional<std::string_view> LineSplitter::next() {
  const std::size_t end = text_.find('\n', searched_);
  if (end != std::string::npos) {
    const std::string_view line{text_.data() + begin_, end - begin_};
    begin_ = searched_ = end + 1;
    return line;
  }
  searched_ = text_.size();
  if (text_.size() - begin_ > longest_) begin_ = text_.size();
  return std::nullopt;
}

void LineSplitter::reset() { *this = LineSplitter{longest_}; }

}  // namespace tool
