#include "tools/recording/json_text.h"

#include <gtest/gtest.h>

namespace {

using tool::JsonText;
using tool::Value;

struct Good {
  std::string text;
  Value value;
};

const Good kGood[] = {
    {"0", std::int64_t{0}},
    {" -17 ", std::int64_t{-17}},
    {"9223372036854775807", std::int64_t{INT64_MAX}},
    {"9223372036854775808", 9223372036854775808.0},
    {"0.0", 0.0},
    {"69.248", 69.248},
    {"-0.163265", -0.163265},
    {"123456789012.345", 123456789012.345},
    {"1234567890123.4567", 1234567890123.4567},
    {"9.4e+21", 9.4e21},
    {"5e-324", 5e-324},
    {"true", true},
    {"false", false},
    {R"("")", std::string{}},
    {R"("surfaceflinger")", std::string{"surfaceflinger"}},
    {R"("a\"\\\/\b\f\n\r\tz")", std::string{"a\"\\/\b\f\n\r\tz"}},
    {R"("\u001b[31m\u00fc\u20AC\ud83d\ude97")", std::string{"\033[31m\xc3\xbc\xe2\x82\xac\xf0\x9f\x9a\x97"}},
};

const std::string kBad[] = {
    "",
    "-",
    "+1",
    ".5",
    "1.",
    "1e",
    "1e+",
    "tru",
    "nul",
    "x",
    R"(")",
    R"("a)",
    R"("\)",
    R"("\x41")",
    R"("\u12)",
    R"("\u12g4")",
    R"("\udc00")",
    R"("\ud83d")",
    R"("\ud83d\u0041")",
    "{",
    "[",
    "[1",
    "[1,",
    "[1,]",
    "{1:2}",
    R"({"a")",
    R"({"a":)",
    R"({"a":1,})",
    R"({"a":1]})",
    "[1}",
    "1 2",
    std::string(1000, '['),
};

TEST(JsonText, GivesScalarsAsTheyWereWritten) {
  for (const Good& row : kGood) {
    JsonText text{row.text};
    Value value;
    EXPECT_TRUE(text.scalar(value) && text.end()) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
  }
}

TEST(JsonText, RefusesWhatIsNone) {
  for (const std::string& row : kBad) {
    JsonText text{row};
    EXPECT_FALSE(text.skip() && text.end()) << row;
  }
}

TEST(JsonText, SkipsWhatIsOfNoInterest) {
  JsonText text{R"( { "a" : [ {} , [ ] , { "b" : [ 1 , "]" , null ] } ] , "c" : 7 } )"};
  std::int64_t found = 0;
  EXPECT_TRUE(text.object([&](std::string_view key) {
    if (key != "c") return text.skip();
    Value value;
    const bool read = text.scalar(value);
    found = std::get<std::int64_t>(value);
    return read;
  }));
  EXPECT_EQ(found, 7);
  EXPECT_TRUE(text.end());
}

TEST(JsonText, StaysFailedWhereItFailed) {
  JsonText text{R"({"a":?,"b":1})"};
  Value value;
  EXPECT_FALSE(text.object([&](std::string_view) { return text.scalar(value); }));
  EXPECT_EQ(text.at(), 5u);
  EXPECT_FALSE(text.scalar(value));
}

}  // namespace
