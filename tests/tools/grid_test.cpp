#include "tools/recording/grid.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using tool::Grid;

constexpr std::int64_t kStart = 3600'000;  // in milliseconds here: the grid does not know its unit
constexpr std::int64_t kInterval = 1000;

TEST(Grid, TakesWhatReadingTookOffTheNextWait) {
  Grid grid{kStart, kInterval};
  EXPECT_EQ(grid.plan(kStart), kStart + 1000);
  EXPECT_EQ(grid.end(kStart + 1003), 0);
  EXPECT_EQ(grid.plan(kStart + 1030), kStart + 2000);
  EXPECT_EQ(grid.end(kStart + 2001), 0);
}

TEST(Grid, LeavesOutAnIntervalOfWhichTooLittleIsLeft) {
  Grid grid{kStart, kInterval};
  grid.plan(kStart);
  grid.end(kStart + 1000);
  EXPECT_EQ(grid.plan(kStart + 1751), kStart + 3000);
  EXPECT_EQ(grid.end(kStart + 3000), 1);
}

TEST(Grid, CountsWhatALongSampleSlept) {
  Grid grid{kStart, kInterval};
  grid.plan(kStart);
  EXPECT_EQ(grid.end(kStart + 3'600'400), 3599);
  EXPECT_EQ(grid.plan(kStart + 3'600'410), kStart + 3'601'000);
  EXPECT_EQ(grid.end(kStart + 3'601'000), 0);
}

// The lengths of the samples of a recording when reading takes no time.
std::vector<std::int64_t> lengths(std::int64_t duration) {
  Grid grid{kStart, kInterval, duration};
  std::vector<std::int64_t> all;
  std::int64_t now = kStart;
  while (const auto end = grid.plan(now)) {
    all.push_back(*end - now);
    EXPECT_EQ(grid.end(*end), 0);
    now = *end;
  }
  return all;
}

TEST(Grid, EndsWithTheDuration) {
  EXPECT_EQ(lengths(3000), (std::vector<std::int64_t>{1000, 1000, 1000}));
  EXPECT_EQ(lengths(2500), (std::vector<std::int64_t>{1000, 1000, 500}));
  EXPECT_EQ(lengths(2100), (std::vector<std::int64_t>{1000, 1000})) << "a tenth is too short to be measured";
  EXPECT_EQ(lengths(10), (std::vector<std::int64_t>{10}))
      << "but the only sample is as long as it is asked to be";
}

TEST(Grid, IsOverAfterASampleThatCameLate) {
  Grid grid{kStart, kInterval, 2000};
  grid.plan(kStart);
  grid.end(kStart + 1000);
  grid.plan(kStart + 1000);
  grid.end(kStart + 2040);
  EXPECT_FALSE(grid.plan(kStart + 2050));
}

}  // namespace
