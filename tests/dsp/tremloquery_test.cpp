#include "tessary/tremloquery.h"

#include <cstring>

#include "tests/dsp/dsp_board.h"

namespace {

using simulator::RemoteCall;

constexpr std::uint64_t kNone = 0;

class QueryStub : public DspBoard {
 protected:
  void SetUp() override {
    bind();
    ASSERT_EQ(tremloquery_open("file:///x&_dom=adsp", &handle_), 0);
    dsps_.forgetCalls();
  }
  void TearDown() override {
    EXPECT_EQ(tremloquery_close(handle_), 0);
    expectNothingHeld();
  }

  std::uint64_t handle_ = kNone;
};

TEST_F(QueryStub, MarshalsEachMethod) {
  unsigned char record[12] = {};
  std::uint32_t metrics = 99;
  EXPECT_EQ(tremloquery_init(handle_, 0x01020304), 0);
  EXPECT_EQ(tremloquery_get_profdata(handle_, record, 12, &metrics, 1), 0);
  EXPECT_EQ(tremloquery_deinit(handle_, 1), 0);
  EXPECT_EQ(metrics, simulator::DspService::kMetrics);
  EXPECT_EQ(record[8], 7);
  EXPECT_EQ(dsps_.calls(),
            (Lines{"invoke h1 02010000 in 04030201", "invoke h1 03010200 in 0c00000001000000 out 4 12",
                   "invoke h1 04010000 in 01000000"}));
}

TEST_F(QueryStub, PassesStatusesThrough) {
  dsps_.fail(RemoteCall::kOpen, -5);
  dsps_.fail(RemoteCall::kInit, 39);
  dsps_.fail(RemoteCall::kGetProfdata, INT32_MIN);
  dsps_.fail(RemoteCall::kDeinit, INT32_MAX);
  std::uint64_t other = kNone;
  unsigned char record[12];
  std::uint32_t metrics = 99;
  EXPECT_EQ(tremloquery_open("file:///x", &other), -5);
  EXPECT_EQ(tremloquery_init(handle_, 0), 39);
  EXPECT_EQ(tremloquery_get_profdata(handle_, record, 12, &metrics, 0), INT32_MIN);
  EXPECT_EQ(metrics, 99U);
  EXPECT_EQ(tremloquery_deinit(handle_, 0), INT32_MAX);
}

TEST_F(QueryStub, ForwardsAnInvocationUnchanged) {
  char one[] = "\x01\x02";
  remoteBuffer buffers[] = {{one, 2}, {one, 1}};
  EXPECT_NE(tremloquery_skel_handle_invoke(handle_, 0x1f010100, buffers), 0);
  ASSERT_EQ(dsps_.calls().size(), 1U);
  EXPECT_EQ(dsps_.calls()[0].substr(0, 32), "invoke h1 1f010100 in 0102 out 1");
}

TEST_F(QueryStub, BuildsTheUriOfADomainAndAttachesToIt) {
  struct {
    int size;
    int domain;
    const char* output;
    const char* attached;
  } const kRows[] = {
      {64, 0, "file:///base&_dom=adsp", "adsp"},
      {64, 2, "file:///base&_dom=sdsp", "sdsp"},
      {64, 3, "file:///base&_dom=cdsp", "cdsp"},
      {15, 3, "file:///base&_", "cdsp"},
      {9, 3, "file:///", "cdsp"},
      {64, 1, "file:///base", nullptr},
      {9, 4, "file:///", nullptr},
      {0, 0, "untouched", "adsp"},
      {-1, -1, "untouched", nullptr},
  };
  for (const auto& row : kRows) {
    char output[64] = "untouched";
    dsps_.forgetCalls();
    dsps_.fail(RemoteCall::kAttach, 14, 1);
    EXPECT_EQ(get_full_uri_info("file:///base", output, row.size, row.domain), row.attached ? 14 : 12);
    EXPECT_STREQ(output, row.output) << row.size << ", domain " << row.domain;
    EXPECT_EQ(dsps_.calls(), row.attached ? Lines{kAttach + row.attached + " -> none = 14"} : Lines{});
    EXPECT_EQ(output[63], '\0');
  }
}

// The record as the framework sees it: followed by its own offsets, not by the library's types.
TEST(QueryInterface, IsLaidOutForTheFramework) {
  const auto at = [](const void* base, std::size_t offset) {
    return static_cast<const unsigned char*>(base) + offset;
  };
  const auto pointer = [&](const void* base, std::size_t offset) {
    const void* value;
    std::memcpy(&value, at(base, offset), sizeof value);
    return value;
  };
  const auto words = [&](const void* base, std::size_t bytes) {
    Lines::value_type text;
    for (std::size_t i = 0; i < bytes; ++i) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", *at(base, i));
      text += digits;
      if (i % 4 == 3) text += ' ';
    }
    return text;
  };

