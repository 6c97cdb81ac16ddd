#include "simulator/model/board_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "simulator/model/json.h"
#include "simulator/model/model.h"
#include "tests/simulator/board_text.h"

namespace {

using simulator::Board;

// What is wrong with the board; empty when nothing is.
// The member under test begins on the fourth line.
std::string boardWith(const std::string& member) {
  return "{\n\"model\": \"x\",\n\"cores\": [{\"count\": 2}],\n" + member + "\n}\n";
}

TEST(BoardFile, NamesFileLineAndKeyOfAMistake) {
  const struct {
    const char* member;
    const char* message;
  } kMistakes[] = {
      {"\"colour\": 1", "board:4: colour: is not known here"},
      {"\"thermal_zones\": [\n{\"type\": \"a\"},\n{\"typ\": \"b\"}]",
       "board:6: thermal_zones[1].typ: is not known here"},
      {"\"disks\": [{\"name\": \"sda\",\n\"reads\":\n\"12\"}]",
       "board:5: disks[0].reads: must be a number or a signal"},
      {"\"disks\": [{\"name\": \"\"}]", "board:4: disks[0].name: is empty"},
      {"\"disks\": [{\"major\": 8}]", "board:4: disks[0]: has no \"name\""},
      {"\"platform\": 7", "board:4: platform: must be a text"},
      {"\"feature_id\": 256", "board:4: feature_id: must be from 0 to 255"},
      {"\"feature_id\": 1.5", "board:4: feature_id: must be a whole number"},
      {"\"model\": \"again\"", "board:4: model: is there twice"},
      {"\"memory\": {\"total_kb\": 1,\n\"free_kb\": {\"sine\": [0.0001, 1], \"period_ms\": 10}}",
       "board:5: memory.free_kb.sine[0]: has more than three decimals"},
      {"\"memory\": {\"free_kb\": {\"square\": [1, 2], \"period_ms\": 10, \"first_ms\": 11}}",
       "board:4: memory.free_kb: first_ms is longer than period_ms"},
      {"\"interfaces\": [{\"name\": \"eth0\", \"rx_bytes\": -1}]",
       "board:4: interfaces[0].rx_bytes: must be from 0 to 1000000000000"},
      {"\"processes\": [{\"pid\": 5, \"name\": \"a\"},\n{\"pid\": 4, \"name\": \"b\", \"count\": 2}]",
       "board:5: processes[1].pid: 5 is there already"},
      {"\"faults\": [{\"core\": 2, \"kind\": \"offline\"}]", "board:4: faults[0].core: must be from 0 to 1"},
      {"\"faults\": [{\"core\": 1, \"kind\": \"open\"}]", "board:4: faults[0].kind: must be one of: offline"},
      {"\"faults\": [{\"node\": \"/proc/stat\", \"kind\": \"open\", \"error\": \"EWRONG\"}]",
       "board:4: faults[0].error: must be the name of an error, such as EINVAL"},
      {"\"faults\": [{\"kind\": \"vanish\",\n\"node\": \"/proc/start\"}]",
       "board:4: faults[0]: /proc/start is not on this board"},
      {"\"faults\": [{\"interface\": \"eth9\", \"kind\": \"wrap\", \"counter\": \"rx_bytes\"}]",
       "board:4: faults[0].interface: is not on this board"},
      {"\"gpu\": {\"busy\": 3}, \"faults\": [{\"profiler\": \"Init\", \"kind\": \"result\", \"result\": 1}]",
       "board:4: faults[0].profiler: is not on this board"},
      {"\"disks\": [{\"name\": \"sda\"},\n{\"name\": \"sda\"}]",
       "board:5: disks[1].name: sda is there already"},
      {"\"interfaces\": [{\"name\": \"eth0/1\"}]", "board:4: interfaces[0].name: is no name of a file"},
      {"\"interfaces\": [{\"name\": \"lo\", \"count\": 2}]",
       "board:4: interfaces[0].name: lo is there already"},
      {"\"thermal_zones\": [{\"temperature\": 40,\n\"ambient\": 20}]",
       "board:5: thermal_zones[0].ambient: is of no use beside temperature"},
      {"\"memory\": {\"total_kb\": 100,\n\"free_kb\": {\"ramp\": [1, 101], \"over_ms\": 5}}",
       "board:5: memory.free_kb: is more than total_kb"},
      {"\"disks\": [{\"name\": \"sda\" \"reads\": 3}]", "board:4: name: not JSON at '\"reads\"'"},
  };
  for (const auto& [member, message] : kMistakes) EXPECT_EQ(mistakeIn(boardWith(member)), message) << member;
}

TEST(BoardFile, IsAFileOfReasonableDepth) {
  EXPECT_EQ(mistakeIn(std::string(100000, '[')), "board:1: is nested too deeply");
  for (const char* const path : {"/", "/dev/zero"}) {
    try {
      simulator::readBoardFile(path);
      FAIL();
    } catch (const simulator::BoardFileError& error) {
      EXPECT_STREQ(error.what(), (std::string{path} + ":1: is no regular file").c_str());
    }
  }
}

TEST(BoardFile, AnIdMayComeAgainInAnotherLife) {
  Board board;
  simulator::loadBoardText(board, R"({"model": "x", "cores": [{}], "processes": [
    {"pid": 9, "name": "first", "ended_ms": 1000}, {"pid": 9, "name": "second", "born_ms": 2000}]})");
  EXPECT_EQ(textOf("/proc/9/comm"), "first\n");
  ::usleep(1500000);
  EXPECT_EQ(textOf("/proc/9/comm"), "ENOENT");
  ::usleep(1000000);
  EXPECT_EQ(textOf("/proc/9/comm"), "second\n");
}

