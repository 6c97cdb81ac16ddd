#include "base/path.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

TEST(Path, IsCutToItsBufferAndTerminated) {
  tessary::Path<12> path;
  EXPECT_STREQ(path.join("cpu", 7, "/x"), "cpu7/x");
  EXPECT_STREQ(path.join(INT_MIN), "-2147483648");
  EXPECT_STREQ(path.join("a", INT_MIN, "/x"), "a-214748364");
  EXPECT_STREQ(path.join(), "");
}

}  // namespace
