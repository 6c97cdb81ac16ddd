#include "tools/serve/boards/history.h"

#include <algorithm>
#include <utility>

#include "tools/figures/time_units.h"
#include "tools/recording/gzip.h"

namespace tool {

namespace {

constexpr std::size_t kBlock = 65536;  // twice what the compression looks back

std::int64_t intervalOf(const Origin& origin) {
  return static_cast<std::int64_t>(origin.intervalMs) * kNanosecondsInMillisecond;
}

// Behind the first `count` lines.
std::size_t behindLines(std::string_view text, std::uint64_t count) {
  std::size_t at = 0;
  for (; count > 0; --count) at = text.find('\n', at) + 1;
  return at;
}

}  // namespace

std::size_t History::Block::bytes() const {
  return sizeof(Block) + text.capacity() + (hasOwnHeader ? header->line.capacity() : 0);
}

void History::begin(std::shared_ptr<const HistoryHeader> header) {
  header_ = std::move(header);
  isNew_ = true;
}

void History::add(std::string_view line, std::int64_t bootTimeNs, std::int64_t now) {
  const bool goesBack = end_ > 0 && bootTimeNs < lastBootNs_;
  if (blocks_.empty() || isNew_ || goesBack || blocks_.back().compressed ||
      blocks_.back().lineBytes + line.size() > kBlock) {
    if (!blocks_.empty()) close(blocks_.back());
    if (isNew_ || goesBack) open(bootTimeNs, now);
    const bool hasOwnHeader = blocks_.empty() || blocks_.back().header != header_;
    blocks_.push_back({end_, end_, header_, shiftNs_, 0, 0, false, hasOwnHeader, {}});
    bytes_ += blocks_.back().bytes();
  }
  Block& block = blocks_.back();
  bytes_ -= block.bytes();
  block.text.append(line).append("\n");
  block.lineBytes += line.size();
  block.end = ++end_;
  block.lastNs = bootTimeNs + shiftNs_;
  bytes_ += block.bytes();
  lastBootNs_ = bootTimeNs;
  lastNs_ = now;
  isNew_ = false;
  drop();
}

// A board's clock begins anew when it starts again: time goes on by this machine's meanwhile. Where clocks leap
// to and fro until it is no time any more, it begins anew, too.
void History::open(std::int64_t bootTimeNs, std::int64_t now) {
  const std::int64_t gap = std::max(now - lastNs_, intervalOf(header_->origin));
  const std::int64_t next = lastBootNs_ + shiftNs_ + gap;
  if (end_ == 0 || next > kLatestNs) {
    const bool hasStart = header_->origin.bootTimeNs != 0;
    shiftNs_ = -(hasStart ? header_->origin.bootTimeNs : bootTimeNs);
  } else {
    shiftNs_ = next - bootTimeNs;
  }
}

void History::close(Block& block) {
  if (block.compressed) return;
  bytes_ -= block.bytes();
  if (kCanCompress) {
    Compressor compressor;
    std::string text = compressor.add(block.text);
    text += compressor.finish();
    block.text = std::move(text);
    block.compressed = true;
  }
  block.text.shrink_to_fit();
  bytes_ += block.bytes();
}

void History::drop() {
  while (!blocks_.empty() &&
         (bytes_ > limit_.bytes || lastBootNs_ + shiftNs_ - blocks_.front().lastNs > limit_.ageNs)) {
    bytes_ -= blocks_.front().bytes();
    const std::shared_ptr<const HistoryHeader> header = blocks_.front().header;
    blocks_.pop_front();
    if (!blocks_.empty() && blocks_.front().header == header && !blocks_.front().hasOwnHeader) {
      blocks_.front().hasOwnHeader = true;
      bytes_ += header->line.capacity();
    }
  }
}

std::uint64_t History::first() const { return blocks_.empty() ? end_ : blocks_.front().first; }

std::optional<History::Piece> History::from(std::uint64_t number) const {
  const auto found =
      std::find_if(blocks_.begin(), blocks_.end(), [&](const Block& block) { return number < block.end; });
  if (found == blocks_.end()) return std::nullopt;
  Piece piece{std::max(number, found->first), found->end, found->header, found->shiftNs, {}};
  if (found->compressed) {
    Decompressor{}.add(found->text, piece.lines);
  } else {
    piece.lines = found->text;
  }
  piece.lines.erase(0, behindLines(piece.lines, piece.first - found->first));
  return piece;
}

}  // namespace tool
