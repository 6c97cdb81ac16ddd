#include "tools/sections/kept_processes.h"

#include <gtest/gtest.h>

namespace {

using Positions = std::vector<std::size_t>;

TEST(KeptProcesses, AreThoseThatUsedMostAndAnything) {
  tool::KeptProcesses kept{2};
  EXPECT_EQ(kept.choose({7, 5, 9, 3}, 3), (Positions{0, 1}));
  EXPECT_EQ(tool::KeptProcesses{2}.choose({7, 5, 9, 3}, 1), (Positions{0}));
}

TEST(KeptProcesses, StayAsLongAsTheyLive) {
  tool::KeptProcesses kept{1};
  kept.choose({7, 5}, 2);
  EXPECT_EQ(kept.choose({5, 9, 7}, 1), (Positions{0, 2})) << "7 used nothing, and was shown before";
  EXPECT_EQ(kept.choose({5, 9}, 1), (Positions{0})) << "7 has ended";
  EXPECT_EQ(kept.choose({9, 7, 5}, 3), (Positions{0, 2})) << "7 is another process now";
}

}  // namespace