  const void* const record = &tremloquery_slim;
  EXPECT_EQ(words(record, 4), "05000000 ");
  EXPECT_EQ(words(at(record, 16), 4) + words(at(record, 24), 8), "00000000 00000000 00000000 ");
  EXPECT_EQ(words(pointer(record, 32), 10), "04000b00 09000000 0700");
  EXPECT_EQ(words(pointer(record, 40), 26), "0d000000 1a002500 3b004000 44002e00 25003000 25003500 4400");
  EXPECT_EQ(
      std::string(static_cast<const char*>(pointer(record, 48)), 70),
      std::string("profdata_ptr\0get_profdata\0no_metrics\0npu_flag\0deinit\0close\0open\0uri\0h\0", 70));

  const std::string kNpuFlag = "04000000 00000000 00000000 00000000 00000000 00000000 02040000 ";
  const struct {
    const char* head;
    const char* alignments;
    Lines parameters;
  } kMethods[] = {
      {"01000200 04000000 00000000 02000000 02000000 ",
       "0401",
       {"10000000 00000000 00000000 00000000 00000000 00000000 04080000 ",
        "08000000 00000000 dec0adde 00000000 00000000 00000000 00080300 "}},
      {"10000000 00000000 00000000 01000000 01000000 ",
       "0100",
       {"08000000 00000000 dec0adde 00000000 00000000 00000000 00080000 "}},
      {"00000100 04000000 00000000 01000000 01000000 ", "0400", {kNpuFlag}},
      {"00020100 08000000 04000000 05000000 03000000 ",
       "0404",
       {"", "04000000 00000000 00000000 00000000 01000000 00000000 02040300 ", kNpuFlag}},
  };
  const void* const methods = pointer(record, 8);
  EXPECT_EQ(pointer(methods, 2 * 8), pointer(methods, 4 * 8));
  for (std::size_t number = 0; number < 4; ++number) {
    const void* const method = pointer(methods, number * 8);
    EXPECT_EQ(words(method, 20), kMethods[number].head) << number;
    EXPECT_EQ(words(at(method, 32), 2), kMethods[number].alignments) << number;
    for (std::size_t i = 0; i < kMethods[number].parameters.size(); ++i) {
      const std::string& expected = kMethods[number].parameters[i];
      const void* const parameter = pointer(pointer(method, 24), i * 8);
      if (expected.empty()) continue;
      EXPECT_EQ(words(parameter, 28), expected) << number << ", parameter " << i;
    }
  }

  const void* const sequence = pointer(pointer(pointer(methods, 3 * 8), 24), 0);
  EXPECT_EQ(words(sequence, 4) + words(at(sequence, 16), 12), "10000000 00000000 00000000 09080300 ");
  EXPECT_EQ(words(pointer(sequence, 8), 28),
            "01000000 00000000 00000000 00000000 00000000 00000000 02010000 ");
}

}  // namespace
