#include "tools/views/text.h"

#include <gtest/gtest.h>

#include "tests/tools/sample_tables.h"
#include "tools/views/escaping.h"

namespace tool {
namespace {

const Value kClock = std::int64_t{1200000};
const Value kDriver = std::string{"pwm"};

SectionSample twoFans() {
  return cooling({50.0, kClock}, {{"front", kClock, kDriver}, {"b", kClock, kDriver}});
}

TEST(Text, LaysOutFieldsAndTables) {
  EXPECT_EQ(renderText(twoFans(), {}),
            "Cooling\n"
            "  load   50.0 %\n"
            "  limit  1.1 GiB\n"
            "  fan       clock  driver\n"
            "  front  1200 MHz  pwm\n"
            "  b      1200 MHz  pwm\n");
}

TEST(Text, LeavesOutTheLeastImportantColumnsToFit) {
  // 2 + 5, 2 + 8, 2 + 6 characters
  EXPECT_EQ(renderText(twoFans(), {false, 25}), renderText(twoFans(), {}));
  EXPECT_EQ(renderText(twoFans(), {false, 24}),
            "Cooling\n"
            "  load   50.0 %\n"
            "  limit  1.1 GiB\n"
            "  fan       clock\n"
            "  front  1200 MHz\n"
            "  b      1200 MHz\n"
            "  too wide for the terminal: driver (--wide shows all)\n");
  const std::string narrow = renderText(twoFans(), {false, 3});
  EXPECT_NE(narrow.find("\n  front\n"), std::string::npos);
  EXPECT_NE(narrow.find("too wide for the terminal: clock, driver ("), std::string::npos);
}

TEST(Text, SaysWhatIsAbsentAndWhatIsPartial) {
  const Absent gone{"gone\n"};
  SectionSample sample =
      cooling({50.0, gone}, {{"a", gone, kDriver}, {"b", kClock, kDriver}, {"c\n", gone, kDriver}});
  sample.tables[0].absent = "1 of 3";
  sample.tables[1].absent = "1 of 3";
  EXPECT_EQ(renderText(sample, {}),
            "Cooling\n"
            "  load   50.0 %\n"
            "  fan       clock  driver\n"
            "  a             -  pwm\n"
            "  b      1200 MHz  pwm\n"
            "  c\\x0a         -  pwm\n"
            "  absent: limit, clock (fan a, c\\x0a): gone\\x0a\n"
            "  absent: part of the sums, part of fans: 1 of 3\n");
}

TEST(Text, EndsEachColourThatItBegins) {
  EXPECT_EQ(renderText(cooling({50.0, Absent{"gone"}}, {}), {true}),
            "\033[1mCooling\033[0m\n"
            "  load   50.0 %\n"
            "  \033[2mabsent: limit: gone\033[0m\n");
}

TEST(Ranges, JoinThreeAndMoreInARow) {
  const std::vector<std::string> names{"0", "1", "2", "3", "4", "5", "6"};
  EXPECT_EQ(ranges({0, 1, 2, 5}, names), "0 to 2, 5");
  EXPECT_EQ(ranges({0, 1, 3, 4, 5, 6}, names), "0, 1, 3 to 6");
  EXPECT_EQ(ranges({6}, names), "6");
}

TEST(Escaping, LeavesATerminalPrintableAsciiAlone) {
  EXPECT_EQ(printable("a b~\x7f\x1b[31m\\\n\xc3\xbc"), "a b~\\x7f\\x1b[31m\\x5c\\x0a\\xc3\\xbc");
}

TEST(Escaping, KeepsValidUtf8AndNoOther) {
  struct Row {
    const char* text;
    const char* expected;
  };
  constexpr Row kRows[] = {
      {"plain", "plain"},
      {"\\", "\\x5c"},
      {"\xc3\xbc\xe2\x82\xac\xf0\x9f\x9a\x97", "\xc3\xbc\xe2\x82\xac\xf0\x9f\x9a\x97"},
      {"\xc3", "\\xc3"},                             // cut
      {"\xbc", "\\xbc"},                             // begins in the middle
      {"\xc0\xaf", "\\xc0\\xaf"},                    // overlong, of two
      {"\xe0\x9f\xbf", "\\xe0\\x9f\\xbf"},           // of three
      {"\xf0\x8f\xbf\xbf", "\\xf0\\x8f\\xbf\\xbf"},  // of four
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // a surrogate
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // beyond the last character
      {"\xf5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
  };
  for (const Row& row : kRows) EXPECT_EQ(utf8(row.text), row.expected);
}

}  // namespace
}  // namespace tool
