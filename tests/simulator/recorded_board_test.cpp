// Series, recordings and captures as boards. tests/cli/replay.sh and capture.sh compare whole ones.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "simulator/model/json.h"
#include "simulator/model/model.h"
#include "tests/simulator/board_text.h"

namespace {

using simulator::Board;
using simulator::Series;
using simulator::Signal;

Signal seriesOf(std::vector<Series::Point> points) {
  return Signal::series(std::make_shared<const Series>(std::move(points)));
}

TEST(Series, HoldsFromEachTimeOnAndItsIntegralIsExact) {
  const Signal signal = seriesOf({{1000, 12500}, {3000, std::nullopt}, {4000, 1000}});
  EXPECT_FALSE(signal.isThere(999));
  EXPECT_EQ(signal.at(1000), 12500);
  EXPECT_EQ(signal.at(2999), 12500);
  EXPECT_FALSE(signal.isThere(3000));
  EXPECT_EQ(signal.integral(500), 0);
  EXPECT_EQ(signal.integral(2500), 1500 * 12500);
  EXPECT_EQ(signal.integral(5000), 2000 * 12500 + 1000 * 1000);
  EXPECT_EQ(signal.highest(), 12500);
}

// A recording may begin before the board does.
TEST(Series, CountsFromTheBoardsStart) {
  const Signal signal = seriesOf({{-1000, 2000}, {1000, 3000}});
  EXPECT_TRUE(signal.isAlwaysThere());
  EXPECT_EQ(signal.integral(0), 0);
  EXPECT_EQ(signal.integral(2000), 1000 * 2000 + 1000 * 3000);
}

TEST(Series, TakesTheNodeOrTheLineAwayWhileItIsAbsent) {
  Board board;
  simulator::loadBoardText(board,
                           R"({"model": "x", "cores": [{"max_khz": 9, "clock_khz": {"series": [[0, 5]]}}],
    "thermal_zones": [{"type": "a", "temperature": {"series": [[0, 40], [1000, null], [2000, -2.5]]}}],
    "cooling_devices": [{"type": "fan", "state": {"series": [[0, 3], [1000, null], [2000, 4]]}}],
    "interfaces": [{"name": "a", "rx_bytes": {"series": [[0, 7], [1000, null], [2000, 5]]}}],
    "memory": {"total_kb": 8, "free_kb": {"series": [[1000, 4]]}}})");
  constexpr char kZone[] = "/sys/class/thermal/thermal_zone0/temp";
  EXPECT_EQ(textOf(kZone), "40000\n");
  constexpr char kBytes[] = "/sys/class/net/a/statistics/rx_bytes";
  EXPECT_EQ(textOf(kBytes), "0\n");
  EXPECT_EQ(textOf("/proc/meminfo").find("MemFree"), std::string::npos);
  constexpr char kNodeMemory[] = "/sys/devices/system/node/node0/meminfo";
  EXPECT_EQ(textOf(kNodeMemory), "Node 0 MemTotal:             8 kB\n");
  EXPECT_EQ(textOf("/proc/vmstat").find("nr_free_pages"), std::string::npos);
  EXPECT_EQ(textOf("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_cur_freq"), "5\n");
  ::usleep(kMicrosecondsInSecond);
  EXPECT_EQ(::access(kZone, R_OK), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(textOf("/sys/class/hwmon/hwmon0/temp1_input"), "ENOENT");  // the same sensor
  EXPECT_EQ(textOf("/sys/class/thermal/cooling_device0/cur_state"), "ENOENT");
  EXPECT_EQ(textOf(kBytes), "ENOENT");
  EXPECT_NE(textOf("/proc/meminfo").find("MemFree:               4 kB"), std::string::npos);
  EXPECT_NE(textOf(kNodeMemory).find("Node 0 MemUsed:              4 kB\n"), std::string::npos);
  EXPECT_EQ(textOf("/proc/vmstat").find("nr_free_pages 1\n"), 0U);
  ::usleep(kMicrosecondsInSecond);
  EXPECT_EQ(textOf(kZone), "-2500\n");
  EXPECT_EQ(textOf(kBytes), "7\n");
  EXPECT_EQ(textOf("/sys/class/thermal/cooling_device0/cur_state"), "4\n");
}

constexpr char kRecordingHeader[] = R"({"schema":"tessary-record","version":2,"boot_time_ns":5000000000})";

std::string sampleAt(int second, const std::string& sections) {
  return R"({"boot_time_ns":)" + std::to_string(5 + second) + R"(000000000,"interval_ms":1000.0,)" +
         sections + "}";
}

TEST(RecordedBoard, HasWhatWasReadAroundItsTimeAndTheFaultsOfItsReasons) {
  Board board;
  simulator::loadBoardText(
      board, std::string{kRecordingHeader} + "\n" +
                 sampleAt(1, R"("thermal":{"zones":[{"zone":"thermal_zone0","temperature_celsius":41.5}]})") +
                 "\n" +
                 sampleAt(2, std::string{R"("thermal":{"zones":[{"zone":"thermal_zone0"}],"errors":[)"} +
                                 R"({"items":["zones[0].temperature_celsius"],)" +
                                 R"("error":"/sys/class/thermal/thermal_zone#/temp: Permission denied"}]})") +
                 "\n" +
                 sampleAt(3, std::string{R"("thermal":{"zones":[{"zone":"thermal_zone0"}],"errors":[)"} +
                                 R"({"items":["zones[0].temperature_celsius"],)" +
                                 R"("error":"/sys/class/thermal/thermal_zone#/temp: No such process"}]})") +
                 "\n" + R"({"boot_time_ns":)");  // cut while it was written
  constexpr char kZone[] = "/sys/class/thermal/thermal_zone0/temp";
  EXPECT_EQ(textOf(kZone), "41500\n");
  ::usleep(kMicrosecondsInSecond * 3 / 2);
  EXPECT_EQ(::access(kZone, R_OK), -1);
  EXPECT_EQ(errno, EACCES);
  ::usleep(kMicrosecondsInSecond);
  EXPECT_EQ(::access(kZone, R_OK), 0);  // an error that reading alone ends with
  EXPECT_EQ(textOf(kZone), "ESRCH");
}

TEST(RecordedBoard, MayHaveFaultsOfItsOwn) {
  Board board;
  simulator::loadBoardText(
      board, std::string{R"({"recording": [)"} + kRecordingHeader + ",\n" +
                 sampleAt(1, R"("memory":{"total_kib":2048,"available_kib":1024})") +
                 R"(], "faults": [{"node": "/proc/meminfo", "kind": "open", "error": "EMFILE"}]})");
  EXPECT_EQ(::access("/proc/meminfo", R_OK), -1);
  EXPECT_EQ(errno, EMFILE);
}

TEST(RecordedBoard, NamesTheLineOfAMistake) {
  const std::string header = std::string{kRecordingHeader} + "\n";
  const std::string first = sampleAt(1, R"("memory":{})") + "\n";
  EXPECT_EQ(mistakeIn(header + first + "rubbish\n").substr(0, 18), "board:3: not JSON ");
  EXPECT_EQ(mistakeIn("{\"a\\nb\": 1}").find('\n'), std::string::npos);
  EXPECT_EQ(mistakeIn(header + first + first), "board:3: boot_time_ns: is not after the sample before");
  EXPECT_EQ(mistakeIn(header + sampleAt(1, R"("thermal":{"zones":[{"zone":"up"}]})") + "\n"),
            "board:2: thermal.zones[0].zone: is no zone's name");
  EXPECT_EQ(mistakeIn(R"({"schema":"tessary-record","version":9})"
                      "\n"),
            "board:1: version: must be from 1 to 2");
  EXPECT_EQ(mistakeIn(R"({"model": "x", "cores": [{}], "ddr": {"a1": {"series": [[5, 1], [5, 2]]}}})"),
            "board:1: ddr.a1.series[1]: is not after the one before it");
  EXPECT_EQ(mistakeIn(R"({"model": "x", "frames": [{"at_ms": 5, "nodes": {}}, {"at_ms": 5, "nodes": {}}]})"),
            "board:1: frames[1].at_ms: is not after the frame before");
}

TEST(CapturedBoard, GivesTheTextsOfEachFrameAndNothingElse) {
  Board board;
  simulator::loadBoardText(board, R"({"model": "x", "processors": 4, "frames": [
    {"at_ms": 0, "nodes": {"/proc/931/stat": "931 (a) S", "/proc/931/smaps_rollup": {"error": 13},
                           "/sys/block": ["sda"], "/proc/stat": "cpu \\x5c\\xff\n"}},
    {"at_ms": 1000, "nodes": {"/proc/stat": "cpu 2\n", "/sys/block": []}},
    {"at_ms": 2000, "nodes": {"/proc/931/stat": null, "/proc/931/smaps_rollup": null, "/sys/block": {"error": 24}}}]})");
  EXPECT_EQ(::sysconf(_SC_NPROCESSORS_CONF), 4);
  EXPECT_EQ(textOf("/proc/stat"), "cpu \\\xff\n");
  EXPECT_EQ(textOf("/proc/931/stat"), "931 (a) S");
  EXPECT_EQ(::access("/proc/931/smaps_rollup", R_OK), -1);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(::access("/sys/block/sda", R_OK), 0);
  EXPECT_EQ(::access("/proc/diskstats", R_OK), -1);
  ::usleep(kMicrosecondsInSecond);
  EXPECT_EQ(textOf("/proc/stat"), "cpu 2\n");
  EXPECT_EQ(textOf("/proc/931/stat"), "931 (a) S");
  EXPECT_EQ(::access("/sys/block/sda", R_OK), -1);
  ::usleep(kMicrosecondsInSecond);
  EXPECT_EQ(::access("/proc/931", R_OK), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(::access("/sys/block", R_OK), -1);
  EXPECT_EQ(errno, EMFILE);
}

}  // namespace
