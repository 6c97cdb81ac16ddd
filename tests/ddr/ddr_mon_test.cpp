#include "tessary/ddr_mon.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/devices/bandwidth_device.h"
#include "tessary/board.h"
#include "tests/support.h"

namespace {

using simulator::BandwidthDevice;
using simulator::BandwidthRequest;
using simulator::Board;
using Words = std::vector<std::uint32_t>;

constexpr char kNotSigned[] =
    "BWProfiler: Device is not signed for profiling\n"
    "Contact the platform vendor's system-performance support to have profiling access enabled for this "
    "device.\n";

class DdrBoard : public testing::Test {
 protected:
  void platform(const char* name) { board_.property("ro.board.platform", name); }

  // Silently, for tests that look at the figures alone.
  void construct() {
    outputOf([this] { monitor_ = std::make_unique<ddr::DDR_MON>(); });
  }
  void destroy() {
    outputOf([this] { monitor_.reset(); });
  }
  std::vector<std::int64_t> figures() {
    const std::uint64_t* const results = monitor_->tessary_getDDRStats();
    return results != nullptr ? std::vector<std::int64_t>(results, results + 6) : std::vector<std::int64_t>{};
  }
  void TearDown() override { destroy(); }

  Board board_;
  BandwidthDevice device_{board_};
  std::unique_ptr<ddr::DDR_MON> monitor_;
};

class OlderDdrBoard : public DdrBoard {
 protected:
  void SetUp() override { platform("other"); }

