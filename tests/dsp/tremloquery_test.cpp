#include "tessary/tremloquery.h"

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

}  // namespace
