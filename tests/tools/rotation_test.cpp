#include "tools/recording/rotation.h"

#include <gtest/gtest.h>

namespace {

using tool::nextPart;
using tool::parseRotation;
using tool::partName;

TEST(Rotation, IsASizeOrATime) {
  EXPECT_EQ(parseRotation("64M")->bytes, 64u << 20);
  EXPECT_EQ(parseRotation("1K")->bytes, 1024u);
  EXPECT_EQ(parseRotation("10min")->nanoseconds, 600'000'000'000);
  EXPECT_EQ(parseRotation("100000d")->nanoseconds, 86'400'000'000'000 * 100'000);
}

TEST(Rotation, IsRefusedWhereItCouldMeanEither) {
  for (const char* const text :
       {"", "64", "64m", "M", "0M", "-1M", "1.5h", "64MB", "100001d", "99999999999999999999G"}) {
    EXPECT_FALSE(parseRotation(text)) << text;
  }
}

TEST(Rotation, NumbersPartsBeforeTheirExtensions) {
  EXPECT_EQ(partName("drive.jsonl", 1), "drive-0001.jsonl");
  EXPECT_EQ(partName("/data/v1.2/my.drive.jsonl.gz", 12345), "/data/v1.2/my.drive-12345.jsonl.gz");
  EXPECT_EQ(partName("/data/v1.2/drive", 3), "/data/v1.2/drive-0003");
  EXPECT_EQ(partName("drive.gz", 3), "drive-0003.gz");
  EXPECT_EQ(partName(".gz", 3), ".gz-0003");
}

TEST(Rotation, GoesOnBehindTheHighestPartThatIsThere) {
  EXPECT_EQ(nextPart("drive.jsonl", {}), 1);
  EXPECT_EQ(nextPart("drive.jsonl", {"drive-0002.jsonl", "drive-0010.jsonl", "drive-0003.jsonl"}), 11);
  EXPECT_EQ(nextPart("drive.jsonl", {"drive.jsonl", "drive-0009.jsonl.gz", "drive-9.jsonl",
                                     "driver-0004.jsonl", "drive--004.jsonl", "drive-0005.jsonl.old", "d"}),
            1);
}

}  // namespace