  // Each of the six words of a set.
  void counters(std::int32_t a1, std::int32_t a2, std::int32_t b1, std::int32_t b2) {
    device_.figures([=](int word) {
      const bool first = word % 2 == 0;
      return static_cast<std::uint32_t>(word < 14 ? (first ? a1 : a2) : (first ? b1 : b2));
    });
  }
};

class NewerDdrBoard : public DdrBoard {
 protected:
  void SetUp() override { platform("brindle"); }
};

TEST_F(OlderDdrBoard, IsStartedConfiguredReadAndClosed) {
  counters(1, 2, 3, 4);
  EXPECT_EQ(outputOf([this] { monitor_ = std::make_unique<ddr::DDR_MON>(); }),
            "Entered the DDR_MON constructor\nDDR_MON constructor called\n");
  EXPECT_EQ(outputOf([this] { monitor_->tessary_getDDRStats(); }), "");
  EXPECT_EQ(outputOf([this] { monitor_.reset(); }), "DDR_MON destructor called\n");

  const std::vector<BandwidthRequest>& requests = device_.requests();
  ASSERT_EQ(requests.size(), 5U);
  Words command(26);
  command[0] = 1;
  EXPECT_EQ(requests[0].code, 0xc0689801);
  EXPECT_EQ(requests[0].words, command);
  EXPECT_EQ(requests[1].code, 0xc0109803);
  EXPECT_EQ(requests[1].words, (Words{6, 0x09200000, 0x00100000, 6}));
  EXPECT_EQ(requests[2].code, 0xc0609802);
  Words offsets;
  for (int i = 0; i < 6; ++i) offsets.insert(offsets.end(), {0x36060, 0x36064});
  for (int i = 0; i < 6; ++i) offsets.insert(offsets.end(), {0xab0c4, 0xab0cc});
  EXPECT_EQ(requests[2].words, offsets);
  EXPECT_EQ(Words(offset_reg_values, offset_reg_values + 24), offsets);
  command[0] = 2;
  command[1] = 1;
  EXPECT_EQ(requests[3].code, 0xc0689801);
  EXPECT_EQ(requests[3].words, command);
  EXPECT_EQ(requests[4].code, 0xc0689801);
  EXPECT_EQ(requests[4].words[0], 3U);
}

TEST_F(OlderDdrBoard, TurnsCountersIntoFiguresPerSecond) {
  struct {
    std::int32_t counters[4];
    int samplingTime;  // milliseconds
    std::vector<std::int64_t> figures;
  } const kRows[] = {
      {{8192, 16384, 65536, 131072}, 1000, {6, 12, 18, 6, 12, 18}},
      {{8192, 16384, 65536, 131072}, 500, {12, 24, 36, 12, 24, 36}},
      {{1365, 1366, 10922, 10923}, 1000, {0, 1, 1, 0, 1, 1}},          // just below and above one unit
      {{-1365, -1366, -10922, -10923}, 1000, {0, -1, -1, 0, -1, -1}},  // towards zero
      {{8192, 16384, -65536, -131072}, 4000, {1, 3, 4, -1, -3, -4}},   // the totals add truncated figures
      {{INT32_MIN, INT32_MAX, INT32_MIN, INT32_MAX},
       1,
       {-1572864000, 1572863000, -1000, -196608000, 196607000, -1000}},
  };
  construct();
  for (const auto& row : kRows) {
    counters(row.counters[0], row.counters[1], row.counters[2], row.counters[3]);
    monitor_->tessary_setSamplingTime(row.samplingTime);
    EXPECT_EQ(figures(), row.figures) << row.counters[0] << " in " << row.samplingTime;
  }
}

TEST_F(OlderDdrBoard, KeepsItsSamplingTimeWhenNoneIsGiven) {
  counters(8192, 8192, 65536, 65536);
  construct();
  for (const int ms : {0, -1000}) {
    monitor_->tessary_setSamplingTime(ms);
    EXPECT_EQ(monitor_->samplingTime, 1000);
  }
  monitor_->samplingTime = 0;
  EXPECT_EQ(figures(), (std::vector<std::int64_t>{6, 6, 12, 6, 6, 12}));
}

TEST_F(OlderDdrBoard, MakesEachRequestWhateverTheOnesBeforeAnswered) {
  device_.answer(1, 7);
  device_.answer(2, -EIO);
  device_.answer(3, 8);
  EXPECT_EQ(outputOf([this] { monitor_ = std::make_unique<ddr::DDR_MON>(); }),
            std::string{"Entered the DDR_MON constructor\n"} + kNotSigned +
                "Failure in DDR Profiler.\n"
                "BWProfiler: ioctl call start failed with ret = -1"
                "BWProfiler: ioctl call start failed with ret = 8"
                "Failure in DDR Profiler.\nDDR_MON constructor called\n");
  EXPECT_EQ(device_.requests().size(), 3U);
}

TEST_F(OlderDdrBoard, ReportsAConfigurationThatFailsOnceAtTheEnd) {
  device_.answer(3, 7);
  EXPECT_EQ(outputOf([this] { monitor_ = std::make_unique<ddr::DDR_MON>(); }),
            std::string{"Entered the DDR_MON constructor\n"} + kNotSigned +
                "Failure in DDR Profiler.\nDDR_MON constructor called\n");
}

TEST_F(NewerDdrBoard, HandsOutTheDriversFigures) {
  device_.figures([](int word) { return 0xfffffff0U + static_cast<std::uint32_t>(word); });
  construct();
  monitor_->tessary_setSamplingTime(250);
  EXPECT_EQ(figures(), (std::vector<std::int64_t>{0xfffffff1, 0xfffffff2, 0xfffffff0, 0xfffffff4, 0xfffffff5,
                                                  0xfffffff3}));
  destroy();
  const std::vector<BandwidthRequest>& requests = device_.requests();
  ASSERT_EQ(requests.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(requests[i].code, 0xc01c9804);
    EXPECT_EQ(requests[i].words[6], i + 1);
  }
  EXPECT_EQ(requests[0].words, (Words{0, 0, 0, 0, 0, 0, 1}));
}

TEST_F(NewerDdrBoard, ReportsAStartThatFailsOnce) {
  device_.answer(1, -EPERM);
  EXPECT_EQ(outputOf([this] { monitor_ = std::make_unique<ddr::DDR_MON>(); }),
            "Entered the DDR_MON constructor\nBWProfiler: ioctl call start failed with ret = -1"
            "Failure in DDR Profiler.\nDDR_MON constructor called\n");
}

TEST_F(NewerDdrBoard, StaysFailedAfterOneFailedGet) {
  construct();
  device_.answer(2, 7);
  EXPECT_EQ(outputOf([this] { EXPECT_TRUE(figures().empty()); }),
            "BWProfiler: ioctl call get failed with ret = 7Error in DDR Profiling.\n");
  EXPECT_EQ(outputOf([this] { EXPECT_TRUE(figures().empty()); }), "Error in DDR Profiling.\n");
  EXPECT_EQ(device_.requests().size(), 3U);
  device_.answer(4, -EIO);
  EXPECT_EQ(outputOf([this] { monitor_.reset(); }),
            "BWProfiler: ioctl call close failed with ret = -1DDR_MON destructor called\n");
}

TEST_F(OlderDdrBoard, WithoutADeviceReportsEachRequest) {
  board_.refuse(BandwidthDevice::kPath, ENODEV);
  const std::string kStart = "BWProfiler: ioctl call start failed with ret = -1";
  EXPECT_EQ(outputOf([] {
              ddr::DDR_MON monitor;
              EXPECT_EQ(monitor.implementation->descriptor, -1);
              EXPECT_EQ(monitor.tessary_getDDRStats(), nullptr);
            }),
            "Entered the DDR_MON constructor\nBWProfiler: Failed to open /dev/profiler device" + kStart +
                "Failure in DDR Profiler.\n" + kStart + kStart +
                "Failure in DDR Profiler.\nDDR_MON constructor called\n"
                "BWProfiler: ioctl call get failed with ret = -1Error in DDR Profiling.\n"
                "BWProfiler: ioctl call close failed with ret = -1DDR_MON destructor called\n");
}

TEST_F(OlderDdrBoard, KeepsTheDeviceOpenForReadingAndWritingUntilItsEnd) {
  for (const bool refused : {false, true}) {
    construct();
    const int descriptor = monitor_->implementation->descriptor;
    EXPECT_EQ(::fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
    if (refused) device_.answer(8, -EIO);  // three requests and a close before, three now
    destroy();
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1) << refused;
  }
}

TEST_F(DdrBoard, ReportsARefusedAllocationAtEachGet) {
  for (const char* const name : {"other", "brindle"}) {
    for (const int refused : {1, 2}) {
      platform(name);
      board_.failAllocation(refused);
      construct();
      const bool record = refused == 1;
      EXPECT_EQ(monitor_->implementation->errorFlag, record ? 1 : 0);
      EXPECT_EQ(outputOf([&] { EXPECT_TRUE(figures().empty()); }),
                std::string{record ? "BWProfiler: ioctl call get failed with ret = -1" : ""} +
                    "Error in DDR Profiling.\n")
          << name;
      destroy();
    }
  }
}

// The flag is the process's, and a monitor that is there already stays with its own interface.
TEST_F(OlderDdrBoard, StaysOlderWhenTheProcessTurnsNewer) {
  construct();
  EXPECT_FALSE(gen3Machine);
  std::unique_ptr<ddr::DDR_MON> older = std::move(monitor_);
  platform("xbrindle");
  construct();
  EXPECT_TRUE(gen3Machine);
  outputOf([&] {
    EXPECT_NE(older->tessary_getDDRStats(), nullptr);
    EXPECT_NE(monitor_->tessary_getDDRStats(), nullptr);
    older.reset();
  });
  const std::vector<BandwidthRequest>& requests = device_.requests();
  ASSERT_EQ(requests.size(), 7U);  // three, one, the two gets, a close
  EXPECT_EQ(requests[4].code, 0xc0689801);
  EXPECT_EQ(requests[5].code, 0xc01c9804);
  EXPECT_EQ(requests[6].code, 0xc0689801);
}

}  // namespace
