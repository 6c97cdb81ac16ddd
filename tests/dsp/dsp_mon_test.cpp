#include "tessary/dsp_mon.h"

#include "tessary/remote_call.h"
#include "tests/dsp/dsp_board.h"

namespace {

using dsp::DSP_MON;
using simulator::Board;
using simulator::RemoteCall;

constexpr char kNotInitialised[] = "DSP_MON : Init not happened properly.\n";
constexpr char kUnknownId[] =
    "DSP_MON : dsp_mon constructor : ERR : Please enter the correct id for the dsp.\n";

using DspMonitor = DspBoard;

TEST_F(DspMonitor, TakesASampleInOneQuery) {
  {
    DSP_MON monitor{2};
    EXPECT_EQ(monitor.tessary_getDSPUtilization(), 0);
    EXPECT_EQ(monitor.tessary_getDSPSample(), 0);
    EXPECT_EQ(monitor.tessary_getDSPUtilization(), 5);
    EXPECT_EQ(monitor.tessary_getDSPFrequency(), 900U);
  }
  EXPECT_EQ(dsps_.calls(),
            (Lines{kAttach + "adsp -> h1", kOpen + "adsp -> h2", "invoke h2 02010000 in 00000000",
                   "alloc -1 08000001 12 -> m1", "invoke h2 03010200 in 0c00000000000000 out 4 12",
                   "invoke h2 04010000 in 00000000", "free m1", "close h2"}));
  EXPECT_EQ(board_.waits(), std::vector<std::int64_t>{500000});
  EXPECT_EQ(board_.logged(kVerbose),
            (Lines{"dsp_mon constructor : adsp profiler.\n", "DSP_MON_INTERFACE : Constructor done.\n",
                   "DSP_MON : adsp load = 0.000000\n", "DSP_MON : adsp load = 5.000000\n",
                   "DSP_MON : adsp clock_freq = 900\n", "DSP_MON_INTERFACE : Destructor done.\n"}));
  for (const simulator::LogLine& line : board_.log()) EXPECT_EQ(line.tag, "libtessary : dsp_mon");
  expectNothingHeld();
}

TEST_F(DspMonitor, IsChosenByIdOrByTheBeginningOfItsName) {
  char exact[] = "cdsp";
  char longer[] = "cdspX";
  DSP_MON byId{3};
  DSP_MON byName{exact};
  DSP_MON byPrefix{longer};
  for (DSP_MON* const monitor : {&byId, &byName, &byPrefix}) {
    EXPECT_STREQ(monitor->implementation->name, "cdsp");
    EXPECT_EQ(monitor->implementation->dspId, 3);
    EXPECT_EQ(monitor->tessary_getDSPSample(), 0);
    EXPECT_EQ(monitor->tessary_getDSPFrequency(), 0xffffffffU);
  }
  ASSERT_EQ(board_.loads().size(), 3U);
  for (const simulator::LibraryLoad& load : board_.loads()) {
    EXPECT_EQ(load.name, "libcdsprpc.so");
    EXPECT_EQ(load.mode, 0x102);
  }
  expectNothingHeld();
}

TEST_F(DspMonitor, OfNoDspFailsEachSample) {
  char upperCase[] = "ADSP";
  char cut[] = "ads";
  std::vector<std::unique_ptr<DSP_MON>> monitors;
  outputOf([&] {
    monitors.push_back(std::make_unique<DSP_MON>(0));
    monitors.push_back(std::make_unique<DSP_MON>(upperCase));
    monitors.push_back(std::make_unique<DSP_MON>(cut));
    monitors.push_back(std::make_unique<DSP_MON>(static_cast<char*>(nullptr)));
  });
  EXPECT_TRUE(board_.logged(kError).empty());
  EXPECT_EQ(board_.logged(kVerbose)[0], "dsp_mon constructor :  profiler.\n");
  for (const auto& monitor : monitors) {
    EXPECT_EQ(monitor->implementation->dspId, 0);
    EXPECT_EQ(monitor->implementation->state, -1);
    EXPECT_EQ(monitor->tessary_getDSPSample(), -1);
    EXPECT_EQ(lastLogged(board_, kError), kNotInitialised);
  }
  EXPECT_TRUE(board_.loads().empty());
}

TEST_F(DspMonitor, OfAnUnknownIdIsNotInitialised) {
  DSP_MON monitor{7, 20L};
  EXPECT_EQ(monitor.implementation->dspId, -1);
  EXPECT_EQ(monitor.implementation->state, 0);
  EXPECT_EQ(monitor.implementation->samplingTime, 20000);
  EXPECT_EQ(monitor.tessary_getDSPSample(), -1);
  EXPECT_EQ(board_.logged(kError), (Lines{kUnknownId, kNotInitialised}));
}

TEST_F(DspMonitor, WritesTheLoadersReasonWhenTheLibraryIsNotThere) {
  board_.library("libcdsprpc.so", "/nowhere/libcdsprpc.so");
  const auto bound = local_remote_handle64_open;
  std::string output = outputOf([] { EXPECT_EQ(DSP_MON{2}.implementation->state, -1); });
  EXPECT_NE(output.find("/nowhere/libcdsprpc.so"), std::string::npos);
  EXPECT_EQ(output.find('\n'), output.size() - 1);
  EXPECT_EQ(local_remote_handle64_open, bound);
  // Nothing is tried for another id, so there is no reason to tell.
  EXPECT_EQ(outputOf([] { DSP_MON{0}; }), "\n");
}

TEST_F(DspMonitor, WorksAsFarAsALibraryWithoutAnEntryPointAllows) {
  struct {
    const char* missing;
    int result;
    const char* output;
  } const kRows[] = {
      {"remote_handle64_open", -1, "tremloquery_init failed, return value: 2\ntremlo_query_setup failed\n"},
      {"remote_handle64_invoke", -1,
       "tremloquery_init failed, return value: -1\ntremlo_query_setup failed\n"},
      {"rpcmem_alloc", -1, "local_rpcmem_alloc failed\ntremlo_query_setup failed\n"},
      {"remote_handle64_close", 0, ""},
      {"rpcmem_free", 0, ""},
  };
  for (const auto& row : kRows) {
    dsps_.withoutEntryPoint(row.missing);
    DSP_MON monitor{2};
    EXPECT_EQ(monitor.implementation->state, 1);
    EXPECT_EQ(outputOf([&] { EXPECT_EQ(monitor.tessary_getDSPSample(), row.result); }), row.output)
        << row.missing;
  }
  EXPECT_EQ(dsps_.wrongReleases(), 0);
}

TEST_F(DspMonitor, WaitsBySleepOrByHook) {
  char name[] = "adsp";
  EXPECT_EQ((DSP_MON{name, 100L}.tessary_getDSPSample()), 0);
  EXPECT_EQ((DSP_MON{3, 0L}.tessary_getDSPSample()), 0);
  EXPECT_EQ(board_.waits(), (std::vector<std::int64_t>{100000, 0}));
  EXPECT_EQ((DSP_MON{3, hook<kProceed>}.tessary_getDSPSample()), 0);
  EXPECT_EQ(hookCaller, 3);
  dsps_.forgetCalls();

  DSP_MON stopped{name, hook<0>};
  stopped.implementation->load = 42;
  EXPECT_EQ(stopped.tessary_getDSPSample(), -1);
  EXPECT_EQ(hookCaller, 2);
  EXPECT_EQ(stopped.tessary_getDSPUtilization(), 42);
  EXPECT_EQ(dsps_.calls()[4], "invoke h8 04010000 in 00000000");  // after the allocation, nothing is read
  EXPECT_EQ(board_.waits().size(), 2U);
  expectNothingHeld();
}

TEST_F(DspMonitor, KeepsItsFiguresAndHoldsNothingWhenASampleFails) {
  struct {
    RemoteCall call;
    int status;
    std::string output;
  } const kRows[] = {
      {RemoteCall::kInit, 39, "tremloquery_init failed, return value: 39\ntremlo_query_setup failed\n"},
      {RemoteCall::kAllocate, 1, "local_rpcmem_alloc failed\ntremlo_query_setup failed\n"},
      {RemoteCall::kGetProfdata, 40, "tremloquery_get_profdata failed, return value: 40\n"},
  };
  DSP_MON monitor{2};
  monitor.implementation->load = 42;
  monitor.implementation->clockFrequency = 43;
  for (const auto& row : kRows) {
    for (int attempt = 0; attempt < 3; ++attempt) {
      dsps_.fail(row.call, row.status, 1);
      EXPECT_EQ(outputOf([&] { EXPECT_EQ(monitor.tessary_getDSPSample(), -1); }), row.output);
    }
    EXPECT_EQ(monitor.tessary_getDSPUtilization(), 42);
    EXPECT_EQ(monitor.tessary_getDSPFrequency(), 43U);
    expectNothingHeld();
  }
  EXPECT_TRUE(board_.logged(kError).empty());
  EXPECT_EQ(monitor.tessary_getDSPSample(), 0);
}

TEST_F(DspMonitor, AnswersTheStatusOfAnEndThatFailed) {
  DSP_MON monitor{2};
  dsps_.fail(RemoteCall::kDeinit, 14, 1);
  EXPECT_EQ(outputOf([&] { EXPECT_EQ(monitor.tessary_getDSPSample(), 14); }), "");
  EXPECT_EQ(monitor.tessary_getDSPFrequency(), 900U);
  // The next query overwrites what that one kept: it releases its own alone.
  dsps_.forgetCalls();
  EXPECT_EQ(monitor.tessary_getDSPSample(), 0);
  EXPECT_EQ(dsps_.calls(),
            (Lines{kAttach + "adsp -> h3", kOpen + "adsp -> h4", "invoke h4 02010000 in 00000000",
                   "alloc -1 08000001 12 -> m2", "invoke h4 03010200 in 0c00000000000000 out 4 12",
                   "invoke h4 04010000 in 00000000", "free m2", "close h4"}));
  EXPECT_EQ(dsps_.openHandles(), 1U);
  EXPECT_EQ(dsps_.liveBuffers(), 1U);
}

// Only the ids of DSPs open the library; any other takes the handle that it finds.
TEST_F(DspMonitor, BindsThroughAHandleThatIsThereAlready) {
  DSP_MON monitor{2};
  DSP_MON::DSP_MON_INTERFACE& state = *monitor.implementation;
  const std::size_t loads = board_.loads().size();
  state.dspId = 7;
  local_rpcmem_free = nullptr;
  EXPECT_EQ(state.dsp_library_open(), 0);
  EXPECT_NE(local_rpcmem_free, nullptr);
  EXPECT_EQ(board_.loads().size(), loads);
}

// The query is the process's: the inner sample takes the slot over and ends its own query, and the outer one
// finds none. What the outer one held may be in use, and is lost, not released.
TEST_F(DspMonitor, LosesItsQueryToAnotherMonitorOfTheSameDsp) {
  static DSP_MON* inner;
  DSP_MON other{2};
  inner = &other;
  DSP_MON outer{2, [](int) {
                  EXPECT_EQ(inner->tessary_getDSPSample(), 0);
                  return kProceed;
                }};
  outputOf([&] { EXPECT_EQ(outer.tessary_getDSPSample(), -1); });
  EXPECT_EQ(dsps_.openHandles(), 1U);
  EXPECT_EQ(dsps_.liveBuffers(), 1U);
}

}  // namespace
