#include "tessary/disk_mon.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

#include "tests/support.h"

namespace {

constexpr char kTooShort[] = "DISK_MON : sscanf failed!\n";

struct DiskBoard : simulator::Board {
  explicit DiskBoard(const std::vector<std::string>& disks = {"sda", "sdb"}) {
    folder("/sys/block");
    for (const std::string& disk : disks) folder("/sys/block/" + disk);
  }
  void stats(const std::string& text) { file("/proc/diskstats", text); }
};

// A line whose sectors are the third and the seventh of its eleven counters.
std::string line(const std::string& device, const std::string& read, const std::string& written) {
  return "   " + device + " 100 0 " + read + " 4 5 6 " + written + " 8 9 10 11\n";
}

Lines shown(const std::vector<diskio::_iostats_t>& disks) {
  Lines lines;
  for (const auto& disk : disks) {
    lines.push_back(std::string{disk.deviceName} + " " + std::to_string(disk.sectorsRead) + " " +
                    std::to_string(disk.sectorsWritten));
  }
  return lines;
}

TEST(DiskMonitor, TakesEachColumnToItsField) {
  DiskBoard board;
  board.stats("65544 65535 sda 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 18446744073709551615\n");
  diskio::DISK_MON monitor;
  const auto& disks = monitor.implementation->getDiskStats();
  ASSERT_EQ(disks.size(), 1U);
  EXPECT_EQ(disks[0].majorNumber, 8);  // the low 16 bits
  EXPECT_EQ(disks[0].minorNumber, 65535);
  const uint64_t* const counters = &disks[0].readsCompleted;  // the first of seventeen in a row
  for (uint64_t i = 0; i < 16; ++i) EXPECT_EQ(counters[i], i + 1);
  EXPECT_EQ(disks[0].flushTimeMs, UINT64_MAX);
}

TEST(DiskMonitor, ReportsReadableWholeDisksInTheKernelsOrder) {
  DiskBoard board{{"sdb", "sda", "loop0", "ram0", "hidden"}};
  board.refuse("/sys/block/hidden", EACCES);
  board.stats(line("8 16 sdb", "1", "2") + line("7 0 loop0", "1", "1") + line("8 1 sda1", "1", "1") +
              line("1 0 ram0", "1", "1") + line("9 0 hidden", "1", "1") + line("8 0 sda", "2000", "4"));
  diskio::DISK_MON monitor;
  EXPECT_EQ(monitor.tessary_getNumOfIOStats(), 0);
  EXPECT_EQ(shown(monitor.tessary_getRawIOStats()), (Lines{"sdb 1 2", "sda 2000 4"}));
  EXPECT_EQ(monitor.tessary_getNumOfIOStats(), 2);
  EXPECT_TRUE(board.logged(kError).empty());
}

TEST(DiskMonitor, LineOfFewerThanFourteenColumnsIsReportedAndLeavesNothingBehind) {
  DiskBoard board;
  board.stats("8 0 sda 1 2 3 4 5 6 7 8 9 10\n" + line("8 16 sdb", "30", "70") + "\n8 x sda 1\n" +
              "8 0 sda 1 2 3 4 5 6 7 8 9 10 11 12 x 14");  // the last line without an end
  diskio::DISK_MON monitor;
  const auto& disks = monitor.implementation->getDiskStats();
  ASSERT_EQ(disks.size(), 2U);
  EXPECT_EQ(disks[0].discardsCompleted, 0U);
  EXPECT_EQ(disks[1].discardsCompleted, 12U);
  EXPECT_EQ(disks[1].sectorsDiscarded, 0U);
  EXPECT_EQ(board.logged(kError), (Lines{kTooShort, kTooShort, kTooShort}));
}

TEST(DiskMonitor, LineBeyondTheBufferGoesOnAsTheNextOne) {
  DiskBoard board;
  const std::string disk = "8 0 sda 1 2 3 4 5 6 7 8 9 10 11";
  const std::string fullPiece = disk + std::string(255 - disk.size(), ' ');
  const std::string split = std::string(254, ' ') + "9" + line("8 0 sdb", "1", "2");
  board.stats(fullPiece + "\n" + fullPiece + line("8 0 sdb", "1", "2") + split);
  diskio::DISK_MON monitor;
  // The bare end of the first line, and the 9 that was cut off the last, are lines of their own.
  EXPECT_EQ(shown(monitor.tessary_getRawIOStats()), (Lines{"sda 3 7", "sda 3 7", "sdb 1 2", "sdb 1 2"}));
  EXPECT_EQ(board.logged(kError), (Lines{kTooShort, kTooShort}));
}

TEST(DiskMonitor, NulEndsALineAndNotTheFile) {
  DiskBoard board;
  board.stats(std::string{"8 0 sda 1 2 3"} + '\0' + " 4 5 6 7 8 9 10 11\n" + line("8 16 sdb", "1", "2"));
  diskio::DISK_MON monitor;
  EXPECT_EQ(shown(monitor.tessary_getRawIOStats()), Lines{"sdb 1 2"});
  EXPECT_EQ(board.logged(kError), Lines{kTooShort});
}

TEST(DiskMonitor, LongNamesAreCutWhenParsedAndAgainWhenReported) {
  const std::string name = "0123456789abcdefghijklmnopqrstuvwxyz";  // one more than the parsed name holds
  DiskBoard board{{name.substr(0, 35)}};
  board.stats(line("8 0 " + name, "1", "2"));
  diskio::DISK_MON monitor;
  EXPECT_EQ(shown(monitor.tessary_getRawIOStats()), Lines{name.substr(0, 31) + " 1 2"});
}

TEST(DiskMonitor, PairsTheReadingsByPositionModulo64Bits) {
  DiskBoard board;
  board.stats(line("8 0 sda", "100", "18446744073709551610"));
  board.afterWait([&] { board.stats(line("8 16 sdb", "90", "4") + line("8 0 sda", "1", "1")); });
  board.afterWait([&] { board.stats(line("8 16 sdb", "91", "4")); });
  diskio::DISK_MON monitor;
  EXPECT_EQ(shown(monitor.tessary_getIOStats()), Lines{"sda 18446744073709551606 10"});
  monitor.tessary_setSamplingTime(1000);
  EXPECT_THROW(monitor.tessary_getIOStats(), std::out_of_range);  // sda is gone
  EXPECT_EQ(shown(monitor.implementation->result), Lines{"sdb 1 0"});
  EXPECT_EQ(board.waits(), (std::vector<int64_t>{500000, 1000000}));
}

TEST(DiskMonitor, HookDecidesOverTheSecondReading) {
  DiskBoard board;
  board.stats(line("8 0 sda", "100", "50"));
  diskio::DISK_MON refusing{hook<0>};
  refusing.tessary_getRawIOStats();
  board.forgetHistory();
  EXPECT_TRUE(refusing.tessary_getIOStats().empty());
  EXPECT_EQ(refusing.tessary_getNumOfIOStats(), 0);
  EXPECT_EQ(hookCaller, 8);
  EXPECT_EQ(board.opened(), Lines{"/proc/diskstats"});
  diskio::DISK_MON agreeing{hook<kProceed>};
  EXPECT_EQ(shown(agreeing.tessary_getIOStats()), Lines{"sda 0 0"});
  EXPECT_TRUE(board.waits().empty());
}

TEST(DiskMonitor, FileThatCannotBeOpenedGivesNoDisksAndEachStepIsLogged) {
  DiskBoard board;
  board.refuse("/proc/diskstats", EACCES);
  { EXPECT_TRUE(diskio::DISK_MON{}.tessary_getIOStats().empty()); }
  EXPECT_EQ(board.logged(kError), (Lines{"DISK_MON : /proc/diskstats can't be accessed!!!\n",
                                         "DISK_MON : /proc/diskstats can't be accessed!!!\n"}));
  EXPECT_EQ(board.logged(kVerbose),
            (Lines{"DISK_MON_INTERFACE : Constructor done.\n", "DISK_MON : Constructor done.\n",
                   "DISK_MON_INTERFACE : Destructor done.\n", "DISK_MON : Destructor done.\n"}));
  EXPECT_EQ(board.log().front().tag, "libtessary : disk_mon");
}

}  // namespace
