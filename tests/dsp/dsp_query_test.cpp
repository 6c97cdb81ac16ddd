#include "tessary/dsp_query.h"

#include "tessary/remote_call.h"
#include "tests/dsp/dsp_board.h"

namespace {

using simulator::RemoteCall;

class DspQuery : public DspBoard {
 protected:
  void SetUp() override { bind(); }
  void TearDown() override { expectNothingHeld(); }
};

TEST_F(DspQuery, IsSetUpReadAndEnded) {
  std::uint32_t metrics = 0;
  EXPECT_EQ(tremlo_query_setup("NpU"), 0);
  const dspProfile* const profile = tremlo_query_getprof("npu", &metrics);
  ASSERT_NE(profile, nullptr);
  EXPECT_EQ(profile->clockFrequency, 1100U);
  EXPECT_EQ(metrics, simulator::DspService::kMetrics);
  EXPECT_EQ(tremlo_query_exit("NPU"), 0);
  EXPECT_EQ(dsps_.calls(),
            (Lines{kAttach + "cdsp -> h1", kOpen + "cdsp -> h2", "invoke h2 02010000 in 01000000",
                   "alloc -1 08000001 12 -> m1", "invoke h2 03010200 in 0c00000001000000 out 4 12",
                   "invoke h2 04010000 in 01000000", "free m1", "close h2"}));
}

TEST_F(DspQuery, HasASlotForEachName) {
  std::uint32_t metrics = 0;
  const char* const kNames[] = {"adsp", "sdsp", "cdsp", "npu"};
  for (const char* const name : kNames) EXPECT_EQ(tremlo_query_setup(name), 0);
  EXPECT_EQ(dsps_.openHandles(), 4U);
  EXPECT_EQ(dsps_.liveBuffers(), 4U);
  dsps_.forgetCalls();
  for (const char* const name : kNames) {
    EXPECT_NE(tremlo_query_getprof(name, &metrics), nullptr);
    EXPECT_EQ(tremlo_query_exit(name), 0);
  }
  EXPECT_EQ(dsps_.calls()[4 + 2], "free m2");
  EXPECT_EQ(dsps_.calls()[4 + 3], "close h4");
}

TEST_F(DspQuery, HandsOutAZeroedRecordBeforeTheDspFillsIt) {
  std::uint32_t metrics = 99;
  EXPECT_EQ(tremlo_query_setup("adsp"), 0);
  // An invocation that does not happen leaves the record as the setup made it.
  const auto invoke = std::exchange(local_remote_handle64_invoke, [](auto, auto, auto) { return 0; });
  const dspProfile* const profile = tremlo_query_getprof("adsp", &metrics);
  local_remote_handle64_invoke = invoke;
  ASSERT_NE(profile, nullptr);
  EXPECT_EQ(profile->load, 0);
  EXPECT_EQ(profile->unused, 0U);
  EXPECT_EQ(metrics, 0U);
  EXPECT_EQ(tremlo_query_exit("adsp"), 0);
}

TEST_F(DspQuery, RefusesUnknownNamesAndNullPointers) {
  std::uint32_t metrics = 0;
  EXPECT_EQ(outputOf([&] {
              EXPECT_EQ(tremlo_query_setup("adsp2"), 1);
              EXPECT_EQ(tremlo_query_setup(nullptr), 1);
              EXPECT_EQ(tremlo_query_getprof("", &metrics), nullptr);
              EXPECT_EQ(tremlo_query_getprof("gpu", nullptr), nullptr);
              EXPECT_EQ(tremlo_query_exit("gpu"), 1);
            }),
            "Invalid m9 processor name: adsp2\nInvalid m9 processor name: (null)\n"
            "Invalid m9 processor name: \nInvalid input: null pointer for no_metrics\n"
            "Invalid m9 processor name: gpu\n");
  EXPECT_TRUE(dsps_.calls().empty());
}

TEST_F(DspQuery, HoldsNothingAfterAFailedSetup) {
  dsps_.fail(RemoteCall::kInit, 39, 1);
  EXPECT_EQ(outputOf([] { EXPECT_EQ(tremlo_query_setup("adsp"), 39); }),
            "tremloquery_init failed, return value: 39\n");
  EXPECT_EQ(dsps_.calls().back(), "close h2");

  dsps_.fail(RemoteCall::kAllocate, 1, 1);
  EXPECT_EQ(outputOf([] { EXPECT_EQ(tremlo_query_setup("adsp"), 2); }), "local_rpcmem_alloc failed\n");
  EXPECT_EQ(dsps_.calls().back(), "close h4");
}

// The status of neither opening counts; without a handle there is nothing to close.
TEST_F(DspQuery, GoesOnToTheMethodsWhenNothingOpens) {
  dsps_.fail(RemoteCall::kAttach, 14);
  dsps_.fail(RemoteCall::kOpen, 15);
  outputOf([] { EXPECT_NE(tremlo_query_setup("sdsp"), 0); });
  ASSERT_EQ(dsps_.calls().size(), 3U);
  EXPECT_EQ(dsps_.calls()[1], kOpen + "sdsp -> none = 15");
  EXPECT_EQ(dsps_.calls()[2].substr(0, 21), "invoke h? 02010000 in");
}

TEST_F(DspQuery, KeepsAQueryWhoseEndFailedForAnotherTry) {
  dsps_.fail(RemoteCall::kDeinit, 14, 1);
  EXPECT_EQ(tremlo_query_setup("adsp"), 0);
  EXPECT_EQ(tremlo_query_exit("adsp"), 14);
  EXPECT_EQ(dsps_.openHandles(), 1U);
  EXPECT_EQ(dsps_.liveBuffers(), 1U);
  EXPECT_EQ(tremlo_query_exit("adsp"), 0);
}

// What it holds is lost to the process; what failed to end on the DSP may still be using it.
struct DspQueryOverAnother : DspQuery {
  void SetUp() override {
    DspQuery::SetUp();
    dsps_.fail(RemoteCall::kDeinit, 14, 1);
    EXPECT_EQ(tremlo_query_setup("adsp"), 0);
    EXPECT_EQ(tremlo_query_exit("adsp"), 14);
    dsps_.forgetCalls();
  }
  void TearDown() override { EXPECT_EQ(dsps_.wrongReleases(), 0); }
};

TEST_F(DspQueryOverAnother, ReleasesItsOwnHandleAndRecordAlone) {
  EXPECT_EQ(tremlo_query_setup("adsp"), 0);
  EXPECT_EQ(tremlo_query_exit("adsp"), 0);
  EXPECT_EQ(dsps_.calls(),
            (Lines{kAttach + "adsp -> h3", kOpen + "adsp -> h4", "invoke h4 02010000 in 00000000",
                   "alloc -1 08000001 12 -> m2", "invoke h4 04010000 in 00000000", "free m2", "close h4"}));
}

TEST_F(DspQueryOverAnother, StartsOnTheKeptHandleWhenNothingOpens) {
  dsps_.fail(RemoteCall::kOpen, 15, 1);
  EXPECT_EQ(tremlo_query_setup("adsp"), 0);
  EXPECT_EQ(dsps_.calls().at(2), "invoke h2 02010000 in 00000000");
  EXPECT_EQ(tremlo_query_exit("adsp"), 0);
  EXPECT_EQ(dsps_.openHandles(), 0U);
  EXPECT_EQ(dsps_.liveBuffers(), 1U);
}

TEST_F(DspQueryOverAnother, ReleasesTheKeptRecordWhenItDoesNotStart) {
  dsps_.fail(RemoteCall::kInit, 39, 1);
  outputOf([] { EXPECT_EQ(tremlo_query_setup("adsp"), 39); });
  EXPECT_EQ(dsps_.calls(), (Lines{kAttach + "adsp -> h3", kOpen + "adsp -> h4",
                                  "invoke h4 02010000 in 00000000 = 39", "free m1", "close h4"}));
  dsps_.fail(RemoteCall::kInit, 39, 1);
  outputOf([] { EXPECT_EQ(tremlo_query_setup("adsp"), 39); });  // not a second time
}

TEST(DspQueryWithoutALibrary, FailsEachCall) {
  const auto open = std::exchange(local_remote_handle64_open, nullptr);
  const auto invoke = std::exchange(local_remote_handle64_invoke, nullptr);
  const auto close = std::exchange(local_remote_handle64_close, nullptr);
  const auto alloc = std::exchange(local_rpcmem_alloc, nullptr);
  const auto free = std::exchange(local_rpcmem_free, nullptr);
  std::uint32_t metrics = 5;
  EXPECT_EQ(outputOf([&] {
              EXPECT_EQ(tremlo_query_setup("cdsp"), -1);
              EXPECT_EQ(tremlo_query_getprof("cdsp", &metrics), nullptr);
              EXPECT_EQ(tremlo_query_exit("cdsp"), -1);
            }),
            "tremloquery_init failed, return value: -1\ntremloquery_get_profdata failed, return value: -1\n");
  EXPECT_EQ(metrics, 5U);
  // The measurement starts, and there is no memory for its record.
  local_remote_handle64_invoke = [](auto, auto, auto) { return 0; };
  EXPECT_EQ(outputOf([] { EXPECT_EQ(tremlo_query_setup("cdsp"), 2); }), "local_rpcmem_alloc failed\n");
  local_remote_handle64_open = open;
  local_remote_handle64_invoke = invoke;
  local_remote_handle64_close = close;
  local_rpcmem_alloc = alloc;
  local_rpcmem_free = free;
}

}  // namespace
