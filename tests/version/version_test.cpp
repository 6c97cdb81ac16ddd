#include "tessary/version.h"

#include <gtest/gtest.h>

#include <regex>

#include "tests/support.h"
#include "version/generated.h"

namespace {

TEST(Version, IsReportedInFiveLines) {
  EXPECT_EQ(getLibraryVersion(), "v" TESSARY_VERSION);
  const std::string report = outputOf(printLibraryVersion);
  EXPECT_TRUE(std::regex_match(report, std::regex{"Tessary Library Version details : \n"
                                                  "Tessary Library Version : v" TESSARY_VERSION "\n"
                                                  "Build Date : [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4}\n"
                                                  "Build Time : [0-9]{2}:[0-9]{2}:[0-9]{2}\n"
                                                  "Release Type : EXT\n"}))
      << report;
}

}  // namespace
