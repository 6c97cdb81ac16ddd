#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <iostream>
#include <string>

#include "tessary/cpu_mon.h"
#include "tests/cpu/cpu_board.h"

namespace {

using simulator::Board;
using simulator::Cores;

// user nice system idle iowait irq softirq steal guest guest_nice, in ticks
constexpr char kFirstReading[] =
    "cpu  0 0 0 0 0 0 0 0 0 0\n"
    "cpu0 100 0 100 1000 0 0 0 0 0 0\n"
    "cpu1 100 0 100 1000 0 0 0 10 0 0\n"
    "intr 5 0 0\n";
// Core 0: 25 busy, 75 idle. Core 1: 40 in I/O wait, 40 idle, 20 stolen.
constexpr char kSecondReading[] =
    "cpu  9 9 9 9 9 9 9 9 9 9\n"
    "cpu0 120 0 105 1075 0 0 0 0 0 0\n"
    "cpu1 100 0 100 1040 40 0 0 30 0 0\n"
    "intr 6 0 0\n";

TEST(CpuLoad, IsTheShareOfTheIntervalThatWasNotIdleWeightedByCapacity) {
  CpuBoard board{{256, 768}};
  board.file("/proc/stat", kFirstReading);
  board.afterWait([&] { board.file("/proc/stat", kSecondReading); });
  cpu::CPU_MON monitor;

  const double* const load = monitor.tessary_getPerCoreUsage();
  const double* const steal = monitor.tessary_getPerCoreStealTime();

  ASSERT_NE(load, nullptr);
  EXPECT_EQ(load[1], 25.0);
  EXPECT_EQ(load[2], 60.0);
  EXPECT_EQ(load[0], 25.0 * 0.25 + 60.0 * 0.75);
  EXPECT_EQ(steal[1], 0.0);
  EXPECT_EQ(steal[2], 20.0);
  EXPECT_EQ(steal[0], 15.0);
  EXPECT_EQ(board.waits(), std::vector<std::int64_t>{1000000});
  EXPECT_EQ(lastLine(board).tag, "libtessary : cpu_mon");
  EXPECT_EQ(lastLogged(board, kVerbose), "CPU_MON : cpu1 cpu_load = 60.000000.\n");
}

TEST(CpuMonitor, SpeaksInTheOrderOfItsLife) {
  CpuBoard board{{1024}};
  board.property("ro.board.platform", "brindle");
  board.file("/sys/devices/soc0/machine", "VX2200\n");
  board.file("/sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem", std::string("\x00\x00\x50\x00", 4));
  {
    cpu::CPU_MON monitor;
    EXPECT_EQ(monitor.tessary_getPerCoreStealTime()[1], 0.0);
  }
  EXPECT_EQ(
      board.logged(kVerbose),
      (std::vector<std::string>{
          "CPU_MON : cpu 0 cpu_capacity = 1024.\n", "CPU_MON_INTERFACE : cpu 0 cpu_factor = 1.000000.\n",
          "CPU_MON : Getting the feature ID for the board.\n", "CPU_MON : The read value =      5242880\n\n",
          "CPU_MON_INTERFACE : The feature ID = 5\n", "CPU_MON : Getting the platform name.\n",
          "CPU_MON_INTERFACE : The buffer reads = brindle\n",
          "CPU_MON_INTERFACE: The platform name = brindle\n", "CPU_MON : Reading the SOC name now.\n",
          "CPU_MON_INTERFACE : The SOC name = VX2200\n",
          "CPU_MON_INTERFACE : The SOC name read from the object = VX2200\n",
          "CPU_MON_INTERFACE : Constructor done.\n", "CPU_MON_INTERFACE : Destructor done.\n"}));
}

TEST(CpuLoad, GuestTimeCountsASecondTime) {
  CpuBoard board{{1024}};
  board.file("/proc/stat", "cpu 0\ncpu0 0 0 0 0 0 0 0 0 0 0\n");
  board.afterWait(
      [&] { board.file("/proc/stat", "cpu 0 0 0 0 0 0 0 0 0 0\ncpu0 10 0 0 30 0 0 0 0 10 10\n"); });
  cpu::CPU_MON monitor;
  const double* const load = monitor.tessary_getPerCoreUsage();
  EXPECT_EQ(load[1], 50.0);  // 30 of 60, not of 40
}

TEST(CpuLoad, TotalIsLoggedAndNegativeWhenNothingWasMeasured) {
  CpuBoard board{{1024}};
  board.refuse("/proc/stat", EACCES);
  cpu::CPU_MON monitor;
  EXPECT_EQ(monitor.tessary_getTotalCPULoad(), -1.0);
  EXPECT_EQ(lastLogged(board, kError), "Error while reading the CPU node. Error number = 13\n");
  EXPECT_EQ(lastLogged(board, kVerbose), "CPU_MON : total cpu = -1.000000.\n");
  EXPECT_TRUE(board.waits().empty());
}

TEST(CpuLoad, StatThatVanishesDuringTheWaitFailsTheMeasurement) {
  CpuBoard board{{1024}};
  board.file("/proc/stat", kFirstReading);
  board.afterWait([&] { board.refuse("/proc/stat", ENOENT); });
  cpu::CPU_MON monitor;
  EXPECT_EQ(monitor.tessary_getPerCoreUsage(), nullptr);
  EXPECT_EQ(monitor.implementation->prevIdleTime[1], 1000.0);
}

TEST(CpuLoad, ATableThatCouldNotBeAllocatedIsReportedByTheMeasurement) {
  CpuBoard board{{1024}};
  board.file("/proc/stat", kFirstReading);
  board.failAllocation(3);  // capacity, factor, usage
  cpu::CPU_MON monitor;
  EXPECT_EQ(monitor.implementation->cpuUsage, nullptr);
  EXPECT_EQ(monitor.tessary_getPerCoreUsage(), nullptr);
  EXPECT_EQ(lastLogged(board, kError), "Error in calloc, null pointer returned.\n");
}

TEST(CpuLoad, CoresWeighTheSameWithoutCapacities) {
  Board board{Cores{2}};
  board.file("/proc/stat", kFirstReading);
  board.afterWait([&] { board.file("/proc/stat", kSecondReading); });
  cpu::CPU_MON monitor;
  ASSERT_EQ(monitor.implementation->cpuFactor, nullptr);
  EXPECT_EQ(monitor.tessary_getTotalCPULoad(), (25.0 + 60.0) / 2);
}

TEST(CpuLoad, AMissingOrShortRowShiftsAndKeepsTheValuesOfTheRowBefore) {
  CpuBoard board{{1, 1, 1}};
  // Core 1 is offline: its row is core 2's, and the last row is a line of no core. It has three numbers, of
  // which the third takes in the rest of the row before.
  board.file("/proc/stat",
             "cpu 0 0 0 0 0 0 0 0 0 0\ncpu0 1 0 0 9 0 0 0 0 0 0\ncpu2 5 0 0 5 0 0 0 0 0 0\nintr 7 8\n");
  board.afterWait([&] {
    board.file("/proc/stat",
               "cpu 0 0 0 0 0 0 0 0 0 0\ncpu0 2 0 0 18 0 0 0 0 0 0\ncpu2 10 0 0 5 0 0 0 0 0 0\nintr 7 8\n");
  });
  cpu::CPU_MON monitor;
  const double* const load = monitor.tessary_getPerCoreUsage();
  EXPECT_EQ(load[1], 10.0);
  EXPECT_EQ(load[2], 100.0);
  EXPECT_FALSE(std::isfinite(load[3]));  // 7 8 0 5 .. both times
  EXPECT_EQ(monitor.implementation->prevIdleTime[3], 5.0);
  EXPECT_EQ(monitor.implementation->prevTotalTime[3], 20.0);
}

TEST(CpuLoad, AnyTextIsMeasuredWithoutOverrunForAnyNumberOfCores) {
  const std::string texts[] = {
      "",
      "\n",
      "cpu",
      "cpu 1",
      "garbage without numbers",
      std::string(10'000'000, '7'),
      std::string(500, '\0'),
      "cpu -1 -2 -3 1e999 nan inf 0x7 18446744073709551616 . -\n",
  };
  for (const int cores : {0, 1, 2, 8, 64}) {
    CpuBoard board{std::vector<int>(static_cast<std::size_t>(cores), 1)};
    cpu::CPU_MON monitor;
    for (const std::string& text : texts) {
      board.file("/proc/stat", text);
      EXPECT_NE(monitor.tessary_getPerCoreUsage(), nullptr);
    }
    std::string growing = "cpu 1 1 1 1 1 1 1 1 1 1\n";
    board.file("/proc/stat", [&growing] { return growing += growing; });
    EXPECT_NE(monitor.tessary_getPerCoreUsage(), nullptr);
  }
}

TEST(CpuLoad, TheSamplingTimeIsTakenAsGivenAndReported) {
  CpuBoard board{{1024}};
  board.file("/proc/stat", kFirstReading);
  cpu::CPU_MON monitor;
  EXPECT_EQ(outputOf([&] { monitor.tessary_setSamplingTime(250); }), "Changed Sample Time = 250\n");
  monitor.tessary_getPerCoreUsage();
  EXPECT_EQ(outputOf([&] { monitor.tessary_setSamplingTime(-1); }), "Changed Sample Time = -1\n");
  monitor.tessary_getPerCoreUsage();
  std::cout << std::hex;  // the number has its own width on whatever stream the host has left
  EXPECT_EQ(outputOf([&] { monitor.tessary_setSamplingTime(-7); }), "Changed Sample Time = fffffff9\n");
  std::cout << std::dec;
  // The product of -1 and 1000 as an unsigned 32-bit number.
  EXPECT_EQ(board.waits(), (std::vector<std::int64_t>{250000, 4294966296}));
}

}  // namespace
