#include "tessary/board.h"

#include <gtest/gtest.h>

#include "simulator/board.h"
#include "tessary/cpu_mon.h"

namespace {

using simulator::Board;
using simulator::Cores;

TEST(BoardIdentity, ComesFromThePropertyTheMachineNodeAndTheFuses) {
  Board board{Cores{2}};
  board.property("ro.board.platform", "brindle");
  board.file("/sys/devices/soc0/machine", "VX4490P\n");
  // Bits 20 to 27 of the last word: 0x12.
  board.file("/sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem", std::string("\x00\x00\x20\x01", 4));

  cpu::CPU_MON monitor;

  EXPECT_STREQ(monitor.implementation->platformName, "brindle");
  EXPECT_STREQ(monitor.implementation->socName, "VX4490P");
  EXPECT_EQ(monitor.implementation->featureID, 0x12);
}

}  // namespace
