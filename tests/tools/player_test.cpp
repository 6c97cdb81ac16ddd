#include "tools/recording/player.h"

#include <gtest/gtest.h>

#include "tools/figures/time_units.h"

namespace tool {
namespace {

// A recording of so many seconds, a report each.
class Seconds : public ReportSource {
 public:
  explicit Seconds(int count) : count_{count} {}
  const Origin& origin() const override { return origin_; }
  std::optional<Report> next(int) override {
    if (given_ == count_) return std::nullopt;
    Report report;
    report.bootTimeNs = ++given_ * kNanosecondsInSecond;
    return report;
  }

 private:
  Origin origin_;
  int count_;
  int given_ = 0;
};

TEST(Player, GoesToAndFroAlsoBeyondWhatItKeeps) {
  int opened = 0;
  Player player{[&opened] {
    ++opened;
    return std::make_unique<Seconds>(2000);
  }};
  const auto second = [&player] { return player.report().bootTimeNs / kNanosecondsInSecond; };
  EXPECT_EQ(second(), 1);
  EXPECT_TRUE(player.to(1500));
  EXPECT_EQ(second(), 1501);
  EXPECT_TRUE(player.to(1400));
  EXPECT_EQ(second(), 1401);
  EXPECT_EQ(opened, 1);
  EXPECT_TRUE(player.to(3));  // no longer at hand
  EXPECT_EQ(second(), 4);
  EXPECT_EQ(opened, 2);
  player.toTime(90 * kNanosecondsInSecond);
  EXPECT_EQ(second(), 90);
  EXPECT_TRUE(player.to(5000));
  EXPECT_EQ(second(), 2000);
  EXPECT_FALSE(player.to(player.number() + 1));
  player.toEnd();
  EXPECT_EQ(second(), 2000);
}

}  // namespace
}  // namespace tool
