#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <set>
#include <string>

#include "simulator/model/model.h"
#include "tessary/zoltrace.h"
#include "tests/simulator/board_text.h"

namespace {

using simulator::Board;

void waitUntil(Board& board, int milliseconds) {
  ::usleep(static_cast<useconds_t>(milliseconds * 1000 - board.clock().now() / 1000000 * 1000));
}

// The hostile board's time line, as it is documented in the file.
TEST(BoardFaults, ComeAndGoOnTheTimeLine) {
  Board board;
  simulator::loadBoard(board, boardPath("hostile"));
  constexpr char kZone[] = "/sys/class/thermal/thermal_zone1/temp";
  constexpr char kClock[] = "/sys/devices/system/cpu/cpu3/cpufreq/cpuinfo_cur_freq";
  EXPECT_EQ(textOf(kZone), "35000\n");
  EXPECT_EQ(textOf(kClock), "1052400\n");

  waitUntil(board, 2000);
  EXPECT_EQ(textOf(kZone), "EINVAL");
  EXPECT_EQ(textOf(kClock), "ENOENT");
  EXPECT_EQ(textOf("/sys/devices/system/cpu/online"), "0-2,4-7\n");
  EXPECT_EQ(::sysconf(_SC_NPROCESSORS_ONLN), 7);
  EXPECT_EQ(::sysconf(_SC_NPROCESSORS_CONF), 8);
  EXPECT_EQ(textOf("/proc/stat").find("\ncpu3 "), std::string::npos);

  waitUntil(board, 4500);
  EXPECT_EQ(textOf("/proc/500/stat"), "ESRCH");  // it opens, and ends before it is read
  EXPECT_EQ(textOf("/sys/class/net/eth0/statistics/rx_bytes"), "0\n");
  ::usleep(500000);
  EXPECT_EQ(textOf("/sys/class/net/eth0/statistics/rx_bytes"), "62500\n");
  EXPECT_EQ(textOf("/proc/500/stat"), "ENOENT");
  EXPECT_EQ(textOf(kZone).back(), '\n');
  // Three of the five seconds it stood still: 37.5 and 12.5 percent of the other two, after an idle hour.
  EXPECT_NE(textOf("/proc/stat").find("\ncpu3 750 0 250 3601000 0 0 0 0 0 0\n"), std::string::npos);

  waitUntil(board, 7500);
  EXPECT_EQ(textOf("/proc/meminfo").find("MemTotal"), std::string::npos);
  EXPECT_NE(textOf("/proc/stat").back(), '\n');
  waitUntil(board, 8000);
  EXPECT_EQ(::access("/sys/block/sdb", R_OK), -1);
  EXPECT_EQ(textOf("/sys/class/net/wlan0/statistics/rx_bytes"), "ENOENT");
  waitUntil(board, 10000);
  EXPECT_EQ(::access("/sys/block/sdb", R_OK), 0);
  EXPECT_EQ(textOf("/proc/diskstats"), "EIO");
  waitUntil(board, 11000);
  EXPECT_EQ(::popen("true", "r"), nullptr);
  EXPECT_EQ(errno, EMFILE);
}

TEST(BoardFaults, CountersPassThroughZeroWhenTheyWrap) {
  Board board;
  simulator::loadBoardText(board, R"({"model": "x", "cores": [{}],
    "interfaces": [{"name": "a", "rx_bytes": 10, "tx_bytes": 10}],
    "faults": [{"at_ms": 1500, "interface": "a", "kind": "wrap", "counter": "rx_bytes", "bits": 32},
               {"at_ms": 1500, "interface": "a", "kind": "wrap", "counter": "tx_bytes"}]})");
  ::usleep(1000000);
  EXPECT_EQ(textOf("/sys/class/net/a/statistics/rx_bytes"), "4294967291\n");
  EXPECT_EQ(textOf("/sys/class/net/a/statistics/tx_bytes"), "18446744073709551611\n");
  ::usleep(1000000);
  EXPECT_EQ(textOf("/sys/class/net/a/statistics/rx_bytes"), "5\n");
  EXPECT_EQ(textOf("/sys/class/net/a/statistics/tx_bytes"), "5\n");
}

TEST(BoardFaults, CutWithinALineAlsoWhereTheMiddleIsAtItsEnd) {
  Board board;
  simulator::loadBoardText(board, R"({"model": "x", "cores": [{}], "nodes": {"/proc/lines": "ab\ncd\n"},
    "faults": [{"node": "/proc/lines", "kind": "cut"}]})");
  EXPECT_EQ(textOf("/proc/lines"), "ab");
}

TEST(BoardFaults, RubbishIsThatOfTheSeedAndOfTheNode) {
  std::set<std::string> texts;
  for (const std::uint64_t seed : {1U, 2U, 1U}) {
    Board board;
    simulator::loadBoardText(board, R"({"model": "x", "cores": [{}], "faults": [
      {"node": "/proc/stat", "kind": "rubbish"}, {"node": "/proc/uptime", "kind": "rubbish"}]})",
                             seed);
    texts.insert(textOf("/proc/stat"));
    texts.insert(textOf("/proc/uptime"));
  }
  EXPECT_EQ(texts.size(), 4U);
}

TEST(BoardFaults, ReachDevicesAndTheProfilerThatAreOpen) {
  Board board;
  simulator::loadBoard(board, boardPath("hostile"));
  std::array<std::uint32_t, 7> command{0, 0, 0, 0, 0, 0, 2};  // the newer interface: get
  const int device = ::open("/dev/profiler", O_RDWR);
  EXPECT_EQ(::ioctl(device, 0xc01c9804, command.data()), 0);
  EXPECT_EQ(command[0], 1800U);
  const std::uint32_t ids[] = {1};
  ztRealtimeMetricValue* values = nullptr;
  uint64_t count = 0;
  ::zoltrace_Init(nullptr, nullptr);
  ASSERT_EQ(::zoltrace_StartRealtimeMonitor(ids, 1), ztSuccess);
  EXPECT_EQ(::zoltrace_StartRealtimeMonitor(ids, 1), ztInvalidState);  // it runs
  ASSERT_EQ(::zoltrace_GetRealtimeValues(&values, &count), ztSuccess);
  EXPECT_EQ(values[0].value, 585e6);

  waitUntil(board, 6000);
  EXPECT_EQ(::zoltrace_GetRealtimeValues(&values, &count), ztTimeout);
  waitUntil(board, 9000);
  EXPECT_EQ(::ioctl(device, 0xc01c9804, command.data()), 7);
  EXPECT_EQ(::zoltrace_GetRealtimeValues(&values, &count), ztSuccess);
  waitUntil(board, 11000);
  EXPECT_EQ(::ioctl(device, 0xc01c9804, command.data()), 0);
  ::close(device);
}

}  // namespace
