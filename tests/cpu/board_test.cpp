#include "tessary/board.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tessary/cpu_mon.h"
#include "tests/cpu/cpu_board.h"

namespace {

constexpr char kMachine[] = "/sys/devices/soc0/machine";
constexpr char kFuses[] = "/sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem";

struct IdentifiedBoard : CpuBoard {
  IdentifiedBoard(const std::string& platform, const std::string& machine, int cores = 8)
      : CpuBoard{std::vector<int>(static_cast<std::size_t>(cores), 1)} {
    property("ro.board.platform", platform);
    file(kMachine, machine + "\n");
  }
};

TEST(BoardIdentity, ComesFromThePropertyTheMachineNodeAndTheFuses) {
  IdentifiedBoard board{"brindle", "VX4490P trailing"};
  // Five words: od prints four to a line. Bits 20 to 27 of the last one, 0x01200000.
  board.file(kFuses, std::string(16, '\xFF') + std::string("\x00\x00\x20\x01", 4));
  cpu::CPU_MON monitor;
  EXPECT_STREQ(monitor.implementation->platformName, "brindle");
  EXPECT_STREQ(monitor.implementation->socName, "VX4490P");
  EXPECT_EQ(monitor.implementation->featureID, 0x12);
  EXPECT_EQ(monitor.implementation->boardValid, -1);
}

TEST(BoardIdentity, TheFeatureIsInTheLastPieceOfTheLastLine) {
  const struct {
    std::string fuses;
    int64_t feature;
  } rows[] = {
      {std::string(4, '\0') + std::string("\x00\x00\x20\x02\x00\x00\x20\x01", 8),
       0},  // three words: the end of the second
      {std::string(12, '\0') + std::string("\x00\x00\x20\x81", 4),
       0xEE},  // four: the last, cut behind its sign
  };
  for (const auto& row : rows) {
    IdentifiedBoard board{"brindle", "VX4490P"};
    board.file(kFuses, row.fuses);
    EXPECT_EQ(cpu::CPU_MON{}.implementation->featureID, row.feature);
  }
}

TEST(BoardIdentity, LongNamesAreCutAndMissingOnesEmpty) {
  IdentifiedBoard board{"brindle_and_more", std::string(40, 'V')};
  board.file(kFuses, "");
  cpu::CPU_MON monitor;
  EXPECT_STREQ(monitor.implementation->platformName, "brindle_a");
  EXPECT_EQ(std::string{monitor.implementation->socName}, std::string(31, 'V'));
  EXPECT_EQ(monitor.implementation->featureID, 0);
}

TEST(BoardIdentity, ShellThatCannotBeStartedLeavesEverythingUnknown) {
  IdentifiedBoard board{"brindle", "VX4490P"};
  board.refuseCommands(EAGAIN);
  cpu::CPU_MON monitor;
  EXPECT_EQ(monitor.implementation->featureID, -1);
  EXPECT_STREQ(monitor.implementation->platformName, "");
  EXPECT_STREQ(monitor.implementation->socName, "");
  EXPECT_EQ(board.logged(kError),
            (std::vector<std::string>{"CPU_MON : popen() failed\n", "CPU_MON_INTERFACE : popen() failed.\n",
                                      "CPU_MON_INTERFACE : popen() failed.\n"}));
}

TEST(BoardValidation, TakesEveryKnownModelByPrefixAndNamesTheRuleThatDecided) {
  const struct {
    const char* platform;
    const char* machine;
    int valid;
    const char* lastLine;
  } rows[] = {
      {"brindle", "VX4410P", 1,
       "CPU_MON_INTERFACE : The obtained SOC name is validated with the feature ID.\n"},
      {"brindle_x", "VX4490AC", 1,
       "CPU_MON_INTERFACE : The obtained SOC name is validated with the feature ID.\n"},
      {"brindle", "VX2210", 1,
       "CPU_MON_INTERFACE : The obtained SOC name is validated with the featureID.\n"},
      {"brindle", "VX2210Z", 1,
       "CPU_MON_INTERFACE : The obtained SOC name is validated with the featureID.\n"},
      {"brindle", "VX4490AB", 1,
       "CPU_MON_INTERFACE : The obtained SOC name is validated with the featureID.\n"},
      {"brindle", "VX449", -1, "CPU_MON_INTERFACE : The SOC name VX449 is not supported.\n"},
      {"brindl", "VX4410P", -1,
       "CPU_MON : The platform name is mismatched. Current platform brindl is not supported.\n"},
      {"xbrindle", "VX4410P", -1,
       "CPU_MON : The platform name is mismatched. Current platform xbrindle is not supported.\n"},
  };
  for (const auto& row : rows) {
    IdentifiedBoard board{row.platform, row.machine};
    cpu::CPU_MON monitor;
    auto* const state = monitor.implementation.get();
    state->validateBoardInfo(state);
    EXPECT_EQ(state->boardValid, row.valid) << row.machine;
    EXPECT_EQ(lastLine(board).text, row.lastLine);
    EXPECT_EQ(lastLine(board).priority, row.valid == 1 ? kVerbose : kError);
  }
}

TEST(TopologyFactors, ComeFromTheRowThatTheWholeNameBegins) {
  const struct {
    const char* machine;
    int firstCapacity;
  } rows[] = {
      {"VX2140", 303}, {"VX4490AC", 259}, {"VX2210Z", 320}};  // no row begins with the last: row 0 serves
  for (const auto& row : rows) {
    IdentifiedBoard board{"brindle", row.machine};
    cpu::CPU_MON monitor;
    auto* const state = monitor.implementation.get();
    state->getCPUFactor2(state);
    EXPECT_EQ(state->cpuCapacity2[0], row.firstCapacity) << row.machine;
    EXPECT_EQ(state->cpuCapacity2[7], 1024);
    float sum = 0;
    for (int core = 0; core < 8; ++core) sum += state->cpuFactor2[core];
    EXPECT_FLOAT_EQ(sum, 1.0F);
  }
}

TEST(TopologyFactors, EightCapacitiesFitAMonitorOfTwoCores) {
  IdentifiedBoard board{"brindle", "VX4410P", 2};
  cpu::CPU_MON monitor;
  auto* const state = monitor.implementation.get();
  state->getCPUFactor2(state);
  EXPECT_EQ(state->cpuCapacity2[7], 1024);
  EXPECT_EQ(state->cpuFactor2[1], 0.5F);
}

TEST(TopologyFactors, AreZeroAndSilentOnABoardThatIsNotSupported) {
  IdentifiedBoard board{"brindle", "unknown"};
  cpu::CPU_MON monitor;
  auto* const state = monitor.implementation.get();
  state->getCPUFactor2(state);
  EXPECT_EQ(lastLine(board).text, "The board under test is not supported.\n");
  EXPECT_EQ(state->cpuCapacity2, nullptr);
  EXPECT_EQ(state->cpuFactor2[0], 0.0F);
}

// A program of the machine's own by the name of getprop, and a time limit on what it does to the caller.
class Getprop {
 public:
  explicit Getprop(const std::string& script) {
    EXPECT_NE(::mkdtemp(folder_), nullptr);
    const std::string program = std::string{folder_} + "/getprop";
    std::ofstream{program} << "#!/bin/sh\n" << script;
    ::chmod(program.c_str(), 0755);
    ::setenv("PATH", (folder_ + (":" + path_)).c_str(), 1);
    ::alarm(20);
  }
  ~Getprop() {
    ::alarm(0);
    ::setenv("PATH", path_.c_str(), 1);
    std::filesystem::remove_all(folder_);
  }

