#include "tessary/thermal_mon.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support.h"

namespace {

using simulator::Board;
using Temperatures = std::vector<int>;

std::string zone(const std::string& name) { return "/sys/class/thermal/" + name; }

struct ThermalBoard : Board {
  ThermalBoard() {
    file(zone("thermal_zone3/temp"), "45000\n");  // millidegrees Celsius
    file(zone("cooling_device0/cur_state"), "1\n");
    file(zone("thermal_zone0/temp"), "-1500");
    file(zone("thermal_zone/temp"), "51000 x\n");
  }
};

TEST(ThermalMonitor, ReadsEveryZoneInTheOrderOfTheFolder) {
  ThermalBoard board;
  thermal::THERMAL_MON monitor;
  EXPECT_EQ(monitor.tessary_getNumSensors(), 3);
  EXPECT_EQ(monitor.tessary_getSensorNames(), (Lines{"thermal_zone3", "thermal_zone0", "thermal_zone"}));
  Temperatures* const first = monitor.tessary_getThermalStats();
  EXPECT_EQ(*first, (Temperatures{45000, -1500, 51000}));
  board.file(zone("thermal_zone3/temp"), "46000\n");
  EXPECT_EQ(monitor.tessary_getThermalStats(), first);
  EXPECT_EQ(*first, (Temperatures{46000, -1500, 51000}));
}

TEST(ThermalMonitor, EndsAtAZoneThatCannotBeOpened) {
  ThermalBoard board;
  thermal::THERMAL_MON monitor;
  board.refuse(zone("thermal_zone0/temp"), EACCES);
  EXPECT_EQ(*monitor.tessary_getThermalStats(), Temperatures{45000});
  EXPECT_EQ(board.logged(kError), Lines{"Error while reading the THERMAL node. Error number = 13\n"});
  board.remove("/sys/class/thermal/thermal_zone3");
  EXPECT_EQ(*monitor.tessary_getThermalStats(), Temperatures{});
  EXPECT_EQ(lastLogged(board, kError), "Error while reading the THERMAL node. Error number = 2\n");
}

TEST(ThermalMonitor, AZoneWithoutANumberRepeatsTheOneBefore) {
  ThermalBoard board;
  thermal::THERMAL_MON monitor;
  board.failRead(zone("thermal_zone0/temp"), EAGAIN);
  EXPECT_EQ(*monitor.tessary_getThermalStats(), (Temperatures{45000, 45000, 51000}));
  board.file(zone("thermal_zone3/temp"), "unavailable\n");
  EXPECT_EQ(*monitor.tessary_getThermalStats(), (Temperatures{0, 0, 51000}));
}

TEST(ThermalMonitor, ANumberBeyond32BitsLeavesItsLowBits) {
  ThermalBoard board;
  board.file(zone("thermal_zone3/temp"), "4294967303\n");
  EXPECT_EQ(thermal::THERMAL_MON{}.tessary_getThermalStats()->at(0), 7);
}

TEST(ThermalMonitor, FindsItsZonesOnceMoreWhenAsked) {
  ThermalBoard board;
  thermal::THERMAL_MON monitor;
  EXPECT_EQ(monitor.implementation->getThermalZones(), 3);
  EXPECT_EQ(monitor.tessary_getNumSensors(), 6);
  EXPECT_EQ(*monitor.tessary_getThermalStats(), (Temperatures{45000, -1500, 51000, 45000, -1500, 51000}));
}

TEST(ThermalMonitor, AZoneOutsideTheFolderIsReadByItsPath) {
  ThermalBoard board;
  board.file("/sys/class/thermal_more/zone/temp", "7\n");
  thermal::THERMAL_MON monitor;
  board.file("/sys/class/thermal/temp", "8\n");
  monitor.implementation->zonePaths = {"/sys/class/thermal_more/zone", "/sys/class/thermal/"};
  EXPECT_EQ(*monitor.tessary_getThermalStats(), (Temperatures{7, 8}));
}

TEST(ThermalMonitor, LogsItsConstructionTwiceAndItsEnd) {
  ThermalBoard board;
  { const thermal::THERMAL_MON monitor; }
  Lines lines;
  for (const simulator::LogLine& line : board.log()) {
    EXPECT_EQ(line.tag, "libtessary : thermal_mon");
    lines.push_back(line.text);
  }
  EXPECT_EQ(lines, (Lines{"THERMAL_MON : Constructor done.\n", "THERMAL_MON : Constructor done.\n",
                          "THERMAL_MON_INTERFACE : Destructor done.\n", "THERMAL_MON : Destructor done.\n"}));
}

TEST(ThermalMonitor, HasNoZonesWithoutTheFolder) {
  Board board;
  board.folder("/sys/class/thermal");
  board.refuse("/sys/class/thermal", EACCES);
  Captured errors{STDERR_FILENO};
  thermal::THERMAL_MON monitor;
  EXPECT_EQ(errors.text(), "Unable to read directory: Permission denied\n");
  EXPECT_EQ(board.log()[0].text, "THERMAL_MON : /sys/class/thermal can't be accessed!!!\n");
  EXPECT_EQ(board.log()[0].priority, kError);
  EXPECT_EQ(board.log()[1].text, "THERMAL_MON : Constructor done.\n");
  EXPECT_EQ(monitor.implementation->inaccessible, 1);
  EXPECT_EQ(monitor.tessary_getNumSensors(), 0);
  EXPECT_TRUE(monitor.tessary_getThermalStats()->empty());
}

}  // namespace
