#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>

#include "tessary/cpu_mon.h"
#include "tests/cpu/cpu_board.h"

namespace {

std::string clockNode(std::size_t core) { return CpuBoard::node(core, "cpufreq/cpuinfo_cur_freq"); }

TEST(CpuFrequency, IsEachNodesNumberInOrder) {
  CpuBoard board{{1, 1, 1}};
  board.file(clockNode(0), "1804800\n");
  board.file(clockNode(1), "unknown\n");
  board.file(clockNode(2), "2419200");
  cpu::CPU_MON monitor;
  const int64_t* const clocks = monitor.tessary_getCPUFrequency();
  ASSERT_NE(clocks, nullptr);
  EXPECT_EQ(clocks[0], 1804800);
  EXPECT_EQ(clocks[1], 0);
  EXPECT_EQ(clocks[2], 2419200);
  EXPECT_EQ(lastLogged(board, kVerbose), "CPU_MON : cpu 2 freq = 2419200.\n");
  EXPECT_TRUE(board.waits().empty());
  board.file(clockNode(2), "unknown\n");
  EXPECT_EQ(monitor.tessary_getCPUFrequency(), clocks);
  EXPECT_EQ(clocks[2], 2419200);
  monitor.numCores = 4;  // by a host: the table has its size from before
  EXPECT_EQ(monitor.tessary_getCPUFrequency(), clocks);
}

TEST(CpuFrequency, StopsAtTheFirstNodeThatCannotBeOpened) {
  CpuBoard board{{1, 1, 1}};
  for (const std::size_t core : {0U, 1U, 2U}) board.file(clockNode(core), "1000\n");
  cpu::CPU_MON monitor;
  ASSERT_NE(monitor.tessary_getCPUFrequency(), nullptr);
  for (const std::size_t core : {0U, 1U, 2U}) board.file(clockNode(core), "2000\n");
  board.refuse(clockNode(1), EACCES);
  EXPECT_EQ(monitor.tessary_getCPUFrequency(), nullptr);
  EXPECT_EQ(monitor.implementation->cpuFrequency[0], 2000);
  EXPECT_EQ(monitor.implementation->cpuFrequency[2], 1000);
  EXPECT_EQ(lastLogged(board, kError),
            "Error while reading the CPU frequency node for CPU1. Error number = 13\n");
}

TEST(CpuFrequency, AFolderThatCannotBeOpenedFailsLikeItsFirstNode) {
  CpuBoard board{{1}};
  cpu::CPU_MON monitor;
  board.refuse("/sys/devices/system/cpu", EMFILE);
  EXPECT_EQ(monitor.tessary_getCPUFrequency(), nullptr);
  EXPECT_EQ(lastLogged(board, kError),
            "Error while reading the CPU frequency node for CPU0. Error number = 24\n");
}

TEST(CpuFrequency, AMissingTableIsReported) {
  CpuBoard board{{1}};
  board.failAllocation(6);  // capacity, factor, usage, total, idle, frequency
  cpu::CPU_MON monitor;
  EXPECT_EQ(monitor.tessary_getCPUFrequency(), nullptr);
  EXPECT_EQ(board.logged(kError), std::vector<std::string>{"Error in calloc, null pointer returned.\n"});
}

TEST(CpuCapacity, FactorsAreSharesInSinglePrecision) {
  CpuBoard board{{320, 320, 320, 320, 902, 902, 902, 1024}};
  cpu::CPU_MON monitor;
  const float* const factor = monitor.implementation->cpuFactor;
  ASSERT_NE(factor, nullptr);
  EXPECT_EQ(factor[0], 320.0F / 5010.0F);
  EXPECT_EQ(factor[7], 1024.0F / 5010.0F);
  EXPECT_EQ(board.logged(kVerbose)[8], "CPU_MON_INTERFACE : cpu 0 cpu_factor = 0.063872.\n");
}

TEST(CpuCapacity, ANodeThatCannotBeOpenedLeavesNoFactors) {
  CpuBoard board{{100, 100}};
  board.refuse(CpuBoard::node(1, "cpu_capacity"), ENOENT);
  cpu::CPU_MON monitor;
  EXPECT_EQ(monitor.implementation->cpuCapacity[0], 100);
  EXPECT_EQ(monitor.implementation->cpuFactor, nullptr);
  EXPECT_EQ(board.logged(kError).front(),
            "Error while reading the CPU capacity node for CPU1. Error number = 2\n");
}

TEST(CpuCapacity, SumsWrapIn32Bits) {
  CpuBoard wrapping{{2147483647, 1}};
  EXPECT_EQ(cpu::CPU_MON{}.implementation->cpuFactor[1], 1.0F / -2147483648.0F);
}

TEST(CpuCapacity, AZeroSumGivesFactorsThatAreNotFinite) {
  CpuBoard board{{0, 0}};
  EXPECT_FALSE(std::isfinite(cpu::CPU_MON{}.implementation->cpuFactor[0]));
}

}  // namespace
