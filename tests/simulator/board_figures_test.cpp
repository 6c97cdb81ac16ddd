#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "simulator/model/model.h"
#include "tessary/board.h"
#include "tessary/cpu_mon.h"
#include "tessary/ddr_mon.h"
#include "tessary/dsp_mon.h"
#include "tests/simulator/board_text.h"

namespace {

using simulator::Board;

TEST(BoardFigures, LoadsComeOutExactlyOverEveryStepOfWholeTicks) {
  Board board;
  simulator::loadBoardText(board, R"({"model": "x", "ticks_per_second": 1000, "cores": [
    {"capacity": 256, "load": {"user": 25, "system": 12.5}},
    {"capacity": 256, "load": {"user": {"square": [100, 0], "period_ms": 400, "first_ms": 100}}},
    {"capacity": 512, "load": {"user": {"ramp": [0, 80], "over_ms": 4000}, "iowait": 12.5, "steal": 2.5}},
    {"capacity": 1024, "load": {"user": {"ramp": [60, 0], "over_ms": 3000}}}]})");
  cpu::CPU_MON monitor;
  ::usleep(kMicrosecondsInSecond);
  monitor.implementation->samplingTime = 2000;

  const double* const load = monitor.tessary_getPerCoreUsage();

  EXPECT_EQ(load[1], 37.5);
  EXPECT_EQ(load[2], 25);
  EXPECT_EQ(load[3], 40 + 12.5 + 2.5);  // the ramp from 20 to 60
  EXPECT_EQ(load[4], 20);               // from 40 to 0, by thirds, which are no whole numbers
  EXPECT_EQ(load[0], 37.5 / 8 + 25.0 / 8 + 55.0 / 4 + 20.0 / 2);
  EXPECT_EQ(monitor.tessary_getPerCoreStealTime()[3], 2.5);
  monitor.implementation->samplingTime = 40;
  EXPECT_EQ(monitor.tessary_getPerCoreUsage()[1], 37.5);
}

// All that moves, as it stands after two waits.
std::string readingsOf(std::uint64_t seed) {
  Board board;
  simulator::loadBoard(board, boardPath("vx4490p"), seed);
  ::usleep(3 * kMicrosecondsInSecond + 123456);
  ::usleep(700000);
  std::string texts;
  for (const char* const path :
       {"/proc/stat", "/proc/meminfo", "/proc/diskstats", "/proc/412/stat", "/proc/1207/stat",
        "/sys/class/thermal/thermal_zone2/temp", "/sys/class/net/eth0/statistics/tx_bytes",
        "/sys/devices/system/cpu/cpu5/cpufreq/cpuinfo_cur_freq"}) {
    texts += textOf(path);
  }
  return texts;
}

TEST(BoardFigures, AreThoseOfTheSeedAndTheWaits) {
  const std::string first = readingsOf(7);
  EXPECT_EQ(readingsOf(7), first);
  EXPECT_NE(readingsOf(8), first);
}

TEST(BoardFigures, CountersAndSharesAreWholeAtWholeSteps) {
  Board board;
  simulator::loadBoardText(
      board,
      R"({"model": "x", "ticks_per_second": 1000, "cores": [{"min_khz": 1000, "max_khz": 3000, "load": {"user": 25}}],
    "disks": [{"name": "mmcblk0", "major": 179, "partitions": 2, "sectors_read": 1001.5, "in_progress": 3}],
    "interfaces": [{"name": "eth0", "rx_bytes": {"noise": [1000, 1000], "every_ms": 7}}],
    "thermal_zones": [{"ambient": 20, "rise": 40, "lag_ms": 4000}],
    "processes": [{"pid": 9, "name": "late", "user": 150, "system": 0.1, "born_ms": 1000, "ended_ms": 4000},
                  {"pid": 20, "name": "busy", "state": "R", "vsize_kb": 8000, "rss_kb": 4000, "count": 2}],
    "memory": {"total_kb": 4096, "swap_total_kb": 2048, "swap_free_kb": 512}})");

  EXPECT_EQ(textOf("/proc/9/stat"), "ENOENT");
  ::usleep(2 * kMicrosecondsInSecond);

  EXPECT_EQ(textOf("/proc/diskstats"),
            " 179       0 mmcblk0 0 0 2003 0 0 0 0 0 3 0 0 0 0 0 0 0 0\n"
            " 179       1 mmcblk0p1 0 0 1001 0 0 0 0 0 1 0 0 0 0 0 0 0 0\n"
            " 179       2 mmcblk0p2 0 0 1001 0 0 0 0 0 1 0 0 0 0 0 0 0 0\n");
  EXPECT_EQ(textOf("/proc/partitions"),
            "major minor  #blocks  name\n\n 179        0          0 mmcblk0\n"
            " 179        1          0 mmcblk0p1\n 179        2          0 mmcblk0p2\n");
  EXPECT_EQ(textOf("/sys/class/net/eth0/statistics/rx_bytes"), "2000\n");
  EXPECT_EQ(textOf("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_cur_freq"), "1500\n");
  EXPECT_EQ(textOf("/sys/class/thermal/thermal_zone0/temp"),
            "25000\n");  // half of the lag: half of 10 degrees
  EXPECT_NE(textOf("/proc/stat").find("\nbtime 1704063600\nprocesses 3\nprocs_running 2\n"),
            std::string::npos);
  EXPECT_NE(textOf("/proc/vmstat").find("\npgpgin 1001\n"), std::string::npos);
  EXPECT_EQ(textOf("/proc/20/statm"), "2000 1000 0 0 0 0 0\n");
  EXPECT_NE(textOf("/proc/20/stat").find(" 0 10000 8192000 1000 "), std::string::npos)
      << textOf("/proc/20/stat");
  EXPECT_NE(textOf("/proc/swaps").find("partition\t2048\t\t1536\t\t-2\n"), std::string::npos);
  // 1.5 s of user time in the second since its birth, 1 ms of the system's, at 1000 ticks; born an hour and 1
  // s after the machine's start.
  EXPECT_EQ(textOf("/proc/9/stat").substr(0, 71),
            "9 (late) S 1 9 9 0 -1 4194560 0 0 0 0 1500 1 0 0 20 0 1 0 3601000 0 0 1");
  ::usleep(2 * kMicrosecondsInSecond);
  EXPECT_EQ(textOf("/proc/9/stat"), "ENOENT");
}

