#include "base/scanner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

namespace {

using tessary::Scanner;

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();

// What the conversion stores and what it leaves unread. A target that keeps its 7 was left alone.
template <typename Number>
struct Row {
  std::string text;
  Number stored;
  std::string rest;
};

TEST(Scanner, SignedNumbersSaturateAndStopAtTheOffendingToken) {
  const Row<std::int64_t> rows[] = {
      {"0", 0, ""},
      {" \n\t-12 5", -12, " 5"},
      {"+3x", 3, "x"},
      {"0x10", 0, "x10"},
      {"9223372036854775807", INT64_MAX, ""},
      {"9223372036854775808", INT64_MAX, ""},
      {"-9223372036854775809", INT64_MIN, ""},
      {"99999999999999999999999", INT64_MAX, ""},
      {"00000000000000000000000000012", 12, ""},
      {"", 7, ""},
      {"  ", 7, ""},
      {" cpu0", 7, "cpu0"},
      {"-", 7, "-"},
      {"+-5", 7, "+-5"},
      {std::string("\0"
                   "5",
                   2),
       7,
       std::string("\0"
                   "5",
                   2)},
  };
  for (const auto& row : rows) {
    std::int64_t value = 7;
    Scanner scanner{row.text};
    scanner.row().number(value);
    EXPECT_EQ(value, row.stored) << row.text;
    EXPECT_EQ(scanner.rest(), row.rest) << row.text;
  }
}

TEST(Scanner, UnsignedNumbersTakeNegativesModuloTheirRange) {
  const Row<std::uint64_t> rows[] = {
      {"18446744073709551615", kMax, ""},
      {"18446744073709551616", kMax, ""},
      {"-1", kMax, ""},
      {"-18446744073709551616", kMax, ""},
      {"12,", 12, ","},
      {"kB", 7, "kB"},
  };
  for (const auto& row : rows) {
    std::uint64_t value = 7;
    Scanner scanner{row.text};
    scanner.row().number(value);
    EXPECT_EQ(value, row.stored) << row.text;
    EXPECT_EQ(scanner.rest(), row.rest) << row.text;
  }
  std::uint16_t narrow = 0;
  Scanner{"65544"}.row().number(narrow);
  EXPECT_EQ(narrow, 8);
}

TEST(Scanner, RealsFollowScanf) {
  const double infinity = std::numeric_limits<double>::infinity();
  const Row<double> rows[] = {
      {"10132153 2", 10132153, " 2"},
      {"9007199254740993", 9007199254740992, ""},
      {"18446744073709551615", 18446744073709551616.0, ""},
      {"-1.5e3kB", -1500, "kB"},
      {"+.25", 0.25, ""},
      {"5.", 5, ""},
      {"37 %", 37, " %"},
      {"0x1p4", 16, ""},
      {"0xg", 0, "xg"},
      {"0x-5", 0, "x-5"},
      {"0xinf", 0, "xinf"},
      {"1" + std::string(400, '0') + "e-5", infinity, ""},
      {"0." + std::string(400, '0') + "1e5", 0, ""},
      {"1e400", infinity, ""},
      {"-1e400", -infinity, ""},
      {"1e-400", 0, ""},
      {"0x1p5000", infinity, ""},
      {"0x1p-5000", 0, ""},
      {std::string(400, '9'), infinity, ""},
      {"inf", infinity, ""},
      {"cpu1", 7, "cpu1"},
      {".", 7, "."},
      {"-", 7, "-"},
      {"--1", 7, "--1"},
      {"", 7, ""},
  };
  for (const auto& row : rows) {
    double value = 7;
    Scanner scanner{row.text};
    scanner.row().real(value);
    EXPECT_EQ(value, row.stored) << row.text;
    EXPECT_EQ(scanner.rest(), row.rest) << row.text;
  }
  double value = 7;
  Scanner{"nan"}.row().real(value);
  EXPECT_TRUE(std::isnan(value));
  float single = 7;
  Scanner{"1e39"}.row().real(single);
  EXPECT_EQ(single, std::numeric_limits<float>::infinity());
}

TEST(Scanner, AgreesWithScanfOnWholeRows) {
  const char* const texts[] = {
      "cpu  1 2 3.5 4\n", "cpu0 1 2\ncpu1 3", "cpu0 1 x 3 4", "", "cpu0", "cpu0 -1 +2 3e2 4x",
      "a 1 2 inf 4\n\n",  " \n a\n1\n2\n3",   "b 1 2.5 3 4",
  };
  for (const char* const text : texts) {
    char label[8] = "-";
    char expectedLabel[8] = "-";
    long first = 7, second = 7, expectedFirst = 7, expectedSecond = 7;
    double third = 7, expectedThird = 7;
    const int expected = std::sscanf(text, "%7s %ld %ld %lf %*d\n", expectedLabel, &expectedFirst,
                                     &expectedSecond, &expectedThird);
    Scanner scanner{text};
    scanner.row().word(label).number(first).number(second).real(third).skipNumber().space();
    EXPECT_EQ(scanner.converted(), std::max(expected, 0)) << text;
    EXPECT_STREQ(label, expectedLabel) << text;
    EXPECT_EQ(first, expectedFirst) << text;
    EXPECT_EQ(second, expectedSecond) << text;
    EXPECT_EQ(third, expectedThird) << text;
  }
}

TEST(Scanner, AFailedConversionEndsTheRowAndTheNextBeginsAtItsToken) {
  Scanner scanner{"cpu0 1 2\ncpu1 3 4 5"};
  char label[8] = "";
  int a = 0, b = 0, c = 7;
  EXPECT_EQ(scanner.row().word(label).number(a).number(b).number(c).space().converted(), 3);
  EXPECT_EQ(c, 7);
  EXPECT_FALSE(scanner.matching());
  EXPECT_EQ(scanner.row().word(label).number(a).number(b).number(c).converted(), 4);
  EXPECT_STREQ(label, "cpu1");
  EXPECT_EQ(c, 5);
  EXPECT_TRUE(scanner.atEnd());
  EXPECT_EQ(scanner.row().word(label).converted(), 0);
}

TEST(Scanner, AWordIsCutToItsFieldAndItsTokenSkippedWhole) {
  Scanner scanner{"overlong-word 12"};
  char word[5];
  int value = 0;
  scanner.row().word(word).number(value);
  EXPECT_STREQ(word, "over");
  EXPECT_EQ(value, 12);
}

}  // namespace
