#include "tools/commands/words.h"

#include <gtest/gtest.h>

namespace tool {
namespace {

TEST(Suggestion, IsTheNearestKnownWord) {
  const std::vector<std::string> known{"report", "record", "doctor"};
  EXPECT_EQ(suggestion("reprot", known), ": did you mean report?");  // swapped
  EXPECT_EQ(suggestion("recor", known), ": did you mean record?");   // too short
  EXPECT_EQ(suggestion("ddoctor", known), ": did you mean doctor?");
  EXPECT_EQ(suggestion("rexxrd", known), ": did you mean record?");
  EXPECT_EQ(suggestion("rexxxd", known), "");
}

TEST(Suggestion, NeedsALetterInCommon) { EXPECT_EQ(suggestion("ab", {"xy"}), ""); }

TEST(Words, AreSplitAndJoined) {
  EXPECT_EQ(split("a,,b", ','), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(joined({"a", "b", "a"}, ", "), "a, b, a");
}

}  // namespace
}  // namespace tool