TEST(BoardFigures, OfAGroupMoveEachForItself) {
  Board board;
  simulator::loadBoardText(board, R"({"model": "x", "cores": [{}],
    "thermal_zones": [{"temperature": {"noise": [0, 90], "every_ms": 1000}, "count": 3}]})");
  std::set<std::string> values;
  for (const char zone : {'0', '1', '2'}) {
    const std::string path = std::string{"/sys/class/thermal/thermal_zone"} + zone + "/temp";
    values.insert(textOf(path));
  }
  EXPECT_EQ(values.size(), 3U);
}

// The older device counts since the last time, the newer one says how it is; the DSPs of a file are asked by
// name.
TEST(BoardFigures, ReachTheDdrAndDspMonitors) {
  for (const char* const platform : {"taupe", "brindle"}) {
    SCOPED_TRACE(platform);
    Board board;
    simulator::loadBoardText(board,
                             R"({"model": "x", "cores": [{}], "platform": ")" + std::string{platform} + R"(",
      "ddr": {"a1": 1000, "a2": {"square": [500, 700], "period_ms": 10000}, "b1": 20, "b2": 4},
      "dsps": [{"name": "cdsp", "load": 62.5, "clock": {"ramp": [0, 4000], "over_ms": 4000}}]})");
    testing::internal::CaptureStdout();
    ::usleep(3 * kMicrosecondsInSecond);
    ddr::DDR_MON monitor;
    monitor.tessary_setSamplingTime(500);
    ::usleep(kMicrosecondsInSecond / 2);
    const uint64_t* const figures = monitor.tessary_getDDRStats();
    ASSERT_NE(figures, nullptr);
    EXPECT_EQ(std::vector<uint64_t>(figures, figures + 6),
              (std::vector<uint64_t>{1000, 500, 1500, 20, 4, 24}));

    dsp::DSP_MON there{3};
    EXPECT_EQ(there.tessary_getDSPSample(), 0);
    EXPECT_EQ(there.tessary_getDSPUtilization(), 62.5F);
    EXPECT_EQ(there.tessary_getDSPFrequency(), 4000U);
    dsp::DSP_MON absent{2};
    EXPECT_EQ(absent.tessary_getDSPSample(), -1);
    testing::internal::GetCapturedStdout();
  }
}

// A driver has no commands of the other generation.
TEST(BoardFigures, OfTheOtherDdrInterfaceAreRefused) {
  constexpr unsigned long kOlder = 0xc0689801;
  constexpr unsigned long kNewer = 0xc01c9804;
  for (const auto& [platform, refused] : {std::pair{"taupe", kNewer}, std::pair{"brindle", kOlder}}) {
    SCOPED_TRACE(platform);
    Board board;
    simulator::loadBoardText(board, R"({"model": "x", "cores": [{}], "platform": ")" + std::string{platform} +
                                        R"(", "ddr": {"a1": 1000, "a2": 1, "b1": 20, "b2": 4}})");
    const int device = ::open("/dev/profiler", O_RDWR);
    std::uint32_t record[26] = {2, 0, 0, 0, 0, 0, 2};  // a get, in either record
    EXPECT_EQ(::ioctl(device, refused, record), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(::ioctl(device, refused == kOlder ? kNewer : kOlder, record), 0);
    ::close(device);
  }
}

// The boards of the table, against the library's own.
TEST(BoardFigures, OfTheTablesModelsAgreeWithTheLibrary) {
  for (const CpuTopologyRow& row : CPU_topology) {
    std::string name{row.socModel};
    for (char& letter : name) letter = static_cast<char>(std::tolower(letter));
    SCOPED_TRACE(name);
    Board board;
    simulator::loadBoard(board, boardPath(name));
    cpu::CPU_MON monitor;

    const auto& state = *monitor.implementation;
    EXPECT_STREQ(state.platformName, boardInfoMap.platformName);
    EXPECT_STREQ(state.socName, row.socModel);
    EXPECT_EQ(state.featureID, row.featureID);
    ASSERT_EQ(monitor.numCores, static_cast<int>(row.coreCount));
    for (int core = 0; core < monitor.numCores; ++core)
      EXPECT_EQ(state.cpuCapacity[core], row.capacity[core]);
  }
}

TEST(BoardFigures, OfABigBoardAreAllThere) {
  Board board;
  simulator::loadBoard(board, boardPath("big64"));
  EXPECT_EQ(::sysconf(_SC_NPROCESSORS_CONF), 64);
  EXPECT_EQ(textOf("/sys/class/thermal/thermal_zone39/type"), "ddr-7\n");
  const auto processes = [] {
    int count = 0;
    DIR* const folder = ::opendir("/proc");
    while (const dirent* const entry = ::readdir(folder))
      count += entry->d_name[0] >= '0' && entry->d_name[0] <= '9';
    ::closedir(folder);
    return count;
  };
  EXPECT_EQ(processes(), 460);
  ::usleep(3 * kMicrosecondsInSecond);
  EXPECT_EQ(processes(), 500);
}

}  // namespace