TEST(BoardFile, NodesAreAddedToWhatTheBoardHas) {
  Board board;
  simulator::loadBoardText(board, R"({"model": "x", "cores": [{}], "processes": [
    {"pid": 2, "name": "kthreadd", "ppid": 0},
    {"pid": 931, "name": "a-name-of-more-than-15-characters", "threads": 2, "user": 50}],
    "nodes": {"/proc/931/io": "rchar: 7\n", "/proc/931/wchan": "0"}})");
  EXPECT_EQ(textOf("/proc/931/io"), "rchar: 7\n");
  EXPECT_EQ(textOf("/proc/931/stat").substr(0, 24), "931 (a-name-of-more-) S ");
  EXPECT_EQ(textOf("/proc/931/task/932/comm"), "a-name-of-more-\n");
  EXPECT_EQ(textOf("/proc/931/task/933/comm"), "ENOENT");
  EXPECT_EQ(textOf("/proc/931/cmdline"), std::string("a-name-of-more-than-15-characters\0", 34));
  EXPECT_EQ(textOf("/proc/2/cmdline"), "");
  ::usleep(1000000);
  EXPECT_NE(textOf("/proc/931/task/931/stat").find(" 0 0 0 0 50 0 0 0 20 0 2 0 "), std::string::npos);
  EXPECT_NE(textOf("/proc/931/task/932/stat").find(" 0 0 0 0 0 0 0 0 20 0 2 0 "), std::string::npos);
  const auto names = board.list("/proc/931");
  EXPECT_EQ(std::count(names.begin(), names.end(), "io"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "wchan"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "status"), 1);
  const auto processes = board.list("/proc");
  EXPECT_EQ(std::count(processes.begin(), processes.end(), "931"), 1);
}

TEST(BoardFile, KnowsThatACoreHasNoMoreThanAllOfItsTime) {
  EXPECT_EQ(mistakeIn(R"({"model": "x", "cores": [
{"load": {"user": {"sine": [10, 70], "period_ms": 1000}, "system": 20, "guest": 60}},
{"load": {"user": {"sine": [10, 70], "period_ms": 1000}, "system": 30.001}}]})"),
            "board:3: cores[1].load: comes to more than 100 percent");
}

}  // namespace
