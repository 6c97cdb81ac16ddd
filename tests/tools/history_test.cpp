#include "tools/serve/boards/history.h"

#include <gtest/gtest.h>

#include <vector>

#include "tools/figures/time_units.h"

namespace tool {
namespace {

constexpr std::int64_t kHour = 3600 * kNanosecondsInSecond;
constexpr std::size_t kPlenty = std::size_t{1} << 30U;

std::shared_ptr<const HistoryHeader> header(std::int64_t bootSecond) {
  Origin origin;
  origin.bootTimeNs = bootSecond * kNanosecondsInSecond;
  origin.intervalMs = 1000;
  return std::make_shared<HistoryHeader>(HistoryHeader{"header of " + std::to_string(bootSecond), origin});
}

// A sample's line: 4 KiB that say its second.
std::string line(std::int64_t second) {
  std::string text = std::to_string(second) + " ";
  while (text.size() < 4096)
    text += "{\"core\":" + std::to_string(text.size() % 7) + ",\"load_percent\":12.5},";
  return text;
}

// One sample a second, each from when it arrives.
void add(History& history, std::int64_t from, std::int64_t to) {
  for (std::int64_t second = from; second < to; ++second)
    history.add(line(second), second * kNanosecondsInSecond, second * kNanosecondsInSecond);
}

std::string all(const History& history) {
  std::string lines;
  for (auto piece = history.from(history.first()); piece; piece = history.from(piece->end))
    lines += piece->lines;
  return lines;
}

TEST(History, GivesBackLineByLineWhatItCompressed) {
  History history{{kHour, kPlenty}};
  history.begin(header(100));
  add(history, 101, 201);
  std::string expected;
  for (int second = 101; second < 201; ++second) expected += line(second) + "\n";
  EXPECT_EQ(all(history), expected);
#ifdef TESSARY_TOOLS_ZLIB
  EXPECT_LT(history.bytes(), expected.size() / 2);
#endif
  const std::optional<History::Piece> piece = history.from(37);
  ASSERT_TRUE(piece);
  EXPECT_EQ(piece->first, 37U);
  EXPECT_EQ(piece->lines.substr(0, 4), "138 ");
  EXPECT_FALSE(history.from(100));
}

TEST(History, DropsWhatIsOlderThanItsTimeByTheBoardsClock) {
  History history{{60 * kNanosecondsInSecond, kPlenty}};
  history.begin(header(0));
  add(history, 1, 1001);
  const std::uint64_t left = history.end() - history.first();
  EXPECT_GE(left, 60U);
  EXPECT_LE(left, 60U + 16) << "a block is 16 of these lines";
  EXPECT_EQ(history.end(), 1000U);
}

TEST(History, IsNeverLargerThanItsBound) {
  for (const std::size_t bound : {std::size_t{0}, std::size_t{5000}, std::size_t{100000}}) {
    History history{{kHour, bound}};
    history.begin(std::make_shared<HistoryHeader>(HistoryHeader{std::string(20000, '#'), header(0)->origin}));
    for (std::int64_t second = 1; second < 2000; ++second) {
      add(history, second, second + 1);
      ASSERT_LE(history.bytes(), bound) << second;
      ASSERT_EQ(history.end(), static_cast<std::uint64_t>(second));
    }
    EXPECT_GE(history.end() - history.first(), bound / 12000) << "and not much smaller";
  }
  // Recordings that begin again and again have headers, too.
  History flapping{{kHour, 20000}};
  for (std::int64_t second = 1; second < 2000; ++second) {
    flapping.begin(header(second));
    flapping.add("short", second * kNanosecondsInSecond, second * kNanosecondsInSecond);
    ASSERT_LE(flapping.bytes(), 20000U);
  }
}

// The times of the page: of the first sample of each piece.
std::vector<std::int64_t> seconds(const History& history) {
  std::vector<std::int64_t> all;
  for (auto piece = history.from(history.first()); piece; piece = history.from(piece->end)) {
    all.push_back(std::stoll(piece->lines) + piece->shiftNs / kNanosecondsInSecond);
  }
  return all;
}

TEST(History, TimeGoesOnWhereABoardStartsAgain) {
  History history{{kHour, kPlenty}};
  history.begin(header(5000));
  history.add("5001", 5001 * kNanosecondsInSecond, 70 * kNanosecondsInSecond);
  history.begin(header(3));  // it was switched off, and on again half a minute later
  history.add("4", 4 * kNanosecondsInSecond, 100 * kNanosecondsInSecond);
  history.begin(header(900));  // another recording that came all at once
  history.add("901", 901 * kNanosecondsInSecond, 100 * kNanosecondsInSecond);
  history.add("7", 7 * kNanosecondsInSecond,
              101 * kNanosecondsInSecond);  // a clock that goes back without a word
  EXPECT_EQ(seconds(history), (std::vector<std::int64_t>{1, 31, 32, 33}));
  EXPECT_EQ(history.from(0)->header->line, "header of 5000");
  EXPECT_EQ(history.from(1)->header->line, "header of 3");
}

}  // namespace
}  // namespace tool
