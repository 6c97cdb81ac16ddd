#include "tools/views/escaping.h"

#include <gtest/gtest.h>

namespace {

struct Row {
  std::string bytes;
  std::string utf8;
};

// Good sequences stay; what is cut, overlong, a surrogate or beyond U+10FFFF is escaped byte by byte.
const Row kRows[] = {
    {"", ""},
    {"kworker/0:1", "kworker/0:1"},
    {"\xc3\xbc\xe2\x82\xac\xf0\x9f\x9a\x97", "\xc3\xbc\xe2\x82\xac\xf0\x9f\x9a\x97"},
    {"a\\b", "a\\x5cb"},
    {"\\x41", "\\x5cx41"},
    {"\xff\x80", "\\xff\\x80"},
    {"\xc3", "\\xc3"},
    {"\xe2\x82", "\\xe2\\x82"},
    {"\xc0\xaf", "\\xc0\\xaf"},
    {"\xe0\x80\xaf", "\\xe0\\x80\\xaf"},
    {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
    {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
    {std::string{"\0", 1}, std::string{"\0", 1}},
};

TEST(Utf8, EscapesWhatIsNoneAndComesBack) {
  for (const Row& row : kRows) {
    EXPECT_EQ(tool::utf8(row.bytes), row.utf8);
    EXPECT_EQ(tool::bytesOf(row.utf8), row.bytes) << row.utf8;
  }
}

TEST(Utf8, LeavesAloneWhatOnlyLooksLikeAnEscape) {
  for (const char* const text : {"\\", "\\x", "\\x4", "\\xg1", "\\n00"}) EXPECT_EQ(tool::bytesOf(text), text);
}

}  // namespace
