#include "tessary/version.h"

#include <gtest/gtest.h>

#include "version/generated.h"

namespace {

TEST(Version, IsReportedInFiveLines) {
  EXPECT_EQ(getLibraryVersion(), "v" TESSARY_VERSION);
  testing::internal::CaptureStdout();
  printLibraryVersion();
  const std::string report = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(testing::internal::RE::FullMatch(
      report, testing::internal::RE{"Tessary Library Version details : \n"
                                    "Tessary Library Version : v" TESSARY_VERSION "\n"
                                    "Build Date : [A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9][0-9][0-9]\n"
                                    "Build Time : [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\n"
                                    "Release Type : EXT\n"}))
      << report;
}

}  // namespace
