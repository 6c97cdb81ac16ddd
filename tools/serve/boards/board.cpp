#include "tools/serve/boards/board.h"

#include <ctime>
#include <utility>

#include "tools/figures/time_units.h"
#include "tools/views/json.h"
#include "tools/views/words.h"

namespace tool {

namespace {

constexpr double kUsualIntervalMs = 1000;

constexpr double kLongestIntervalMs =
    1e9;  // eleven days from one sample to the next: no machine says that, either

bool isTime(std::int64_t bootTimeNs, double intervalMs) {
  return bootTimeNs >= 0 && bootTimeNs <= kLatestNs && intervalMs >= 0 && intervalMs <= kLongestIntervalMs;
}

}  // namespace

const char* stateName(BoardState state) {
  switch (state) {
    case BoardState::kWaiting:
      return "waiting";
    case BoardState::kUp:
      return "up";
    case BoardState::kSilent:
      return "silent";
    case BoardState::kEnded:
      return "ended";
  }
  return "";
}

std::int64_t monotonicTime() {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * kNanosecondsInSecond + time.tv_nsec;
}

Board::Board(const std::string& name, bool isNameFixed, HistoryLimit limit, Tell tell)
    : name_{clean(name)}, isNameFixed_{isNameFixed}, tell_{std::move(tell)}, history_{limit} {}

void Board::line(std::string_view text, const Schemas& known, std::int64_t now) {
  std::variant<BadLine, Origin, Report> parsed = parseLine(text, known);
  if (auto* const report = std::get_if<Report>(&parsed)) {
    if (!isTime(report->bootTimeNs, report->intervalMs)) return skip("its time is none");
    add(std::move(*report), text, now);
  } else if (auto* const origin = std::get_if<Origin>(&parsed)) {
    if (!isTime(origin->bootTimeNs, origin->intervalMs)) return skip("its time is none");
    begin(*origin, std::string{text});
    warnOfVersion();
  } else {
    skip(std::get<BadLine>(parsed).reason);
  }
}

void Board::skip(const std::string& reason) {
  ++badLines_;
  if (!std::exchange(told_, true)) tell_(name_ + ": skipped a line: " + reason);
}

void Board::begin(const Origin& origin, std::string header) {
  origin_ = origin;
  history_.begin(std::make_shared<HistoryHeader>(HistoryHeader{std::move(header), origin}));
  const std::string board = clean(boardOf(origin));
  if (!isNameFixed_ && !board.empty()) name_ = board;
}

void Board::add(Report report, std::string_view line, std::int64_t now) {
  const double said = origin_.intervalMs > 0 ? origin_.intervalMs : report.intervalMs;
  intervalNs_ = static_cast<std::int64_t>((said > 0 ? said : kUsualIntervalMs) * kNanosecondsInMillisecond);
  history_.add(line, report.bootTimeNs, now);
  last_ = std::move(report);
  lastNs_ = now;
  ++samples_;
  ended_ = false;
}

BoardState Board::state(std::int64_t now) const {
  if (!last_) return ended_ ? BoardState::kEnded : BoardState::kWaiting;
  if (ended_) return BoardState::kEnded;
  return now > silentAt() ? BoardState::kSilent : BoardState::kUp;
}

void Board::warnOfVersion() {
  if (origin_.version <= kJsonVersion) return;
  tell_(name_ + ": of version " + std::to_string(origin_.version) + ", which is newer than this tool's " +
        std::to_string(kJsonVersion));
}

}  // namespace tool
