#include "tools/serve/web/streams.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

#include "tools/views/html.h"

namespace tool {

namespace {

constexpr std::int64_t kSilenceNs = 10'000'000'000;  // after which it says that it is still there

// The place of an id: 81234567890-37, the server's start and the number of the next sample.
std::optional<std::uint64_t> placeOf(std::string_view id, const Fleet& fleet) {
  const std::string start = std::to_string(fleet.startNs) + "-";
  if (id.substr(0, start.size()) != start) return std::nullopt;
  std::uint64_t number = 0;
  const char* const end = id.data() + id.size();
  const auto [rest, error] = std::from_chars(id.data() + start.size(), end, number);
  return error == std::errc{} && rest == end ? std::optional{number} : std::nullopt;
}

template <typename Take>
void forEachLine(std::string_view lines, Take take) {
  while (!lines.empty()) {
    const std::size_t end = lines.find('\n');
    take(lines.substr(0, end));
    lines.remove_prefix(end + 1);
  }
}

}  // namespace

Viewer::Viewer(Fleet& fleet, const Board& board, std::string_view place)
    : fleet_{fleet}, board_{board}, at_{board.history().first()} {
  if (const std::optional<std::uint64_t> known = placeOf(place, fleet)) {
    at_ = std::min(*known, board.history().end());
    begun_ = true;
  }
  fleet_.noteChanges(monotonicTime());
  ++fleet_.viewers;
}

Viewer::~Viewer() { --fleet_.viewers; }

BodyStream::Next Viewer::next(std::string& text) {
  if (!begun_) text += "retry: 1000\n\nevent: begin\ndata: {}\n\n";
  begun_ = true;
  if (changes_ != fleet_.changes) sayBoards(text);
  const History& history = board_.history();
  if (at_ < history.first()) {
    fleet_.lostSamples += history.first() - at_;
    at_ = history.first();
  }
  if (const std::optional<History::Piece> piece = history.from(at_)) saySamples(text, *piece);
  const std::int64_t now = monotonicTime();
  if (text.empty() && now - spokeNs_ > kSilenceNs) text = ":\n\n";
  if (text.empty()) return kNothingYet;
  spokeNs_ = now;
  return kText;
}

void Viewer::sayBoards(std::string& text) {
  const std::int64_t now = monotonicTime();
  nlohmann::json boards = nlohmann::json::array();
  for (const auto& board : fleet_.boards) {
    boards.push_back({{"name", board->name()},
                      {"state", stateName(board->state(now))},
                      {"shown", board.get() == &board_}});
  }
  text += "event: boards\ndata: " + boards.dump() + "\n\n";
  changes_ = fleet_.changes;
}

void Viewer::saySamples(std::string& text, const History::Piece& piece) {
  Dataset samples{board_.name()};
  Origin origin = piece.header->origin;
  origin.bootTimeNs = -piece.shiftNs;
  samples.begin(origin);
  forEachLine(piece.lines, [&](std::string_view line) {
    const std::variant<BadLine, Origin, Report> parsed = parseLine(line, fleet_.known);
    if (const auto* const report = std::get_if<Report>(&parsed)) samples.add(*report);
  });
  samples.end();
  at_ = piece.end;
  text += "id: " + std::to_string(fleet_.startNs) + "-" + std::to_string(at_) +
          "\nevent: samples\ndata: " + datasetDocument(samples) + "\n\n";
}

Download::Download(Fleet& fleet, const Board& board)
    : fleet_{fleet}, board_{board}, at_{board.history().first()}, end_{board.history().end()} {
  ++fleet_.downloads;
}

Download::~Download() { --fleet_.downloads; }

// Not what came since, which would have no end on a slow line.
BodyStream::Next Download::next(std::string& text) {
  const std::optional<History::Piece> piece = at_ < end_ ? board_.history().from(at_) : std::nullopt;
  if (!piece || piece->first >= end_) return kEnd;
  if (piece->header != header_) {
    header_ = piece->header;
    if (!header_->line.empty()) text += header_->line + "\n";
  }
  text += piece->lines;
  at_ = piece->end;
  return kText;
}

}  // namespace tool
