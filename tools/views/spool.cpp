#include "tools/views/spool.h"

#include <cerrno>
#include <cstring>

#include "tools/output.h"

namespace tool {

namespace {

constexpr std::size_t kPiece = 4096;

[[noreturn]] void fail() { throw Failure{std::string{"a temporary file: "} + std::strerror(errno)}; }

}  // namespace

Spool::Id Spool::add() {
  texts_.emplace_back();
  return texts_.size() - 1;
}

std::FILE* Spool::file() {
  if (!file_) file_.reset(std::tmpfile());
  if (!file_) fail();
  return file_.get();
}

void Spool::append(Id id, std::string_view text) {
  Text& target = texts_[id];
  target.tail += text;
  while (target.tail.size() >= kPiece) put(target);
}

void Spool::put(Text& text) {
  if (std::fseek(file(), end_, SEEK_SET) != 0) fail();
  if (std::fwrite(text.tail.data(), 1, kPiece, file()) != kPiece || std::fflush(file()) != 0) fail();
  text.pieces.push_back(end_);
  end_ += static_cast<long>(kPiece);
  text.tail.erase(0, kPiece);
}

void Spool::read(Id id, const std::function<void(std::string_view)>& take) {
  char piece[kPiece];
  for (const long offset : texts_[id].pieces) {
    if (std::fseek(file(), offset, SEEK_SET) != 0 || std::fread(piece, 1, kPiece, file()) != kPiece) fail();
    take({piece, kPiece});
  }
  take(texts_[id].tail);
}

}  // namespace tool