  std::string file(const std::string& name) const { return std::string{folder_} + "/" + name; }

 private:
  char folder_[32] = "/tmp/tessary-getprop-XXXXXX";
  const std::string path_ = std::getenv("PATH");
};

TEST(MachineName, IsKnownWhileAChildOfTheCommandHoldsThePipe) {
  const Getprop getprop{"exec 3<> \"$0.gate\"; read line <&3 & echo brindle\n"};
  ::mkfifo(getprop.file("getprop.gate").c_str(), 0600);
  const int gate = ::open(getprop.file("getprop.gate").c_str(), O_RDWR | O_CLOEXEC);
  gen3Machine = false;
  checkMachineName();
  EXPECT_TRUE(gen3Machine);
  EXPECT_EQ(::write(gate, "\n", 1), 1);  // the child ends
  ::close(gate);
}

TEST(MachineName, IsCutOffAWordWithoutAnEnd) {
  const Getprop getprop{"while printf brindle; do :; done\n"};
  gen3Machine = false;
  checkMachineName();
  EXPECT_TRUE(gen3Machine);
}

TEST(MachineName, SetsTheGenerationByAnyPlaceInTheNameAndKeepsItWithoutAShell) {
  IdentifiedBoard board{"xbrindle", "VX4410P"};
  checkMachineName();
  EXPECT_TRUE(gen3Machine);
  board.refuseCommands(ENOMEM);
  checkMachineName();
  EXPECT_TRUE(gen3Machine);
  board.refuseCommands(0);
  board.property("ro.board.platform", "brindl");
  checkMachineName();
  EXPECT_FALSE(gen3Machine);
}

}  // namespace
