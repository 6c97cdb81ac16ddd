// What the sections share: the guard of freshness, and who keeps a row.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tools/sections/fresh.h"
#include "tools/sections/kept.h"

namespace tool {
namespace {

TEST(Freshness, IsOfWhatWasWrittenAfterTheMark) {
  float load = 1;
  std::uint64_t kib = 2;
  std::int64_t khz = 3;
  markStale(load, kib, khz);
  EXPECT_FALSE(isFresh(load) || isFresh(kib) || isFresh(khz));
  load = 0;
  kib = 0;
  khz = -1;
  EXPECT_TRUE(isFresh(load) && isFresh(kib) && isFresh(khz));
}

// Who has a row of a sample of processes, of which those in capitals are large.
std::string rows(Kept& kept, const std::string& processes) {
  std::string taken;
  kept.begin();
  for (const char process : processes) {
    const bool large = process < 'a';
    const char name = large ? static_cast<char>(process - 'A' + 'a') : process;
    if (kept.takes(name, large)) taken += name;
  }
  return taken;
}

TEST(Kept, HasARowAsLongAsItLives) {
  Kept kept{true};
  EXPECT_EQ(rows(kept, "Abc"), "a");
  EXPECT_EQ(rows(kept, "aBc"), "ab");
  EXPECT_EQ(rows(kept, "bc"), "b");
  EXPECT_EQ(rows(kept, "abc"), "b") << "another process of the id is no longer the one that was kept";
}

TEST(Kept, IsNobodyInAReport) {
  Kept kept{false};
  EXPECT_EQ(rows(kept, "Abc"), "a");
  EXPECT_EQ(rows(kept, "aBc"), "b");
}

}  // namespace
}  // namespace tool
